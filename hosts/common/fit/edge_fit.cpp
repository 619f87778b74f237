#include "common/fit/edge_fit.h"

#include "common/fit/phase_fit.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace orn::fmcw_host {
namespace {

using fmcw_demod_lib::sample_t;

constexpr std::size_t longest = 512;
constexpr std::size_t outer_margin = 144;

/// A straight piece of the frequency, in samples and turns.
struct piece_t {
  phase_fit_t fit;
  double middle = 0.0;  ///< sample
  double rate = 1.0;

  double frequency_at(double place) const {
    return (fit.freq_centre + fit.slope / rate * (place - middle)) / rate;
  }
  /// Variance of that [turns^2 per sample^2].
  double variance_at(double place) const {
    const double by_slope = fit.slope_u / rate * (place - middle);
    return (fit.freq_centre_u * fit.freq_centre_u + by_slope * by_slope) / (rate * rate);
  }
  double phase_at(double place) const {
    const double t = (place - middle) / rate;
    return fit.phase / (2.0 * std::numbers::pi) + (fit.freq_centre + 0.5 * fit.slope * t) * t;
  }
};

piece_t piece_of(std::span<const sample_t> samples, std::size_t begin, std::size_t count,
                 double rate) {
  return {fit_phase(samples.subspan(begin, count), rate),
          static_cast<double>(begin) + 0.5 * static_cast<double>(count - 1), rate};
}

/// Whether a piece is straight, held against one that is.
bool is_straight(const piece_t& piece, std::size_t count, const piece_t& straight) {
  constexpr double little = 0.02;      // rad
  constexpr double most_curved = 4.0;  // uncertainties
  const phase_fit_t& fit = piece.fit;
  return fit.rms < 1.5 * straight.fit.rms + little && fit.left_out <= count / 32 &&
         std::abs(fit.curvature) < most_curved * fit.curvature_u;
}

/// Where the frequencies of two pieces meet.
turn_t meeting_of(const piece_t& a, const piece_t& b, double edge) {
  constexpr double farthest = 256.0;    // samples
  constexpr double most_turns = 0.125;  // between the phases
  constexpr double least_change = 6.0;  // of the slope, in uncertainties
  const double change = b.fit.slope - a.fit.slope;
  if (!(std::abs(change) > least_change * std::hypot(a.fit.slope_u, b.fit.slope_u))) {
    return {};
  }
  const double per_sample = change / (a.rate * a.rate);
  const double place = edge - (b.frequency_at(edge) - a.frequency_at(edge)) / per_sample;
  const double apart = b.phase_at(place) - a.phase_at(place);
  if (!(std::abs(place - edge) < farthest) ||
      !(std::abs(apart - std::nearbyint(apart)) < most_turns)) {
    return {};
  }
  return {place, std::sqrt(a.variance_at(place) + b.variance_at(place)) / std::abs(per_sample)};
}

}  // namespace

turns_t fit_turns(std::span<const sample_t> samples, std::size_t first, std::size_t last,
                  double rate) {
  turns_t turns;
  const std::size_t inside = std::min((last - first + 1) / 4, longest);
  if (last < first || last >= samples.size() || inside <= turn_margin) {
    return turns;
  }
  const piece_t head = piece_of(samples, first + turn_margin, inside, rate);
  const piece_t tail = piece_of(samples, last + 1 - turn_margin - inside, inside, rate);
  for (std::size_t count = longest; count >= longest / 4; count /= 2) {
    if (std::isnan(turns.start.place) && first >= outer_margin + count) {
      const piece_t before = piece_of(samples, first - outer_margin - count, count, rate);
      if (is_straight(before, count, head)) {
        turns.start = meeting_of(before, head, static_cast<double>(first));
      }
    }
    if (std::isnan(turns.stop.place) && samples.size() - last > outer_margin + count) {
      const piece_t after = piece_of(samples, last + outer_margin, count, rate);
      if (is_straight(after, count, tail)) {
        turns.stop = meeting_of(tail, after, static_cast<double>(last));
      }
    }
  }
  return turns;
}

}  // namespace orn::fmcw_host
