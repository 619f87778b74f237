#include "common/fit/phase_fit.h"

#include "common/fit/block_phases.h"
#include "common/fit/cubic_fit.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace orn::fmcw_host {
namespace {

using fmcw_demod_lib::sample_t;

constexpr double two_pi = 2.0 * std::numbers::pi;

/// The longest that there may be, or, where its remainder is more than 1/512 of the samples, that of
/// the least remainder down to half of it: what a fit does without at its ends costs 2.5 times as
/// large a share of the slope's uncertainty.
std::size_t block_length(std::size_t samples, double deviation) {
  constexpr std::size_t fewest_blocks = 32;
  constexpr double most_turns = 1.0 / 16.0;
  const double by_deviation =
      std::clamp(most_turns / deviation, 1.0, static_cast<double>(longest_block));
  const std::size_t longest =
      std::clamp<std::size_t>(samples / fewest_blocks, 1, static_cast<std::size_t>(by_deviation));
  const std::size_t unit = longest < 8 ? 1 : 4;  // sums run four at a time
  std::size_t best = longest - longest % unit;
  for (std::size_t length = best; 2 * length > longest && samples % best > samples / 512;
       length -= unit) {
    best = samples % length < samples % best ? length : best;
  }
  return best;
}

/// Sums of squared distances of the kept values [turns^2].
struct scatter_t {
  double about_parabola = 0.0;
  double about_cubic = 0.0;
};

scatter_t scatter_of(std::span<const double> turns, std::span<const std::uint8_t> kept,
                     const cubic_fit_t& fit) {
  scatter_t scatter;
  for (std::size_t i = 0; i < turns.size(); ++i) {
    if (kept[i] != 0) {
      const double x = place_of(i, turns.size());
      const double parabola = turns[i] - fit.quadratic_at(x);
      const double cubic = turns[i] - fit.cubic_at(x);
      scatter.about_parabola += parabola * parabola;
      scatter.about_cubic += cubic * cubic;
    }
  }
  return scatter;
}

/// Figures of a polynomial of phases about a line.
///
/// half       samples from the polynomial's middle, where the line counts from, to x = 1
/// shift      samples from there to the middle of all samples, 0 or a half
/// to_first   samples from there to the first sample, < 0
/// deviation  of a block's phase [turns]
phase_fit_t figures_of(const cubic_fit_t& fit, const line_of_frequency_t& line, double half,
                       double shift, double to_first, double rate, double deviation) {
  const auto& c = fit.quadratic;
  const auto& v = fit.covariance;
  const double slope = line.slope + 3.0 * c[2] / (half * half);
  const double frequency = line.middle + c[1] / half;
  const double phase = c[0] - 0.5 * c[2] + (frequency + 0.5 * slope * shift) * shift;
  const double x = to_first / half;
  phase_fit_t figures;
  figures.slope = slope * rate * rate;
  figures.slope_u = 3.0 / (half * half) * std::sqrt(v[2][2]) * deviation * rate * rate;
  figures.freq_centre = (frequency + slope * shift) * rate;
  figures.freq_centre_u = std::sqrt(v[1][1]) / half * deviation * rate;
  figures.freq_start = (frequency + slope * to_first) * rate;
  figures.freq_start_u =
      std::sqrt(v[1][1] + 6.0 * x * v[1][2] + 9.0 * x * x * v[2][2]) / half * deviation * rate;
  figures.phase = two_pi * (phase - std::nearbyint(phase));
  figures.phase_u = two_pi * std::sqrt(v[0][0] - v[0][2] + 0.25 * v[2][2]) * deviation;
  // Along x the cubic's frequency is 1.5 (5 x^2 - 1) over `half`; the samples reach a little farther.
  const double bow = -7.5 / half * ((0.5 - to_first) / half) * ((0.5 - to_first) / half) * rate;
  figures.curvature = bow * fit.cubic;
  figures.curvature_u = std::abs(bow) * std::sqrt(fit.cubic_variance) * deviation;
  return figures;
}

}  // namespace

phase_fit_t fit_phase(std::span<const sample_t> samples, double rate) {
  constexpr std::size_t fewest = 64;
  constexpr double rounding = 1e-7;  // what that of samples leaves of a phase [turns]
  if (samples.size() < fewest) {
    return {};
  }
  const first_look_t look = look_at_frequency(samples);
  if (!std::isfinite(look.line.middle) || !std::isfinite(look.line.slope)) {
    return {};
  }
  const std::size_t length = block_length(samples.size(), look.deviation);
  block_phases_t phases = phases_about(samples, look.line, length);
  const std::uint64_t slips = mend_slips(phases.turns);
  std::vector<std::uint8_t>& kept = phases.usable;
  const cubic_fit_t fit = fit_robustly(phases.turns, kept, rounding);
  const std::size_t count = phases.turns.size();
  if (2 * fit.count < count || !std::isfinite(fit.cubic)) {
    return {};
  }
  const scatter_t scatter = scatter_of(phases.turns, kept, fit);
  const auto n = static_cast<double>(fit.count);
  const auto l = static_cast<double>(length);
  const double half = 0.5 * static_cast<double>(count * length);
  const double middle = 0.5 * static_cast<double>(samples.size() - 1);
  const double middle_of_blocks = static_cast<double>(phases.first) + half - 0.5;
  phase_fit_t figures =
      figures_of(fit, phases.line, half, middle - middle_of_blocks, -middle_of_blocks, rate,
                 std::sqrt(scatter.about_cubic / (n - 4.0)));
  figures.rms =
      std::sqrt(two_pi * two_pi * scatter.about_parabola / n + (l - 1.0) / l * phases.noise);
  figures.slips = slips;
  figures.left_out = samples.size() - fit.count * length;
  return figures;
}

}  // namespace orn::fmcw_host
