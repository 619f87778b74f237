#include "measurement.h"

#include "basefunc/kernels.h"
#include "basefunc/line.h"
#include "conditioning.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

namespace orn::fmcw_demod_lib {
namespace {

/// Rounds to single precision, which a figure keeps although its field is a double.
double single(double value) { return static_cast<float>(value); }

/// A chirp with the line through its frequency.
struct fitted_chirp_t {
  const chirp_view_t& view;
  kernels::chirp_sums_t sums;
  kernels::line_t line;
};

/// T is the precision of the phases and of their sums.
template <class T>
void measure_deviations(const fitted_chirp_t& fit, const kernels::deviations_t<T>& deviations,
                        fmcw_chirp_result_t& chirp) {
  const std::size_t samples = fit.view.dev_time.size();
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
  // The level grows with the square, and squares are floats, whose spacing is far above the error
  // of a logarithm: the extreme levels are those of the extreme squares.
  const double level_of_largest = power_dbm(squares.largest, impedance);
  const double level_of_smallest = power_dbm(squares.smallest, impedance);
  constexpr double floor = no_power_dbm;
  const double highest = level_of_largest > floor ? level_of_largest : floor;
  const double lowest = level_of_smallest < -floor ? level_of_smallest : -floor;
  chirp.power_avg = single(power_dbm(squares.sum / static_cast<double>(count), impedance));
  chirp.power_peak = single(highest);
  chirp.power_min = single(lowest);
  chirp.power_pk_dev = single(highest - lowest);
}

shown_traces_t traces_of(std::size_t count) {
  return {std::vector<float>(count), std::vector<float>(count), std::vector<float>(count),
          std::vector<float>(count)};
}

/// T is the precision of the phases.
template <class T>
measured_chirp_t measure(const fitted_chirp_t& fit, const fmcw_demod_config_t& config, bool shown) {
  const chirp_view_t& view = fit.view;
  measured_chirp_t measured{{}, traces_of(shown ? view.dev_time.size() : 0)};
  auto& [figures, traces] = measured;
  figures.slope = static_cast<double>(fit.line.slope) * to_khz_per_us;
  measure_deviations(fit,
                     kernels::deviations<T>(view.dev_time, view.dev_freq, fit.line, 1.0 / config.fs,
                                            {traces.fitted, traces.fitted_phase, traces.residual,
                                             traces.phase_deviation}),
                     figures);
  measure_sweep(view.meas_freq, view.meas_slope, fit.line.slope, figures);
  measure_nonlinearity(figures);
  measure_power(fit.sums.squares, view.dev_time.size(), static_cast<float>(config.impedance),
                figures);
  return measured;
}

}  // namespace

std::optional<chirp_view_t> view_chirp(const frame_view_t& frame, const refined_chirp_t& chirp) {
  const std::int64_t dev_first = chirp.dev_start + 1;
  const std::int64_t dev_last = chirp.dev_stop - 1;
  const std::int64_t meas_first = chirp.meas_start + 1;
  const std::int64_t meas_last = chirp.meas_stop;
  const auto size = static_cast<std::int64_t>(std::min(
      {frame.freq.size(), frame.time.size(), frame.slope.size() + 1, frame.samples.size()}));
  if (dev_last <= dev_first || meas_last <= meas_first || dev_first < 0 || meas_first < 0 ||
      dev_last >= size || meas_last >= size - 1) {
    return std::nullopt;
  }
  const auto dev_begin = static_cast<std::size_t>(dev_first);
  const auto dev_count = static_cast<std::size_t>(dev_last - dev_first + 1);
  const auto meas_begin = static_cast<std::size_t>(meas_first);
  const auto meas_count = static_cast<std::size_t>(meas_last - meas_first + 1);
  return chirp_view_t{
      frame.freq.subspan(meas_begin, meas_count),  frame.slope.subspan(meas_begin, meas_count),
      frame.time.subspan(dev_begin, dev_count),    frame.freq.subspan(dev_begin, dev_count),
      frame.samples.subspan(dev_begin, dev_count), frame.time[meas_begin],
      frame.time[meas_begin + meas_count - 1]};
}

std::optional<measured_chirp_t> measure_chirp(const chirp_view_t& chirp,
                                              const fmcw_demod_config_t& config,
                                              phase_rule_t phase_rule, bool shown) {
  const auto sums = kernels::chirp_sums(chirp.dev_time, chirp.dev_freq, chirp.dev_samples);
  const auto line = basefunc::line_through(sums.line, chirp.dev_time.size());
  if (!line) {
    return std::nullopt;
  }
  const fitted_chirp_t fit{chirp, sums, *line};
  const bool by_interval = phase_rule == phase_rule_t::sample_interval;
  measured_chirp_t measured =
      by_interval ? measure<float>(fit, config, shown) : measure<double>(fit, config, shown);
  measure_settling(chirp.meas_start_time, chirp.meas_stop_time,
                   by_interval ? chirp.dev_freq.size() : chirp.meas_freq.size(), measured.figures);
  return measured;
}

void show_deviations(shown_traces_t& traces, std::span<const float> time,
                     fmcw_measure_result_t& result) {
  result.chirp_freq_dev = std::move(traces.residual);
  result.chirp_phi_dev = std::move(traces.phase_deviation);
  result.chirp_phi_dev_time_axis.assign(time.begin(), time.end());
  result.chirp_freq_dev_time_axis = result.chirp_phi_dev_time_axis;
}

}  // namespace orn::fmcw_demod_lib
