#include "common/trust/detection.h"

#include "common/trust/floors.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

namespace orn::fmcw_host {
namespace {

using std::numbers::pi;

constexpr double half_smoothing = 128.0;  // samples
constexpr double slope_scale = 16384.0;   // 2^14, its square
constexpr int places = 64;                // over a sweep
constexpr double most_slips = 128.0;      // in half a smoothing

/// The smoothed slope's noise over what a slip moves it by: 3 / 4 pi = 0.239 sphi.
double noise_over_slip(double snr) { return 3.0 / (4.0 * pi) * phase_noise(snr); }

/// Smoothed slopes of a ramp that could turn; the edge of 3 % at either end by simulation.
double exposed_samples(const detection_scene_t& s) {
  return std::max(0.94 * s.ramp - half_smoothing, 0.0);
}

/// Mean over the sweep of a function of the frequency in parts of the rate.
template <class Function>
double mean_over_sweep(const detection_scene_t& s, Function f) {
  // The edge of 3 % at either end does not count here either.
  const double width = 0.94 * s.slope * s.ramp / (s.rate * s.rate);
  double sum = 0.0;
  for (int i = 0; i < places; ++i) {
    const double u = s.centre / s.rate + width * ((i + 0.5) / places - 0.5);
    sum += f(u - std::round(u));
  }
  return sum / places;
}

/// The difference of two Poisson numbers of the same mean.
class slip_balance_t {
 public:
  explicit slip_balance_t(double mean) {
    const auto count = static_cast<std::size_t>(mean + 12.0 * std::sqrt(mean) + 30.0);
    double probability = std::exp(-mean);
    for (std::size_t i = 0; i < count; ++i) {
      at_.push_back(probability);
      probability *= mean / static_cast<double>(i + 1);
    }
    from_.assign(count + 1, 0.0);
    for (std::size_t i = count; i-- > 0;) {
      from_[i] = from_[i + 1] + at_[i];
    }
  }
  double is(std::size_t difference) const { return sum(at_, difference); }
  double is_at_least(std::size_t difference) const { return sum(from_, difference); }

 private:
  double sum(const std::vector<double>& of_more, std::size_t difference) const {
    double sum = 0.0;
    for (std::size_t i = 0; i + difference < at_.size(); ++i) {
      sum += at_[i] * of_more[i + difference];
    }
    return sum;
  }
  std::vector<double> at_, from_;
};

/// Gradient of the smoothed slope where it changes its sign [Hz/s per sample].
double turning_gradient(const detection_scene_t& s) {
  return (s.slope + s.flyback) *
         crossing({.slope = s.slope, .flyback = s.flyback, .slope_level = 0.0}) / slope_scale;
}

double ratio_of(double decibels) { return std::pow(10.0, decibels / 10.0); }

}  // namespace

double slope_over_slip(const detection_scene_t& s) {
  return s.slope * slope_scale / (s.rate * s.rate);
}

double expected_wrong_signs(const detection_scene_t& s, double snr) {
  return exposed_samples(s) * normal_tail(slope_over_slip(s) / noise_over_slip(snr));
}

double slip_probability(double u, double snr) {
  const double against = 0.5 * std::erfc(std::sqrt(snr * (1.0 + std::cos(2.0 * pi * u))));
  const double at = std::abs(u);
  const double turned =
      at < 0.25 ? std::min(at, std::abs(std::tan(2.0 * pi * u)) / (2.0 * pi * snr)) : at;
  return against + std::exp(-snr) * (turned + 0.082 * std::pow(snr, -1.5));
}

double expected_slip_turns(const detection_scene_t& s, double snr) {
  const double m = slope_over_slip(s);
  if (!(m >= 1.0)) {
    return exposed_samples(s) *
           mean_over_sweep(s, [&](double u) { return slip_probability(u, snr); });
  }
  constexpr double turns_per_half = 1.5;
  constexpr double tries = 60.0;  // independent smoothed slopes while slips stay within a half
  const double k = std::floor(std::min(m, most_slips)) + 1.0;
  const auto slips = static_cast<std::size_t>(k);
  const double by_noise =
      1.0 - std::pow(1.0 - normal_tail((m - k + 1.0) / noise_over_slip(snr)), tries);
  return turns_per_half * s.ramp / half_smoothing * mean_over_sweep(s, [&](double u) {
           const double slipping = half_smoothing * slip_probability(u, snr);
           const slip_balance_t balance(slipping < most_slips ? slipping : most_slips);
           return balance.is_at_least(slips) + balance.is(slips - 1) * by_noise;
         });
}

double found_probability(const detection_scene_t& s, double snr) {
  return snr > 0.0 ? std::exp(-expected_wrong_signs(s, snr) - expected_slip_turns(s, snr)) : 0.0;
}

double cliff_of(const detection_scene_t& s) {
  constexpr double enough = 0.99;
  double low = -30.0;
  double high = 90.0;
  if (!(found_probability(s, ratio_of(high)) >= enough)) {
    return std::numeric_limits<double>::quiet_NaN();
  }
  while (high - low > 1e-3) {
    const double middle = (low + high) / 2.0;
    (found_probability(s, ratio_of(middle)) >= enough ? high : low) = middle;
  }
  return high;
}

double dead_zone_loss(const detection_scene_t& s) {
  constexpr double dead_zone = 200.0;  // Hz/s, both sides of 0
  const double gradient = std::ldexp(turning_gradient(s), static_cast<int>(2 * s.rate_doublings));
  return std::min(dead_zone / gradient, 1.0);
}

double gap_over_merging(const detection_scene_t& s, double flyback_samples) {
  // Each sign change lies 128 - y samples inside the ramp.
  const double y = crossing({.slope = s.slope, .flyback = s.flyback, .slope_level = 0.0});
  const double gap = flyback_samples + 2.0 * (half_smoothing - y);
  const double mean_gap = (s.ramp + flyback_samples) / 2.0;
  return gap / (mean_gap / 8.0);
}

bool is_too_short(const detection_scene_t& s) { return s.ramp < 4.0 * half_smoothing; }

}  // namespace orn::fmcw_host
