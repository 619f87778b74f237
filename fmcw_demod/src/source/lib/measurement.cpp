#include "basefunc/kernels.h"
#include "basefunc/line.h"

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

/// What the figures of one chirp are computed from: views of the frame.
struct chirp_data_t {
  std::span<const double> meas_freq;  // Hz
  std::span<const float> meas_slope;  // Hz/s
  std::span<const float> dev_time;    // s
  std::span<const double> dev_freq;   // Hz
  std::span<const sample_t> dev_samples;
  float meas_start_time;  // s
  float meas_stop_time;   // s
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
  return chirp_data_t{freq.subspan(at->meas_first, at->meas_count),
                      slope_raw.subspan(at->meas_first, at->meas_count),
                      frame_time.subspan(at->dev_first, at->dev_count),
                      freq.subspan(at->dev_first, at->dev_count),
                      samples.subspan(at->dev_first, at->dev_count),
                      frame_time[at->meas_first],
                      frame_time[at->meas_first + at->meas_count - 1]};
}

/// A chirp's data with the line through its frequency.
struct fitted_chirp_t {
  chirp_data_t data;
  kernels::chirp_sums_t sums;
  kernels::line_t line;
};

/// Nothing when there is no data, or when its time stamps determine no line (all of them equal).
std::optional<fitted_chirp_t> fit_line(const std::optional<chirp_data_t>& data) {
  if (!data) {
    return std::nullopt;
  }
  const auto sums = kernels::chirp_sums(data->dev_time, data->dev_freq, data->dev_samples);
  const auto line = basefunc::line_through(sums.line, data->dev_time.size());
  if (!line) {
    return std::nullopt;
  }
  return fitted_chirp_t{*data, sums, *line};
}

/// T is the precision of the phases and of their sums.
template <class T>
void measure_deviations(const fitted_chirp_t& fit, const kernels::deviations_t<T>& deviations,
                        fmcw_chirp_result_t& chirp) {
  const std::size_t samples = fit.data.dev_time.size();
  const auto count = static_cast<double>(samples);
  chirp.freq_avg = fit.sums.line.y / count;
  chirp.freq_dev_avg = deviations.residual_sum / count;
  chirp.freq_dev_rms = std::sqrt(deviations.residual_squares / count);
  chirp.freq_dev_peak = deviations.residual_peak;
  const auto phases = static_cast<T>(samples);
  chirp.phase_dev_avg = static_cast<float>(deviations.phase_sum / phases);
  chirp.phase_dev_rms = static_cast<float>(std::sqrt(deviations.phase_squares / phases));
  chirp.phase_dev_peak = static_cast<float>(deviations.phase_peak);
}

/// Bandwidth and slope over the measured interval.
void measure_sweep(std::span<const double> freq, std::span<const float> slopes, float fitted_slope,
                   fmcw_chirp_result_t& chirp) {
  const kernels::sweep_t sweep = kernels::sweep(freq, slopes, fitted_slope, to_khz_per_us);
  chirp.bandwidth = sweep.highest - sweep.lowest;
  const auto count = static_cast<double>(slopes.size());
  const auto mean = static_cast<float>(sweep.slope_sum / count);
  const auto fitted = static_cast<float>(static_cast<double>(fitted_slope) * to_khz_per_us);
  chirp.slope_dev_mean = mean - fitted;
  chirp.slope_dev_avg = single(sweep.deviation_sum / count);
  chirp.slope_dev_rms = single(std::sqrt(sweep.deviation_squares / count));
  chirp.slope_dev_peak = single(sweep.deviation_peak);
}

/// Integral non-linearity: frequency deviations as fractions of the bandwidth.
void measure_nonlinearity(fmcw_chirp_result_t& chirp) {
  const bool swept = chirp.bandwidth > 0.0;
  chirp.inl_avg = swept ? chirp.freq_dev_avg / chirp.bandwidth : 0.0;
  chirp.inl_rms = swept ? chirp.freq_dev_rms / chirp.bandwidth : 0.0;
  chirp.inl_peak = swept ? chirp.freq_dev_peak / chirp.bandwidth : 0.0;
}

/// A chirp settles at its first sample, or at its last when fewer than four samples could tell.
void measure_settling(float start, float stop, std::size_t sample_count,
                      fmcw_chirp_result_t& chirp) {
  const float point = sample_count >= 4 ? start : stop;
  chirp.fm_settling_point = chirp.pm_settling_point = point;
  chirp.fm_settling_time = chirp.pm_settling_time = point - start;
  chirp.fm_settling_length = chirp.pm_settling_length = stop - point;
}

void measure_power(const kernels::squares_t& squares, std::size_t count, float impedance,
                   fmcw_chirp_result_t& chirp) {
  const auto dbm = [ohms = static_cast<double>(impedance)](double squared_magnitude) {
    return 10.0 * std::log10(squared_magnitude / ohms * 1000.0);
  };
  // The level grows with the square, and squares are floats, whose spacing is far above the error
  // of a logarithm: the extreme levels are those of the extreme squares.
  const double level_of_largest = dbm(squares.largest);
  const double level_of_smallest = dbm(squares.smallest);
  const double highest = level_of_largest > -300.0 ? level_of_largest : -300.0;
  const double lowest = level_of_smallest < 300.0 ? level_of_smallest : 300.0;
  chirp.power_avg = single(dbm(squares.sum / static_cast<double>(count)));
  chirp.power_peak = single(highest);
  chirp.power_min = single(lowest);
  chirp.power_pk_dev = single(highest - lowest);
}

/// The traces of the one chirp that is shown; of the others they have no elements.
struct shown_traces_t {
  explicit shown_traces_t(std::size_t count)
      : fitted(count), fitted_phase(count), residual(count), phase_deviation(count) {}

  std::vector<float> fitted;
  std::vector<float> fitted_phase;
  std::vector<float> residual;
  std::vector<float> phase_deviation;

  kernels::deviation_traces_t views() { return {fitted, fitted_phase, residual, phase_deviation}; }
};

/// All figures; T is the precision of the phases. Returns the traces, empty unless shown.
template <class T>
shown_traces_t measure(const fitted_chirp_t& fit, const fmcw_demod_config_t& config, bool display,
                       fmcw_chirp_result_t& chirp) {
  const chirp_data_t& data = fit.data;
  shown_traces_t traces(display ? data.dev_time.size() : 0);
  chirp.slope = static_cast<double>(fit.line.slope) * to_khz_per_us;
  measure_deviations(fit,
                     kernels::deviations<T>(data.dev_time, data.dev_freq, fit.line, 1.0 / config.fs,
                                            traces.views()),
                     chirp);
  measure_sweep(data.meas_freq, data.meas_slope, fit.line.slope, chirp);
  measure_nonlinearity(chirp);
  measure_power(fit.sums.squares, data.dev_time.size(), static_cast<float>(config.impedance),
                chirp);
  return traces;
}

void show_deviations(shown_traces_t& traces, std::span<const float> time,
                     fmcw_measure_result_t& result) {
  result.chirp_freq_dev = std::move(traces.residual);
  result.chirp_phi_dev = std::move(traces.phase_deviation);
  result.chirp_phi_dev_time_axis.assign(time.begin(), time.end());
  result.chirp_freq_dev_time_axis = result.chirp_phi_dev_time_axis;
}

}  // namespace

void FMCWAnalyze::extract_chirp_parameters(
    ArrayView<const double> freq, const std::vector<float>& frame_time,
    const std::vector<float>& slope_raw, std::vector<float>& chirp_phi_fit,
    std::vector<float>& chirp_freq_fit, int dev_start, int dev_stop, int meas_start, int meas_stop,
    const fmcw_devsetting_config_t& /*dev_settings*/, ArrayView<const sample_t> samples,
    fmcw_chirp_result_t& chirp, fmcw_measure_result_t& result, bool display) const {
  const auto fit = fit_line(
      chirp_data(freq, frame_time, slope_raw, samples, dev_start, dev_stop, meas_start, meas_stop));
  if (!fit) {
    return;
  }
  const chirp_data_t& data = fit->data;
  shown_traces_t traces = measure<float>(*fit, config_, display, chirp);
  measure_settling(data.meas_start_time, data.meas_stop_time, data.dev_freq.size(), chirp);
  if (display) {
    show_deviations(traces, data.dev_time, result);
    chirp_phi_fit = std::move(traces.fitted_phase);
    chirp_freq_fit = std::move(traces.fitted);
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
  shown_traces_t traces = measure<double>(*fit, config_, display, chirp);
  measure_settling(data.meas_start_time, data.meas_stop_time, data.meas_freq.size(), chirp);
  if (display) {
    show_deviations(traces, data.dev_time, result);
  }
}

}  // namespace orn::fmcw_demod_lib
