#include "common/settings/units.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <iterator>
#include <system_error>

#include <fmt/format.h>

namespace orn::fmcw_host {
namespace {

struct prefix_t {
  std::string_view name;
  int exponent;
};

// Both micro signs of Unicode are written in practice.
constexpr std::array prefixes = {prefix_t{"", 0},   prefix_t{"p", -12},     prefix_t{"n", -9},
                                 prefix_t{"u", -6}, prefix_t{"\u00B5", -6}, prefix_t{"\u03BC", -6},
                                 prefix_t{"m", -3}, prefix_t{"k", 3},       prefix_t{"M", 6},
                                 prefix_t{"G", 9},  prefix_t{"T", 12}};

/// Exponent of ten that a prefix stands for, when `text` is a prefix and then `unit`.
std::optional<int> exponent_of(std::string_view text, std::string_view unit) {
  for (const prefix_t& prefix : prefixes) {
    if (text.size() == prefix.name.size() + unit.size() && text.starts_with(prefix.name) &&
        text.ends_with(unit)) {
      return prefix.exponent;
    }
  }
  return std::nullopt;
}

/// The same for a whole unit; a quotient has a prefix on either side. A prefix alone will do.
std::optional<int> unit_exponent(std::string_view text, std::string_view unit) {
  if (unit.empty() && text == "%") {
    return -2;
  }
  if (const auto alone = exponent_of(text, "")) {
    return alone;
  }
  const std::size_t bar = unit.find('/');
  if (bar == std::string_view::npos) {
    return exponent_of(text, unit);
  }
  const std::size_t text_bar = text.find('/');
  if (text_bar == std::string_view::npos) {
    return std::nullopt;
  }
  const auto above = exponent_of(text.substr(0, text_bar), unit.substr(0, bar));
  const auto below = exponent_of(text.substr(text_bar + 1), unit.substr(bar + 1));
  return above && below ? std::optional(*above - *below) : std::nullopt;
}

/// Length of the decimal number that `text` starts with, and of that without its exponent.
struct number_extent_t {
  std::size_t mantissa = 0;
  std::size_t whole = 0;
  int exponent = 0;
};

number_extent_t measure_number(std::string_view text) {
  double ignored = 0.0;
  const char* const end = text.data() + text.size();
  const auto fixed = std::from_chars(text.data(), end, ignored, std::chars_format::fixed);
  number_extent_t extent;
  if (fixed.ptr == text.data()) {
    return extent;
  }
  extent.mantissa = static_cast<std::size_t>(fixed.ptr - text.data());
  extent.whole = extent.mantissa;
  const std::string_view rest = text.substr(extent.mantissa);
  if (rest.size() > 1 && (rest[0] == 'e' || rest[0] == 'E')) {
    const char* const first = rest.data() + (rest[1] == '+' ? 2 : 1);
    const auto parsed = std::from_chars(first, end, extent.exponent);
    if (parsed.ec == std::errc()) {
      extent.whole = static_cast<std::size_t>(parsed.ptr - text.data());
    }
  }
  return extent;
}

/// Exponent of the prefix that leaves one to three digits before the point.
int engineering_exponent(double value) {
  const double magnitude = std::abs(value);
  for (const int exponent : {12, 9, 6, 3, 0, -3, -6, -9, -12}) {
    // The margin keeps 1e-6, which is a hair below its power, a micro.
    if (magnitude >= std::pow(10.0, exponent) * (1 - 1e-12)) {
      return exponent;
    }
  }
  return 0;
}

std::string_view prefix_of(int exponent) {
  const auto* const found = std::find_if(prefixes.begin(), prefixes.end(),
                                         [&](const prefix_t& p) { return p.exponent == exponent; });
  return found->name;
}

/// Decimal text of value / 10^exponent by moving the point of its shortest digits.
std::string shifted(double value, int exponent) {
  std::array<char, 32> text{};
  const auto end =
      std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::scientific);
  const std::string digits(text.data(), end.ptr);
  const std::size_t e = digits.find('e');
  const int point = std::stoi(digits.substr(e + 1)) - exponent;
  const std::string sign = digits.starts_with('-') ? "-" : "";
  std::string figures;
  std::copy_if(digits.begin(), digits.begin() + static_cast<std::ptrdiff_t>(e),
               std::back_inserter(figures), [](char c) { return c >= '0' && c <= '9'; });
  if (point < 0) {
    return sign + "0." + std::string(static_cast<std::size_t>(-point - 1), '0') + figures;
  }
  const auto whole = static_cast<std::size_t>(point) + 1;
  if (figures.size() <= whole) {
    return sign + figures + std::string(whole - figures.size(), '0');
  }
  return sign + figures.substr(0, whole) + "." + figures.substr(whole);
}

}  // namespace

std::optional<double> parse_quantity(std::string_view text, std::string_view unit) {
  const number_extent_t extent = measure_number(text);
  const std::string_view mantissa = text.substr(0, extent.mantissa);
  if (mantissa.find_first_of("0123456789") == std::string_view::npos) {
    return std::nullopt;
  }
  std::string_view rest = text.substr(extent.whole);
  rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
  const auto prefix = unit_exponent(rest, unit);
  if (!prefix || std::abs(extent.exponent) > 400) {
    return std::nullopt;
  }
  const std::string decimal = fmt::format("{}e{}", mantissa, extent.exponent + *prefix);
  double value = 0.0;
  const auto parsed = std::from_chars(decimal.data(), decimal.data() + decimal.size(), value);
  return parsed.ec == std::errc() ? std::optional(value) : std::nullopt;
}

std::string quantity_text(double value, std::string_view unit) {
  if (!std::isfinite(value)) {
    return fmt::format("{}", value);
  }
  if (unit.empty() || unit == "samples" || value == 0.0) {
    return fmt::format("{}", value) + (value == 0.0 && unit != "samples" ? std::string(unit) : "");
  }
  if (unit == "Hz/s" && std::abs(value) >= 1e6) {
    const int exponent = engineering_exponent(value * 1e-6);
    return fmt::format("{}{}Hz/us", shifted(value, exponent + 6), prefix_of(exponent));
  }
  const int exponent = engineering_exponent(value);
  return fmt::format("{}{}{}", shifted(value, exponent), prefix_of(exponent), unit);
}

double rounded(double value, int digits) {
  double result = value;
  const std::string text = fmt::format("{:.{}e}", value, digits - 1);
  std::from_chars(text.data(), text.data() + text.size(), result);
  return result;
}

}  // namespace orn::fmcw_host
