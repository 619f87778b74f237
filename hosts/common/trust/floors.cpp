#include "common/trust/floors.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace orn::fmcw_host {
namespace {

using std::numbers::pi;

constexpr double unknown = std::numeric_limits<double>::quiet_NaN();
constexpr double half_smoothing = 128.0;          // samples
constexpr double slope_scale = 16384.0;           // 2^14, the squared half of the smoothing
constexpr double mean_of_highest = 0.5614594836;  // exp(-Euler's constant)
const double gumbel_deviation = pi / std::sqrt(6.0);
const double decibels_per_neper = 10.0 / std::numbers::ln10;  // of power

double normal_density(double x) { return std::exp(-x * x / 2.0) / std::sqrt(2.0 * pi); }

/// The x at which a falling function of it has a value, to about 1e-10.
template <class Function>
double where_falls_to(double value, Function f) {
  double low = -10.0;
  double high = 40.0;
  for (int i = 0; i < 40; ++i) {
    const double middle = (low + high) / 2.0;
    (f(middle) > value ? low : high) = middle;
  }
  return (low + high) / 2.0;
}

/// Sum over k >= 0 of Q(x + k step), by Euler and Maclaurin where the steps are small.
double tails_from(double x, double step) {
  if (step < 0.5) {
    return (normal_density(x) - x * normal_tail(x)) / step + normal_tail(x) / 2.0 +
           step * normal_density(x) / 12.0;
  }
  double sum = 0.0;
  // From x >= -10 with steps of a half and more, 40 terms reach 10, where nothing is left.
  for (int k = 0; k < 40; ++k) {
    sum += normal_tail(x + k * step);
  }
  return sum;
}

/// Samples expected above the sweep's highest frequency and x standard deviations more.
double samples_above(double x, double step, double count) {
  constexpr double no_step = 1e-9;
  return step * count < no_step ? count * normal_tail(x)
                                : tails_from(x, step) - tails_from(x + count * step, step);
}

double step_of(const noise_scene_t& s) { return std::abs(s.slope) / s.rate / frequency_noise(s); }

double bandwidth_excess(const noise_scene_t& s) {
  const double step = step_of(s);
  return std::isfinite(step)
             ? where_falls_to(mean_of_highest,
                              [&](double x) { return samples_above(x, step, s.measured); })
             : unknown;
}

/// Height of the step of the slope at a turn [Hz/s].
double slope_step(const noise_scene_t& s) { return std::abs(s.slope) + s.flyback; }

/// From a value to the next in single precision.
double ulp_of(double value) {
  const auto at = static_cast<float>(std::abs(value));
  return std::nextafter(at, std::numeric_limits<float>::infinity()) - static_cast<double>(at);
}

double edge_of(double y) { return half_smoothing - y; }

}  // namespace

double normal_tail(double x) { return 0.5 * std::erfc(x / std::numbers::sqrt2); }

double phase_noise(double snr) { return std::sqrt((1.0 + 0.5 / snr) * 0.5 / snr); }

double highest_of(double count) {
  return count >= 1.0 ? where_falls_to(mean_of_highest / count, normal_tail) : unknown;
}

double frequency_noise(const noise_scene_t& s) {
  return s.rate * phase_noise(s.snr) / (2.0 * std::numbers::sqrt2 * pi) * s.colour;
}

double smoothed_slope_noise(const noise_scene_t& s) {
  return s.rate * s.rate / slope_scale * (3.0 / (4.0 * pi)) * phase_noise(s.snr);
}

double slope_u(const noise_scene_t& s) {
  return 3.0 * s.rate * s.rate * phase_noise(s.snr) / (pi * s.window * s.window);
}

double crossing(const noise_scene_t& s) {
  const double w = (std::abs(s.slope) - s.slope_level) / slope_step(s);
  return half_smoothing * std::sqrt(2.0 * std::clamp(w, 0.0, 0.5));
}

double gradient_over_noise(const noise_scene_t& s) {
  return slope_step(s) * crossing(s) / slope_scale / smoothed_slope_noise(s);
}

double early_entry(const noise_scene_t& s) {
  return s.slope_level > 0.0 ? 0.3 * std::pow(gradient_over_noise(s), -1.27) : 0.0;
}

double start_bias(const noise_scene_t& s) { return edge_of(crossing(s)) - 0.5 - early_entry(s); }

double stop_bias(const noise_scene_t& s) {
  return early_entry(s) - edge_of(crossing(s)) - (s.slope_level > 0.0 ? 1.5 : 2.5);
}

double edge_u(const noise_scene_t& s) {
  const double q = gradient_over_noise(s);
  const double by_noise = std::min(1.0, std::pow(q, 0.35)) / q;
  return std::sqrt(by_noise * by_noise + 1.0 / 12.0);
}

double length_u(const noise_scene_t& s) { return std::numbers::sqrt2 * edge_u(s); }

double freq_avg_bias(const noise_scene_t& s) {
  return -(s.slope_level > 0.0 ? 1.0 : 1.5) * s.slope / s.rate;
}

double freq_avg_u(const noise_scene_t& s) {
  const double by_ends = s.rate * phase_noise(s.snr) / (2.0 * pi * s.window);
  const double by_edges = std::abs(s.slope) / s.rate * edge_u(s);
  return std::sqrt(by_ends * by_ends + by_edges * by_edges / 2.0);
}

double freq_dev_rms_floor(const noise_scene_t& s) {
  return std::hypot(frequency_noise(s), std::abs(s.slope) * ulp_of(s.time) / std::sqrt(12.0));
}

double freq_dev_rms_u(const noise_scene_t& s) {
  return frequency_noise(s) * 0.5 * std::sqrt(3.0 / s.window);
}

double freq_dev_peak_floor(const noise_scene_t& s) {
  return frequency_noise(s) * highest_of(2.0 * s.window);
}

double freq_dev_peak_u(const noise_scene_t& s) {
  return gumbel_deviation * frequency_noise(s) / highest_of(2.0 * s.window);
}

double bandwidth_bias(const noise_scene_t& s) {
  return 2.0 * frequency_noise(s) * bandwidth_excess(s);
}

double bandwidth_u(const noise_scene_t& s) {
  constexpr double h = 1e-3;
  const double x = bandwidth_excess(s);
  const double step = step_of(s);
  const double gradient =
      std::log(samples_above(x - h, step, s.measured) / samples_above(x + h, step, s.measured)) /
      (2.0 * h);
  return std::numbers::sqrt2 * gumbel_deviation * frequency_noise(s) / gradient;
}

double phase_dev_rms_floor(const noise_scene_t& s) {
  return std::hypot(0.795 * phase_noise(s.snr), 0.8 * rounding_walk(s));
}

double phase_dev_rms_u(const noise_scene_t& s) { return 0.139 * phase_noise(s.snr); }

double phase_dev_peak_floor(const noise_scene_t& s) {
  return std::hypot(0.73 * highest_of(2.0 * s.window) * phase_noise(s.snr), 1.6 * rounding_walk(s));
}

double rounding_walk(const noise_scene_t& s) {
  if (!(s.window >= 1.0)) {
    return unknown;
  }
  // The sum over i of ulp(phase i)^2, each weighted by the share of k that it enters.
  constexpr double most_places = 128.0;
  const int places = static_cast<int>(std::min(s.window, most_places));
  const double step = s.window / places;
  double sum = 0.0;
  for (int place = 0; place < places; ++place) {
    const double i = (place + 0.5) * step;
    const double t = i / s.rate;
    const double ulp = ulp_of(2.0 * pi * (s.begin + 0.5 * s.slope * t) * t);
    sum += ulp * ulp * step * (1.0 - i / s.window);
  }
  return std::sqrt(sum / 6.0);
}

double slope_dev_rms_floor(const noise_scene_t& s) {
  return s.rate * s.rate * phase_noise(s.snr) / (2.0 * pi);
}

double slope_dev_peak_floor(const noise_scene_t& s) {
  return slope_dev_rms_floor(s) * highest_of(2.0 * s.measured);
}

double slope_dev_mean_u(const noise_scene_t& s) { return slope_dev_rms_floor(s) / s.measured; }

double power_avg_bias(const noise_scene_t& s) {
  return decibels_per_neper * std::log1p(1.0 / s.snr);
}

double power_avg_u(const noise_scene_t& s) {
  const double n = 1.0 / s.snr;
  return decibels_per_neper * std::sqrt((2.0 + n) * n) / ((1.0 + n) * std::sqrt(s.window));
}

double power_peak_bias(const noise_scene_t& s) {
  return 20.0 * std::log10(1.0 + highest_of(s.window) / std::sqrt(2.0 * s.snr));
}

double power_min_bias(const noise_scene_t& s) {
  const double share = highest_of(s.window) / std::sqrt(2.0 * s.snr);
  return share < 1.0 ? 20.0 * std::log10(1.0 - share) : -std::numeric_limits<double>::infinity();
}

double power_peak_u(const noise_scene_t& s) {
  const double x = highest_of(s.window);
  return 2.0 * decibels_per_neper * gumbel_deviation / x / (std::sqrt(2.0 * s.snr) + x);
}

}  // namespace orn::fmcw_host
