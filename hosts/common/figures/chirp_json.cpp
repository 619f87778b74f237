#include "common/figures/chirp_json.h"

#include "common/figures/figure_table.h"

#include <cmath>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace orn::fmcw_host {

std::string json_string(std::string_view text) {
  return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string json_number(double value) {
  return std::isfinite(value) ? fmt::format("{}", value) : "null";
}

std::string json_of(const chirp_t& chirp) {
  std::string object = fmt::format(
      R"({{"chirp": {}, "direction": "{}", "first_sample": {}, "last_sample": {}, "selected": {})",
      chirp.number, direction_of(chirp), chirp.first_sample, chirp.last_sample, chirp.selected);
  for (const figure_t& figure : figure_table()) {
    if (chirp.centre || !needs_centre(figure)) {
      object += fmt::format(R"(, "{}": {})", figure.column, json_number(figure.get(chirp)));
    }
  }
  return object + fmt::format(R"(, "flags": "{}"}})", flag_words(chirp));
}

}  // namespace orn::fmcw_host
