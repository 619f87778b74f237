#include "common/figures/settling.h"

#include "common/errors.h"
#include "common/settings/units.h"

#include <array>
#include <cmath>
#include <limits>
#include <numbers>

namespace orn::fmcw_host {
namespace {

constexpr double unknown = std::numeric_limits<double>::quiet_NaN();
constexpr double degree = std::numbers::pi / 180.0;

[[noreturn]] void refuse(std::string_view text, std::string_view source) {
  throw input_error_t(
      "{} cannot be '{}'; allowed are a share of the sweep, a frequency or a phase above 0, or one "
      "of the former and a phase, such as 0.1%, 50kHz or 0.1%,2deg",
      source, text);
}

/// The part in degrees, without its unit; nothing when it is in something else.
std::optional<double> degrees_in(std::string_view part) {
  constexpr std::string_view unit = "deg";
  return part.ends_with(unit) ? parse_quantity(part.substr(0, part.size() - unit.size()), "")
                              : std::nullopt;
}

/// A line through equidistant values, about their middle.
struct line_t {
  double middle;  ///< index
  double mean;
  double slope;  ///< per index

  double at(std::size_t i) const { return mean + slope * (static_cast<double>(i) - middle); }
};

/// In four strands, which the processor adds at once.
line_t fit(std::span<const float> values, std::size_t first, std::size_t end) {
  const auto n = static_cast<double>(end - first);
  const double middle = static_cast<double>(first) + (n - 1.0) / 2.0;
  std::array<double, 4> sums{};
  std::array<double, 4> moments{};
  for (std::size_t i = first; i < end; ++i) {
    const auto value = static_cast<double>(values[i]);
    sums[i % 4] += value;
    moments[i % 4] += (static_cast<double>(i) - middle) * value;
  }
  const double sum = (sums[0] + sums[1]) + (sums[2] + sums[3]);
  const double moment = (moments[0] + moments[1]) + (moments[2] + moments[3]);
  // The squares of n equidistant places about their middle sum up to n (n^2 - 1) / 12.
  return {middle, sum / n, moment * 12.0 / (n * (n * n - 1.0))};
}

/// Seconds to the sample from which on nothing leaves the tolerance. `left` is one past the last
/// that does, 0 where none does.
double time_from(std::size_t left, std::size_t half, double rate) {
  return left > half ? unknown : static_cast<double>(left) / rate;
}

}  // namespace

settling_tolerance_t parse_settling(std::string_view text, std::string_view source) {
  settling_tolerance_t tolerance;
  const std::size_t comma = text.find(',');
  const std::string_view first = text.substr(0, comma);
  std::optional<double> phase = degrees_in(first);
  if (!phase) {
    const bool is_share = first.ends_with('%');
    const auto value = parse_quantity(first, is_share ? "" : "Hz");
    if (!value || !(*value > 0.0)) {
      refuse(text, source);
    }
    (is_share ? tolerance.share : tolerance.frequency.emplace()) = *value;
    phase = comma == std::string_view::npos ? std::optional(tolerance.phase / degree)
                                            : degrees_in(text.substr(comma + 1));
  } else if (comma != std::string_view::npos) {
    refuse(text, source);
  }
  if (!phase || !(*phase > 0.0)) {
    refuse(text, source);
  }
  tolerance.phase = *phase * degree;
  return tolerance;
}

settling_t settling_of(std::span<const float> frequency, double scale, double rate, double sweep,
                       const settling_tolerance_t& tolerance) {
  if (frequency.size() < 2 * settling_margin + 4) {
    return {unknown, unknown, unknown};
  }
  const std::size_t end = frequency.size() - settling_margin;
  const std::size_t half = end / 2;
  const line_t line = fit(frequency, half, end);
  const double allowed = tolerance.frequency.value_or(tolerance.share * sweep) / scale;
  const double allowed_phase = tolerance.phase * rate / (2.0 * std::numbers::pi * scale);

  // Backwards, the phase is what is still to come. Over the second half its mean is 0, since the
  // residuals of a least-squares line and their moments sum up to 0.
  std::size_t frequency_left = 0;
  std::size_t phase_left = 0;
  double overshoot = 0.0;
  double phase = 0.0;
  for (std::size_t i = end; i-- > 0;) {
    const double residual = static_cast<double>(frequency[i]) - line.at(i);
    phase -= residual;
    if (!(std::abs(residual) <= allowed) && frequency_left == 0) {
      frequency_left = i + 1;
    }
    if (!(std::abs(phase) <= allowed_phase) && phase_left == 0) {
      phase_left = i + 1;
    }
    if (!(std::abs(residual) <= std::abs(overshoot)) && i < half) {
      overshoot = residual;
    }
  }
  return {time_from(frequency_left, half, rate), time_from(phase_left, half, rate),
          overshoot * scale};
}

}  // namespace orn::fmcw_host
