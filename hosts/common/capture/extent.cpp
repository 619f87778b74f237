#include "common/capture/extent.h"

#include "common/errors.h"
#include "common/settings/units.h"

#include <cmath>
#include <optional>
#include <string_view>

namespace orn::fmcw_host {
namespace {

/// The stretch in samples, whole or not; nothing where the text is none.
std::optional<double> samples_of(std::string_view text, double sample_rate) {
  struct unit_t {
    std::string_view name;
    double seconds;
  };
  if (text.ends_with("samples")) {
    return parse_quantity(text, "samples");
  }
  for (const unit_t& unit : {unit_t{"min", 60.0}, unit_t{"s", 1.0}}) {
    if (text.ends_with(unit.name)) {
      const auto value = parse_quantity(text, unit.name);
      return value ? std::optional(std::round(*value * unit.seconds * sample_rate)) : std::nullopt;
    }
  }
  return parse_quantity(text, "samples");
}

}  // namespace

std::uint64_t sample_count_of(const std::string& text, double sample_rate, const char* option) {
  const double samples = samples_of(text, sample_rate).value_or(-1.0);
  if (!(samples >= 0.0 && samples <= 0x1p53 && samples == std::floor(samples))) {
    throw input_error_t(
        "{} cannot be '{}'; allowed are a time with its unit (s, ms, us, ns, min), such as 20ms, "
        "or a whole number of samples, such as 5000 or 2M",
        option, text);
  }
  return static_cast<std::uint64_t>(samples);
}

}  // namespace orn::fmcw_host
