#include "common/annotations/chirp_annotation.h"

#include "common/figures/figure_table.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <utility>

#include <fmt/format.h>

namespace orn::fmcw_host {
namespace {

using object_t = json_value_t::object_t;

constexpr std::string_view generator = "fmcw analyze";

json_value_t text(std::string content) { return {std::move(content)}; }

/// Figures that the names of a promised chirp carry already.
bool is_promised(std::string_view column) {
  constexpr std::array<std::string_view, 4> promised = {"start_s", "length_s", "slope_khz_per_us",
                                                        "power_avg_dbm"};
  return std::find(promised.begin(), promised.end(), column) != promised.end();
}

void add_finite(object_t& members, std::string name, double value) {
  if (std::isfinite(value)) {
    members.push_back({std::move(name), {value}});
  }
}

}  // namespace

json_value_t annotation_of(const chirp_t& chirp, std::string_view verdict) {
  const auto& figures = chirp.figures;
  const double middle = chirp.centre.value_or(0.0) + figures.freq_avg;
  const double lower = middle - figures.bandwidth / 2;
  const double upper = middle + figures.bandwidth / 2;
  const bool has_edges = std::isfinite(lower) && std::isfinite(upper);
  object_t members = {{"core:sample_start", {chirp.first_sample}},
                      {"core:sample_count", {chirp.last_sample + 1 - chirp.first_sample}}};
  if (has_edges) {
    members.push_back({"core:freq_lower_edge", {lower}});
    members.push_back({"core:freq_upper_edge", {upper}});
  }
  members.push_back({"core:label", text(fmt::format("{} {}", direction_of(chirp), chirp.number))});
  members.push_back({"core:generator", text(fmt::format("{} {}", generator, FMCW_VERSION))});
  add_finite(members, "fmcw:start", chirp.start);
  add_finite(members, "fmcw:length", figures.length);
  if (has_edges && std::isfinite(figures.length) && std::isfinite(figures.power_avg)) {
    add_finite(members, "fmcw:slope", figures.slope * 1e9);
  }
  add_finite(members, "fmcw:power", figures.power_avg);
  for (const figure_t& figure : figure_table()) {
    if (figure.chief && !is_promised(figure.column)) {
      add_finite(members, fmt::format("fmcw:{}", figure.column), figure.get(chirp));
    }
  }
  if (!verdict.empty()) {
    members.push_back({"fmcw:verdict", text(std::string(verdict))});
  }
  return {std::move(members)};
}

bool is_measured(const annotation_t& annotation) {
  const auto* const member = annotation.fields.find("core:generator");
  const auto* const name = member != nullptr ? member->as<std::string>() : nullptr;
  return name != nullptr && name->starts_with(generator);
}

json_value_t extension_declaration() {
  return {object_t{{"name", text("fmcw")}, {"version", text(FMCW_VERSION)}, {"optional", {true}}}};
}

}  // namespace orn::fmcw_host
