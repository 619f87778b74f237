#include "common/capture/extent.h"

#include "common/errors.h"

#include <array>
#include <charconv>
#include <cmath>
#include <string_view>
#include <utility>

namespace orn::fmcw_host {
namespace {

/// Unit of time [s]; 0 where the name is none.
double seconds_of(std::string_view unit) {
  constexpr std::array<std::pair<std::string_view, double>, 7> units = {{{"s", 1.0},
                                                                         {"ms", 1e-3},
                                                                         {"us", 1e-6},
                                                                         {"\u00B5s", 1e-6},
                                                                         {"\u03BCs", 1e-6},
                                                                         {"ns", 1e-9},
                                                                         {"min", 60.0}}};
  for (const auto& [name, seconds] : units) {
    if (name == unit) {
      return seconds;
    }
  }
  return 0.0;
}

}  // namespace

std::uint64_t sample_count_of(const std::string& text, double sample_rate, const char* option) {
  double value = 0.0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, value);
  const std::string_view unit(rest, static_cast<std::size_t>(end - rest));
  const double seconds = seconds_of(unit);
  const double samples = unit.empty() ? value : std::round(value * seconds * sample_rate);
  const bool is_whole = samples == std::floor(samples);
  if (error != std::errc() || (!unit.empty() && seconds == 0.0) ||
      !(samples >= 0.0 && samples <= 0x1p53 && is_whole)) {
    throw input_error_t(
        "{} cannot be '{}'; allowed are a time with its unit (s, ms, us, ns, min), such as 20ms, "
        "or a whole "
        "number of samples",
        option, text);
  }
  return static_cast<std::uint64_t>(samples);
}

}  // namespace orn::fmcw_host
