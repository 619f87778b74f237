#include "common/limits/limit.h"

#include "common/errors.h"
#include "common/figures/figure_name.h"
#include "common/settings/setting_table.h"
#include "common/settings/units.h"

#include <cmath>
#include <vector>

namespace orn::fmcw_host {
namespace {

const statistic_t& statistic_called(const std::string& name) {
  const statistic_t* const found = find_statistic(name);
  if (found == nullptr) {
    std::vector<std::string_view> known = {"count"};
    for (const statistic_t& statistic : statistic_table()) {
      known.push_back(statistic.name);
    }
    throw input_error_t("there is no statistic '{}'; the nearest is {}, allowed are {}, count",
                        name, nearest_name(name, known), statistic_names());
  }
  return *found;
}

std::optional<direction_t> direction_called(const std::string& name) {
  if (name.empty()) {
    return std::nullopt;
  }
  for (const direction_t direction : directions) {
    if (name == name_of(direction)) {
      return direction;
    }
  }
  throw input_error_t("direction cannot be '{}'; allowed are up and down", name);
}

/// How a value of the unit is written, for messages.
std::string example_in(const std::string& unit) {
  const std::string plain = "a number";
  return unit.empty()       ? plain + " or a percentage, such as 0.02 or 2%"
         : unit == "kHz/us" ? plain + " [kHz/us] or with a unit, such as 400 or 0.4MHz/us"
                            : fmt::format("{} [{}], such as 1.5 or 1.5{}", plain, unit, unit);
}

/// A value in the unit of a limit; of a trend, "/s" stands behind the figure's own.
std::optional<double> parse_value(std::string text, const limit_t& limit) {
  if (limit.figure == nullptr) {
    return parse_quantity(text, "");
  }
  if (limit.statistic != nullptr && limit.statistic->per_second) {
    const bool is_plain = !text.empty() && text.back() >= '0' && text.back() <= '9';
    if (!is_plain && !text.ends_with("/s")) {
      return std::nullopt;
    }
    text.resize(is_plain ? text.size() : text.size() - 2);
  }
  return parse_figure_value(text, limit.figure->unit);
}

std::optional<double> value_of(const char* part, const std::string& text, const limit_t& limit) {
  if (text.empty()) {
    return std::nullopt;
  }
  const auto value = parse_value(text, limit);
  if (!value) {
    throw input_error_t(
        "{} cannot be '{}'; allowed is {}", part, text,
        limit.figure == nullptr ? "a number of chirps" : example_in(unit_of(limit)));
  }
  return value;
}

/// A tolerance in the limit's unit: of a level in dB, in percent of the nominal value otherwise.
double tolerance_of(const std::string& text, double nominal, const limit_t& limit) {
  const bool is_level = limit.figure != nullptr && limit.figure->unit == "dBm";
  std::optional<double> tolerance;
  if (!text.empty() && text.back() == '%') {
    tolerance = is_level ? std::nullopt : parse_quantity(text, "");
    if (tolerance) {
      *tolerance *= std::abs(nominal);
    }
  } else if (is_level && text.ends_with("dB")) {
    tolerance = parse_quantity(text, "dB");
  } else {
    tolerance = parse_value(text, limit);
  }
  if (!tolerance || !(*tolerance >= 0.0) || !std::isfinite(*tolerance)) {
    throw input_error_t("tolerance cannot be '{}'; allowed is {}", text,
                        is_level ? std::string("a number of dB from 0 up, such as 0.5dB")
                                 : "a value from 0 up: a percentage of the nominal one, or " +
                                       example_in(unit_of(limit)));
  }
  return *tolerance;
}

std::string range_text(const limit_parts_t& parts) {
  std::string text = parts.direction.empty() ? "" : parts.direction + " ";
  text += parts.statistic.empty() || parts.figure.empty()
              ? parts.statistic + parts.figure
              : parts.statistic + "(" + parts.figure + ")";
  if (!parts.nominal.empty()) {
    return text + "=" + parts.nominal + "\u00B1" + parts.tolerance;
  }
  if (!parts.min.empty()) {
    text += ">=" + parts.min;
  }
  if (!parts.max.empty()) {
    text += (parts.min.empty() ? "<=" : ", <=") + parts.max;
  }
  return text;
}

void check_bounds(const limit_parts_t& parts) {
  const bool has_bound = !parts.min.empty() || !parts.max.empty();
  if (parts.nominal.empty() != parts.tolerance.empty()) {
    throw input_error_t("nominal and tolerance go together; {} is missing",
                        parts.nominal.empty() ? "nominal" : "tolerance");
  }
  if (has_bound == !parts.nominal.empty()) {
    throw input_error_t("{}; allowed is min, max or both, or nominal with tolerance",
                        has_bound ? "min or max cannot go with nominal" : "there is no bound");
  }
}

}  // namespace

std::string unit_of(const limit_t& limit) {
  if (limit.figure == nullptr) {
    return "";
  }
  const bool per_second = limit.statistic != nullptr && limit.statistic->per_second;
  return std::string(limit.figure->unit) + (!per_second ? "" : "/s");
}

bool keeps(const limit_t& limit, double value) {
  // NaN compares false.
  return value >= limit.min.value_or(value) && value <= limit.max.value_or(value);
}

limit_t make_limit(const limit_parts_t& parts) {
  limit_t limit;
  const bool counts = parts.statistic == "count";
  if (counts && !parts.figure.empty()) {
    throw input_error_t("count is of chirps, not of {}; allowed is count alone", parts.figure);
  }
  if (!counts && parts.figure.empty()) {
    throw input_error_t("there is no figure; allowed is one, or count");
  }
  if (!counts) {
    limit.figure = &figure_called(parts.figure);
    limit.statistic = parts.statistic.empty() ? nullptr : &statistic_called(parts.statistic);
  }
  limit.direction = direction_called(parts.direction);
  check_bounds(parts);
  limit.min = value_of("min", parts.min, limit);
  limit.max = value_of("max", parts.max, limit);
  if (const auto nominal = value_of("nominal", parts.nominal, limit)) {
    const double tolerance = tolerance_of(parts.tolerance, *nominal, limit);
    limit.min = *nominal - tolerance;
    limit.max = *nominal + tolerance;
  }
  if (limit.min && limit.max && *limit.min > *limit.max) {
    throw input_error_t("min is {} and max is {}; allowed is a min up to max", parts.min,
                        parts.max);
  }
  limit.text = parts.text.empty() ? range_text(parts) : parts.text;
  return limit;
}

}  // namespace orn::fmcw_host
