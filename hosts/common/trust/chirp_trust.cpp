#include "common/trust/chirp_trust.h"

#include "common/figures/figure_table.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string_view>

namespace orn::fmcw_host {
namespace {

using fmcw_demod_lib::fmcw_chirp_detect_t;
using fmcw_demod_lib::fmcw_chirp_set_t;
using fmcw_demod_lib::fmcw_devlength_ref_t;
using fmcw_demod_lib::fmcw_st_config_t;

constexpr double unknown = std::numeric_limits<double>::quiet_NaN();
constexpr double hz_per_s = 1e9;      // in a kHz/us
constexpr double least_snr = 3.1623;  // 5 dB, below which moments do not tell the noise
constexpr double most_snr = 1e12;     // of samples in single precision
constexpr double most_correlation = 0.15;
constexpr double half_smoothing = 128.0;  // samples

/// Smoothed slope at which the measured interval ends [Hz/s]; 0: where it changes its sign.
double level_of(double slope, const settings_t& settings) {
  constexpr double kept = 0.95;
  const bool is_automatic = settings.manager.get_chirp_set() == fmcw_chirp_set_t::automatic &&
                            settings.manager.get_chirp_detect() == fmcw_chirp_detect_t::automatic;
  return is_automatic
             ? kept * std::abs(slope)
             : std::max(0.0, std::abs(slope) - settings.manager.get_chirp_config().slope_tol);
}

/// Samples of the deviation window, one of which is dropped at either end.
double window_of(const noise_scene_t& scene, double ramp, double flyback,
                 const settings_t& settings) {
  const auto& manager = settings.manager;
  if (manager.get_devlength_ref() != fmcw_devlength_ref_t::relative) {
    return scene.measured - std::trunc(manager.get_devlength_offset_begin() * scene.rate) -
           std::trunc(manager.get_devlength_offset_end() * scene.rate) - 1.0;
  }
  // The share is one of the candidate, which ends in the middle of the fly-backs.
  const double candidate = std::isnan(ramp) ? scene.measured : ramp + flyback;
  const double cut = std::trunc((1.0 - manager.get_devlength_len()) * 0.5 * candidate);
  return scene.measured - 2.0 * cut - 1.0;
}

/// The slope on the way back, and its samples: each turn lies a known bias from the edge seen, which
/// depends on the slope itself.
void find_flyback(double gap, double period, chirp_scene_t& scene) {
  constexpr int rounds = 8;
  noise_scene_t& noise = scene.noise;
  double back = gap;
  for (int i = 0; i < rounds; ++i) {
    noise.flyback = std::abs(noise.slope) * (period - back) / back;
    back = gap - start_bias(noise) + stop_bias(noise);
    if (!(back >= half_smoothing)) {
      noise.flyback = unknown;
      return;
    }
  }
  scene.flyback_samples = back;
}

/// A value known but for an uncertainty, judged against `scale`, which is its magnitude where its 0
/// means something.
figure_trust_t uncertain(double value, double bias, double u, double scale) {
  constexpr double sure = 10.0;
  constexpr double doubtful = 3.0;
  const double size = std::abs(scale);
  const trust_t word = std::isnan(size / u)  ? trust_t::unknown
                       : size > sure * u     ? trust_t::measured
                       : size < doubtful * u ? trust_t::noise
                                             : trust_t::near_floor;
  return {value, bias, u, unknown, value - bias, word};
}

/// What the deviations left when noise has its share: sqrt(x^2 - F^2), 0 below F.
double without(double x, double floor) { return std::sqrt(std::max(x * x - floor * floor, 0.0)); }

/// A deviation of at most `by_noise` where there is noise alone, and of `sure` where it is not.
figure_trust_t deviation(double x, double floor, double by_noise, double sure, double u) {
  const trust_t word = std::isnan(x / floor) ? trust_t::unknown
                       : x <= by_noise       ? trust_t::noise
                       : x < sure            ? trust_t::near_floor
                                             : trust_t::measured;
  const bool is_signal = word == trust_t::near_floor || word == trust_t::measured;
  return {x, 0.0, u, floor, is_signal ? without(x, floor) : unknown, word};
}

figure_trust_t rms_deviation(double x, double floor, double count, double u) {
  return deviation(x, floor, floor * (1.0 + 3.7 / std::sqrt(count)), 1.5 * floor, u);
}

/// sigma  of the noise; `count` magnitudes of it
figure_trust_t peak_deviation(double x, double sigma, double count, double u) {
  const double highest = highest_of(2.0 * count);
  const double floor = sigma * highest;
  const double by_noise = sigma * (highest + 3.8 / highest);
  figure_trust_t trust = deviation(x, floor, by_noise, std::max(1.5 * floor, by_noise), u);
  trust.truth = unknown;  // peaks of signal and noise do not add up in squares
  return trust;
}

figure_trust_t phase_deviation(double x, double floor, double u) {
  // Most of it is the error of the fitted line, a squared normal value or two: of noise alone half a
  // per cent passed 2 floors in simulations, one in 800 2.5 of them.
  return deviation(x, floor, 1.5 * floor, 3.0 * floor, u);
}

figure_trust_t level(double value, double bias, double u) {
  constexpr double decibels = 10.0 / 2.302585092994046;  // u of 1 in power
  return uncertain(value, bias, u, decibels);
}

figure_trust_t bandwidth(double value, double bias, double u) {
  constexpr double little = 0.05;
  constexpr double half = 0.5;
  figure_trust_t trust = uncertain(value, bias, u, value);
  if (trust.word != trust_t::unknown && bias > little * value) {
    trust.word = std::max(trust.word, bias > half * value ? trust_t::noise : trust_t::near_floor);
  }
  return trust;
}

/// The trust of each column, in the order of trusted_columns.
class trusts_t {
 public:
  explicit trusts_t(const chirp_t& chirp) {
    static const auto figures = [] {
      std::array<const figure_t*, trusted_columns.size()> all{};
      std::transform(trusted_columns.begin(), trusted_columns.end(), all.begin(),
                     [](std::string_view column) { return &figure_named(column); });
      return all;
    }();
    for (std::size_t i = 0; i < all_.size(); ++i) {
      all_[i].value = figures[i]->get(chirp);
    }
  }
  double value(std::string_view column) const { return all_[trusted_place(column)].value; }
  void set(std::string_view column, const figure_trust_t& trust) {
    all_[trusted_place(column)] = trust;
  }
  const chirp_trust_t& all() const { return all_; }

 private:
  chirp_trust_t all_;
};

void judge_times(const noise_scene_t& s, trusts_t& trusts) {
  const double length = trusts.value("length_s");
  const double length_bias = (stop_bias(s) - start_bias(s)) / s.rate;
  const double length_uncertainty = length_u(s) / s.rate;
  const auto set = [&](std::string_view column, double bias, double u, double scale) {
    trusts.set(column, uncertain(trusts.value(column), bias, u, scale));
  };
  set("start_s", start_bias(s) / s.rate, edge_u(s) / s.rate, length);
  set("stop_s", stop_bias(s) / s.rate, edge_u(s) / s.rate, length);
  set("length_s", length_bias, length_uncertainty, length);
  set("period_s", 0.0, length_uncertainty, trusts.value("period_s"));
  const double gap = trusts.value("switching_time_s");
  if (gap != 0.0) {  // there is a chirp before
    set("switching_time_s", -length_bias, length_uncertainty, gap);
  }
  const double sweep = trusts.value("sweep_hz");
  const double sweep_u = sweep * std::hypot(slope_u(s) / s.slope, length_uncertainty / length);
  set("sweep_hz", sweep * length_bias / length, sweep_u, sweep);
}

void judge_frequency_deviations(const noise_scene_t& s, trusts_t& trusts) {
  const double floor = freq_dev_rms_floor(s);
  const double width = trusts.value("bandwidth_hz");
  trusts.set("freq_dev_rms_hz",
             rms_deviation(trusts.value("freq_dev_rms_hz"), floor, s.window, freq_dev_rms_u(s)));
  trusts.set("freq_dev_peak_hz",
             peak_deviation(trusts.value("freq_dev_peak_hz"), floor, s.window, freq_dev_peak_u(s)));
  trusts.set("inl_rms", rms_deviation(trusts.value("inl_rms"), floor / width, s.window,
                                      freq_dev_rms_u(s) / width));
  trusts.set("inl_peak", peak_deviation(trusts.value("inl_peak"), floor / width, s.window,
                                        freq_dev_peak_u(s) / width));
  trusts.set("bandwidth_hz", bandwidth(width, bandwidth_bias(s), bandwidth_u(s)));
}

void judge_slopes(const noise_scene_t& s, trusts_t& trusts) {
  const auto set = [&](std::string_view column, double u) {
    const double value = trusts.value(column);
    trusts.set(column, uncertain(value, 0.0, u / hz_per_s, value));
  };
  set("slope_khz_per_us", slope_u(s));
  set("slope_dev_mean_khz_per_us", slope_dev_mean_u(s));
  const double floor = slope_dev_rms_floor(s) / hz_per_s;
  trusts.set("slope_dev_rms_khz_per_us",
             rms_deviation(trusts.value("slope_dev_rms_khz_per_us"), floor, s.measured, unknown));
  trusts.set("slope_dev_peak_khz_per_us",
             peak_deviation(trusts.value("slope_dev_peak_khz_per_us"), floor, s.measured, unknown));
}

void judge_phases_and_powers(const noise_scene_t& s, trusts_t& trusts) {
  trusts.set("phase_dev_rms_rad", phase_deviation(trusts.value("phase_dev_rms_rad"),
                                                  phase_dev_rms_floor(s), phase_dev_rms_u(s)));
  figure_trust_t peak =
      phase_deviation(trusts.value("phase_dev_peak_rad"), phase_dev_peak_floor(s), unknown);
  peak.truth = unknown;
  trusts.set("phase_dev_peak_rad", peak);
  trusts.set("power_avg_dbm",
             level(trusts.value("power_avg_dbm"), power_avg_bias(s), power_avg_u(s)));
  trusts.set("power_peak_dbm",
             level(trusts.value("power_peak_dbm"), power_peak_bias(s), power_peak_u(s)));
  trusts.set("power_min_dbm",
             level(trusts.value("power_min_dbm"), power_min_bias(s), power_peak_u(s)));
}

}  // namespace

std::string_view name_of(trust_t trust) {
  constexpr std::array<std::string_view, trust_count> names = {"measured", "near the floor",
                                                               "noise", "unknown"};
  return names.at(static_cast<std::size_t>(trust));
}

chirp_scene_t scene_of(const chirp_t& chirp, const std::optional<chirp_t>& before,
                       const settings_t& settings) {
  chirp_scene_t scene;
  noise_scene_t& noise = scene.noise;
  noise.snr = std::min(chirp.noise.snr, most_snr);
  noise.rate = settings.manager.get_fs();
  noise.slope = chirp.figures.slope * hz_per_s;
  noise.slope_level = level_of(noise.slope, settings);
  // Of the samples that were analysed, which may be fewer than those of the recording.
  noise.measured = std::round((chirp.stop - chirp.start) * noise.rate);
  noise.time = chirp.figures.stop_time;
  noise.colour = std::sqrt(std::max(1.0 - chirp.noise.correlation_2, 0.0));
  noise.flyback = unknown;
  constexpr std::uint32_t untold = chirp_flag_t::clipped | chirp_flag_t::nonfinite;
  scene.is_told = noise.snr >= least_snr && (chirp.flags & untold) == 0;
  scene.is_white = std::abs(chirp.noise.correlation_1) < most_correlation &&
                   std::abs(chirp.noise.correlation_2) < most_correlation;
  scene.flyback_samples = unknown;
  const bool is_band = settings.manager.get_st_config() == fmcw_st_config_t::slope_band;
  if (is_band && before && !std::isnan(chirp.idle)) {
    if (before->figures.slope * chirp.figures.slope < 0.0) {
      noise.flyback = std::abs(before->figures.slope) * hz_per_s;
      scene.flyback_samples = 0.0;
    } else {
      find_flyback(chirp.idle * noise.rate, chirp.period * noise.rate, scene);
    }
  }
  scene.ramp = noise.measured + start_bias(noise) - stop_bias(noise);
  noise.window = window_of(noise, scene.ramp, scene.flyback_samples, settings);
  if (!(noise.window >= 4.0)) {
    noise.window = unknown;
  }
  noise.begin = chirp.figures.freq_avg - 0.5 * noise.slope * noise.window / noise.rate;
  return scene;
}

chirp_trust_t trust_of(const chirp_t& chirp, const chirp_scene_t& scene) {
  trusts_t trusts(chirp);
  if (!scene.is_told) {
    return trusts.all();
  }
  const noise_scene_t& s = scene.noise;
  judge_frequency_deviations(s, trusts);
  if (!scene.is_white) {
    return trusts.all();
  }
  if ((chirp.flags & chirp_flag_t::edge) == 0) {
    judge_times(s, trusts);
  }
  judge_slopes(s, trusts);
  judge_phases_and_powers(s, trusts);
  const double mean = trusts.value("freq_avg_hz");
  trusts.set("freq_avg_hz",
             uncertain(mean, freq_avg_bias(s), freq_avg_u(s), trusts.value("sweep_hz")));
  return trusts.all();
}

}  // namespace orn::fmcw_host
