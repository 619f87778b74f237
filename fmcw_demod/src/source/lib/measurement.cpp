#include "basefunc/kernels.h"

#include <fmcw_demod/basefunc.h>
#include <fmcw_demod/engine.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>

namespace orn::fmcw_demod_lib {
namespace {

constexpr double to_khz_per_us = 1e-9;  // of Hz/s

/// Rounds to single precision, which a figure keeps although its field is a double.
double single(double value) { return static_cast<float>(value); }

/// The two intervals of a chirp as the figures use them, counted in samples from the frame's start.
struct working_intervals_t {
  std::size_t dev_first;
  std::size_t dev_count;
  std::size_t meas_first;
  std::size_t meas_count;
};

/// The deviation interval loses a sample at each end, the measured interval its first. Nothing when
/// an interval is too short or not inside a frame of `frame_size` samples and one slope fewer.
std::optional<working_intervals_t> working_intervals(int dev_start, int dev_stop, int meas_start,
                                                     int meas_stop, std::size_t frame_size) {
  const std::int64_t dev_first = std::int64_t{dev_start} + 1;
  const std::int64_t dev_last = std::int64_t{dev_stop} - 1;
  const std::int64_t meas_first = std::int64_t{meas_start} + 1;
  const std::int64_t meas_last = meas_stop;
  const auto size = static_cast<std::int64_t>(frame_size);
  if (dev_last <= dev_first || meas_last <= meas_first || dev_first < 0 || meas_first < 0 ||
      dev_last >= size || meas_last >= size - 1) {
    return std::nullopt;
  }
  return working_intervals_t{
      static_cast<std::size_t>(dev_first), static_cast<std::size_t>(dev_last - dev_first + 1),
      static_cast<std::size_t>(meas_first), static_cast<std::size_t>(meas_last - meas_first + 1)};
}

/// What the figures of one chirp are computed from: views of the frame, and copies over the
/// deviation interval.
struct chirp_data_t {
  std::span<const double> meas_freq;  // Hz
  std::span<const float> meas_slope;  // Hz/s
  std::span<const sample_t> dev_samples;
  std::vector<float> dev_time;  // s
  std::vector<float> dev_freq;  // Hz
  float meas_start_time;        // s
  float meas_stop_time;         // s
};

std::optional<chirp_data_t> chirp_data(std::span<const double> freq,
                                       std::span<const float> frame_time,
                                       std::span<const float> slope_raw,
                                       std::span<const sample_t> samples, int dev_start,
                                       int dev_stop, int meas_start, int meas_stop) {
  const std::size_t frame_size =
      std::min({freq.size(), frame_time.size(), slope_raw.size() + 1, samples.size()});
  const auto at = working_intervals(dev_start, dev_stop, meas_start, meas_stop, frame_size);
  if (!at) {
    return std::nullopt;
  }
  const auto dev_time = frame_time.subspan(at->dev_first, at->dev_count);
  const auto dev_freq = freq.subspan(at->dev_first, at->dev_count);
  return chirp_data_t{freq.subspan(at->meas_first, at->meas_count),
                      slope_raw.subspan(at->meas_first, at->meas_count),
                      samples.subspan(at->dev_first, at->dev_count),
                      {dev_time.begin(), dev_time.end()},
                      {dev_freq.begin(), dev_freq.end()},
                      frame_time[at->meas_first],
                      frame_time[at->meas_first + at->meas_count - 1]};
}

struct line_t {
  float slope;      // Hz/s
  float intercept;  // Hz
};

/// A chirp's data with the line through its frequency.
struct fitted_chirp_t {
  chirp_data_t data;
  line_t line;
  std::vector<float> fitted;  // the line over the deviation interval [Hz]
};

/// Nothing when there is no data, or when its time stamps determine no line (all of them equal).
std::optional<fitted_chirp_t> fit_line(std::optional<chirp_data_t> data) {
  if (!data) {
    return std::nullopt;
  }
  const std::vector<float> fit = basefunc::polyfit_1(data->dev_time, data->dev_freq);
  if (fit.empty()) {
    return std::nullopt;
  }
  const line_t line{fit[0], fit[1]};
  std::vector<float> fitted(data->dev_time.size());
  for (std::size_t i = 0; i < fitted.size(); ++i) {
    fitted[i] = data->dev_time[i] * line.slope + line.intercept;
  }
  return fitted_chirp_t{std::move(*data), line, std::move(fitted)};
}

/// Returns the residual from the fitted line [Hz].
std::vector<float> measure_frequency(const std::vector<float>& freq,
                                     const std::vector<float>& fitted, fmcw_chirp_result_t& chirp) {
  std::vector<float> residuals(freq.size());
  double sum = 0.0;
  double residual_sum = 0.0;
  double residual_squares = 0.0;
  double peak = 0.0;
  for (std::size_t i = 0; i < freq.size(); ++i) {
    const double residual = static_cast<double>(freq[i]) - static_cast<double>(fitted[i]);
    residuals[i] = static_cast<float>(residual);
    sum += freq[i];
    residual_sum += residual;
    residual_squares += residual * residual;
    if (std::abs(residual) > peak) {
      peak = single(std::abs(residual));
    }
  }
  const auto count = static_cast<double>(freq.size());
  chirp.freq_avg = sum / count;
  chirp.freq_dev_avg = residual_sum / count;
  chirp.freq_dev_rms = std::sqrt(residual_squares / count);
  chirp.freq_dev_peak = peak;
  return residuals;
}

void measure_bandwidth(std::span<const double> freq, fmcw_chirp_result_t& chirp) {
  auto lowest = static_cast<float>(freq[0]);
  float highest = lowest;
  for (const double value : freq) {
    const auto f = static_cast<float>(value);
    lowest = f < lowest ? f : lowest;
    highest = f > highest ? f : highest;
  }
  chirp.bandwidth = highest - lowest;
}

/// Integral non-linearity: frequency deviations as fractions of the bandwidth.
void measure_nonlinearity(fmcw_chirp_result_t& chirp) {
  const bool swept = chirp.bandwidth > 0.0;
  chirp.inl_avg = swept ? chirp.freq_dev_avg / chirp.bandwidth : 0.0;
  chirp.inl_rms = swept ? chirp.freq_dev_rms / chirp.bandwidth : 0.0;
  chirp.inl_peak = swept ? chirp.freq_dev_peak / chirp.bandwidth : 0.0;
}

/// Returns the phase deviation [rad]. T is the precision of the phases and of the sums.
template <class T>
std::vector<float> measure_phase(const std::vector<T>& measured, const std::vector<T>& fitted,
                                 fmcw_chirp_result_t& chirp) {
  std::vector<float> deviations(measured.size());
  T sum = 0;
  T squares = 0;
  T peak = 0;
  for (std::size_t i = 0; i < measured.size(); ++i) {
    const T deviation = measured[i] - fitted[i];
    deviations[i] = static_cast<float>(deviation);
    sum += deviation;
    squares += deviation * deviation;
    if (std::abs(deviation) > peak) {
      peak = std::abs(deviation);
    }
  }
  const auto count = static_cast<T>(measured.size());
  chirp.phase_dev_avg = static_cast<float>(sum / count);
  chirp.phase_dev_rms = static_cast<float>(std::sqrt(squares / count));
  chirp.phase_dev_peak = static_cast<float>(peak);
  return deviations;
}

void measure_slope_deviation(std::span<const float> slopes, float fitted_slope,
                             fmcw_chirp_result_t& chirp) {
  double sum = 0.0;
  double deviation_sum = 0.0;
  double deviation_squares = 0.0;
  double peak = 0.0;
  for (const float slope : slopes) {
    const double deviation =
        (static_cast<double>(slope) - static_cast<double>(fitted_slope)) * to_khz_per_us;
    sum += static_cast<double>(slope) * to_khz_per_us;
    deviation_sum += deviation;
    deviation_squares += deviation * deviation;
    if (std::abs(deviation) > peak) {
      peak = std::abs(deviation);
    }
  }
  const auto count = static_cast<double>(slopes.size());
  const auto mean = static_cast<float>(sum / count);
  const auto fitted = static_cast<float>(static_cast<double>(fitted_slope) * to_khz_per_us);
  chirp.slope_dev_mean = mean - fitted;
  chirp.slope_dev_avg = single(deviation_sum / count);
  chirp.slope_dev_rms = single(std::sqrt(deviation_squares / count));
  chirp.slope_dev_peak = single(peak);
}

/// A chirp settles at its first sample, or at its last when fewer than four samples could tell.
void measure_settling(float start, float stop, std::size_t sample_count,
                      fmcw_chirp_result_t& chirp) {
  const float point = sample_count >= 4 ? start : stop;
  chirp.fm_settling_point = chirp.pm_settling_point = point;
  chirp.fm_settling_time = chirp.pm_settling_time = point - start;
  chirp.fm_settling_length = chirp.pm_settling_length = stop - point;
}

void measure_power(std::span<const sample_t> samples, float impedance, fmcw_chirp_result_t& chirp) {
  const auto dbm = [ohms = static_cast<double>(impedance)](double squared_magnitude) {
    return 10.0 * std::log10(squared_magnitude / ohms * 1000.0);
  };
  // The level grows with the square, and squares are floats, whose spacing is far above the error
  // of a logarithm: the extreme levels are those of the extreme squares.
  const kernels::squares_t squares = kernels::squares(samples);
  const double level_of_largest = dbm(squares.largest);
  const double level_of_smallest = dbm(squares.smallest);
  const double highest = level_of_largest > -300.0 ? level_of_largest : -300.0;
  const double lowest = level_of_smallest < 300.0 ? level_of_smallest : 300.0;
  chirp.power_avg = single(dbm(squares.sum / static_cast<double>(samples.size())));
  chirp.power_peak = single(highest);
  chirp.power_min = single(lowest);
  chirp.power_pk_dev = single(highest - lowest);
}

/// The figures that both forms compute alike. Returns the frequency residual [Hz].
std::vector<float> measure_common(const fitted_chirp_t& fit, double impedance,
                                  fmcw_chirp_result_t& chirp) {
  chirp.slope = static_cast<double>(fit.line.slope) * to_khz_per_us;
  std::vector<float> residuals = measure_frequency(fit.data.dev_freq, fit.fitted, chirp);
  measure_bandwidth(fit.data.meas_freq, chirp);
  measure_nonlinearity(chirp);
  measure_slope_deviation(fit.data.meas_slope, fit.line.slope, chirp);
  measure_power(fit.data.dev_samples, static_cast<float>(impedance), chirp);
  return residuals;
}

void show_deviations(std::vector<float> residuals, std::vector<float> phase_deviations,
                     const std::vector<float>& time, fmcw_measure_result_t& result) {
  result.chirp_freq_dev = std::move(residuals);
  result.chirp_phi_dev = std::move(phase_deviations);
  result.chirp_phi_dev_time_axis = time;
  result.chirp_freq_dev_time_axis = time;
}

}  // namespace

void FMCWAnalyze::extract_chirp_parameters(
    ArrayView<const double> freq, const std::vector<float>& frame_time,
    const std::vector<float>& slope_raw, std::vector<float>& chirp_phi_fit,
    std::vector<float>& chirp_freq_fit, int dev_start, int dev_stop, int meas_start, int meas_stop,
    const fmcw_devsetting_config_t& /*dev_settings*/, ArrayView<const sample_t> samples,
    fmcw_chirp_result_t& chirp, fmcw_measure_result_t& result, bool display) const {
  auto fit = fit_line(
      chirp_data(freq, frame_time, slope_raw, samples, dev_start, dev_stop, meas_start, meas_stop));
  if (!fit) {
    return;
  }
  const chirp_data_t& data = fit->data;
  std::vector<float> residuals = measure_common(*fit, config_.impedance, chirp);

  const double sample_interval = 1.0 / config_.fs;
  const std::vector<float> phase = basefunc::cumtrapz_phase(sample_interval, data.dev_freq);
  std::vector<float> fitted_phase = basefunc::cumtrapz_phase(sample_interval, fit->fitted);
  std::vector<float> phase_deviations = measure_phase(phase, fitted_phase, chirp);
  measure_settling(data.meas_start_time, data.meas_stop_time, data.dev_freq.size(), chirp);

  if (display) {
    show_deviations(std::move(residuals), std::move(phase_deviations), data.dev_time, result);
    chirp_phi_fit = std::move(fitted_phase);
    chirp_freq_fit = std::move(fit->fitted);
  }
}

void FMCWAnalyze::extract_chirp_parameters(
    const std::vector<double>& freq, const std::vector<float>& frame_time,
    const std::vector<float>& slope_raw, int dev_start, int dev_stop, int meas_start, int meas_stop,
    const fmcw_devsetting_config_t& /*dev_settings*/, const std::vector<sample_t>& samples,
    fmcw_chirp_result_t& chirp, fmcw_measure_result_t& result, bool display) const {
  const auto fit = fit_line(
      chirp_data(freq, frame_time, slope_raw, samples, dev_start, dev_stop, meas_start, meas_stop));
  if (!fit) {
    return;
  }
  const chirp_data_t& data = fit->data;
  std::vector<float> residuals = measure_common(*fit, config_.impedance, chirp);

  std::vector<float> phase_deviations =
      measure_phase(basefunc::cumtrapz_phase(data.dev_time, data.dev_freq),
                    basefunc::cumtrapz_phase(data.dev_time, fit->fitted), chirp);
  measure_settling(data.meas_start_time, data.meas_stop_time, data.meas_freq.size(), chirp);

  if (display) {
    show_deviations(std::move(residuals), std::move(phase_deviations), data.dev_time, result);
  }
}

}  // namespace orn::fmcw_demod_lib
