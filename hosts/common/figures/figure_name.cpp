#include "common/figures/figure_name.h"

#include "common/errors.h"
#include "common/settings/setting_table.h"
#include "common/settings/units.h"

#include <cmath>
#include <vector>

namespace orn::fmcw_host {
namespace {

std::string suffix_of(std::string_view unit) {
  if (unit.empty()) {
    return "";
  }
  std::string suffix = "_";
  for (const char c : unit) {
    if (c == '/') {
      suffix += "_per_";
    } else {
      suffix += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
  }
  return suffix;
}

}  // namespace

std::string short_name(const figure_t& figure) {
  const std::string unit = suffix_of(figure.unit);
  // Uncertainties and floors of a figure have their word after the unit.
  for (const std::string_view word : {"", "_u", "_floor"}) {
    const std::string end = unit + std::string(word);
    if (figure.column.size() > end.size() && figure.column.ends_with(end)) {
      return std::string(figure.column.substr(0, figure.column.size() - end.size())) +
             std::string(word);
    }
  }
  return std::string(figure.column);
}

const figure_t& figure_called(std::string_view name) {
  std::vector<const figure_t*> called;
  std::vector<std::string> names;
  for (const figure_t& figure : figure_table()) {
    if (figure.column == name) {
      return figure;
    }
    names.push_back(short_name(figure));
    if (names.back() == name) {
      called.push_back(&figure);
    }
  }
  if (called.size() == 1) {
    return *called.front();
  }
  if (called.empty()) {
    const std::vector<std::string_view> known(names.begin(), names.end());
    throw input_error_t("there is no figure '{}'; the nearest is {}", name,
                        nearest_name(name, known));
  }
  std::string candidates;
  for (const figure_t* const figure : called) {
    candidates += candidates.empty() ? "" : ", ";
    candidates += figure->column;
  }
  throw input_error_t("'{}' names several figures; allowed is one of {}", name, candidates);
}

std::optional<double> parse_figure_value(std::string_view text, std::string_view unit) {
  const bool is_plain =
      !text.empty() && ((text.back() >= '0' && text.back() <= '9') || text.back() == '.');
  const bool is_slope = unit == "kHz/us";
  // A prefix without a unit would be one of kHz/us, which nobody means.
  if (is_slope && !is_plain && text.find('/') == std::string_view::npos) {
    return std::nullopt;
  }
  const bool in_base_unit = is_slope && !is_plain;
  auto value = parse_quantity(text, is_plain ? "" : in_base_unit ? "Hz/s" : unit);
  if (value && in_base_unit) {
    *value /= 1e9;
  }
  return value && std::isfinite(*value) ? value : std::nullopt;
}

}  // namespace orn::fmcw_host
