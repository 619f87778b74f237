#include "basefunc/kernels.h"
#include "boundaries.h"
#include "conditioning.h"
#include "driver.h"
#include "measurement.h"
#include "segmentation.h"
#include "spectra.h"
#include "summary.h"
#include "switching_points.h"

#include <float_environment/default_environment.h>
#include <fmcw_demod/basefunc.h>
#include <fmcw_demod/engine.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <optional>
#include <span>
#include <utility>

/// The exported engine: each member hands its arguments to the step behind it, which works in the
/// default floating-point environment.
namespace orn::fmcw_demod_lib {

using float_environment::in_default_environment;

FMCWAnalyze::FMCWAnalyze(const FMCWConfig& parameters)
    : parameters_(parameters), config_(parameters.config), range_(parameters.analysis_range) {}

void FMCWAnalyze::analyze(const SignalStream& signal, fmcw_measure_result_t& result) {
  in_default_environment([&] { fmcw_demod_lib::analyze(parameters_, signal, result); });
}

void FMCWAnalyze::compute_stft_wincfg(const std::vector<sample_t>& signal, float fs,
                                      const fmcw_window_config_t& window,
                                      fmcw_measure_result_t& result) const {
  in_default_environment([&] { fmcw_demod_lib::compute_stft_wincfg(signal, fs, window, result); });
}

void FMCWAnalyze::compute_spectrogram(const std::vector<sample_t>& signal, float fs,
                                      fmcw_measure_result_t& result) const {
  in_default_environment([&] { fmcw_demod_lib::compute_spectrogram(signal, fs, result); });
}

void FMCWAnalyze::compute_psd(const std::vector<sample_t>& signal, float fs,
                              std::vector<float>& freq, std::vector<float>& magnitude_db) const {
  in_default_environment([&] { fmcw_demod_lib::compute_psd(signal, fs, freq, magnitude_db); });
}

void FMCWAnalyze::compute_instantaneous_freq(const std::vector<sample_t>& signal, float fs,
                                             std::vector<double>& freq,
                                             std::vector<double>& phase) const {
  phase.resize(signal.size());
  freq.resize(signal.size());
  in_default_environment([&] { kernels::instantaneous_frequency(signal, fs, freq, phase); });
}

void FMCWAnalyze::smooth_with_triang(std::vector<float>& trace, int n) const {
  trace = basefunc::conv_same(trace, parameters_.get_smoothing_window(n));
}

void FMCWAnalyze::smooth_with_triang(std::vector<double>& trace, int n) const {
  trace = basefunc::conv_same_double(trace, parameters_.get_smoothing_window_double(n));
}

double FMCWAnalyze::compute_power_dbm(const std::vector<sample_t>& signal, float impedance) const {
  return in_default_environment(
      [&] { return mean_power_dbm(kernels::squares(signal).sum, signal.size(), impedance); });
}

std::vector<int> FMCWAnalyze::detect_chirp_boundaries(ArrayView<const double> freq,
                                                      std::vector<float>& slope_raw,
                                                      std::vector<float>& slope_smooth,
                                                      double dt) const {
  return in_default_environment(
      [&] { return find_boundaries(freq, dt, parameters_.triang_256, slope_raw, slope_smooth); });
}

std::vector<int> FMCWAnalyze::detect_chirp_boundaries(const std::vector<double>& freq,
                                                      std::vector<float>& slope_raw,
                                                      std::vector<float>& slope_smooth,
                                                      double dt) const {
  return in_default_environment([&]() -> std::vector<int> {
    if (!has_slope(freq.size())) {
      return {};
    }
    std::vector<double> slope(freq.size() - 1);
    kernels::slopes<double>(freq, dt, slope);
    slope_raw.assign(slope.begin(), slope.end());
    smooth_with_triang(slope, slope_smoothing);
    slope_smooth.assign(slope.begin(), slope.end());
    std::vector<int> boundaries = merge_switching(sign_changes<double>(slope));
    boundaries.insert(boundaries.begin(), 0);
    boundaries.push_back(static_cast<int>(freq.size() - 1));
    return boundaries;
  });
}

std::vector<int> FMCWAnalyze::MergeSwitching(const std::vector<int>& switching) const {
  return in_default_environment([&] { return merge_switching(switching); });
}

float FMCWAnalyze::get_slope_threshold(const std::vector<float>& slope) const {
  return in_default_environment([&] { return slope_threshold(slope); });
}

namespace {

bool holds_ints(const refined_chirp_t& chirp) {
  const auto [lowest, highest] =
      std::minmax({chirp.meas_start, chirp.meas_stop, chirp.dev_start, chirp.dev_stop});
  return lowest >= std::numeric_limits<int>::min() && highest <= std::numeric_limits<int>::max();
}

}  // namespace

void FMCWAnalyze::switch_point_para(const std::vector<float>& slope_smooth, int start, int stop,
                                    int /*chirp_index*/, int& meas_start, int& meas_stop,
                                    int& dev_start, int& dev_stop,
                                    const fmcw_advanced_config_t& advanced) const {
  constexpr auto to_skip = [](int first, int last) {
    return refined_chirp_t{first, last, first, first};
  };
  auto refined = in_default_environment(
      [&] { return refine_candidate(slope_smooth, start, stop, advanced, parameters_); });
  if (!refined || !holds_ints(*refined)) {
    refined = to_skip(start, stop);
  }
  meas_start = static_cast<int>(refined->meas_start);
  meas_stop = static_cast<int>(refined->meas_stop);
  dev_start = static_cast<int>(refined->dev_start);
  dev_stop = static_cast<int>(refined->dev_stop);
}

namespace {

/// Takes over all figures but numbering and timing, which a measurement leaves alone.
void take_figures(const fmcw_chirp_result_t& measured, fmcw_chirp_result_t& chirp) {
  fmcw_chirp_result_t taken = measured;
  taken.chirp_id = chirp.chirp_id;
  taken.chirp_no = chirp.chirp_no;
  taken.start_time = chirp.start_time;
  taken.stop_time = chirp.stop_time;
  taken.length = chirp.length;
  taken.switching_time = chirp.switching_time;
  chirp = taken;
}

/// Measures a chirp whose deviation traces the result gets if it is shown, and returns all traces.
std::optional<shown_traces_t> measure_into(const frame_view_t& frame,
                                           const refined_chirp_t& refined,
                                           const fmcw_demod_config_t& config, phase_rule_t rule,
                                           bool shown, fmcw_chirp_result_t& chirp,
                                           fmcw_measure_result_t& result) {
  const auto view = view_chirp(frame, refined);
  auto measured = view ? measure_chirp(*view, config, rule, shown) : std::nullopt;
  if (!measured) {
    return std::nullopt;
  }
  take_figures(measured->figures, chirp);
  if (shown) {
    show_deviations(measured->traces, view->dev_time, result);
  }
  return std::move(measured->traces);
}

}  // namespace

void FMCWAnalyze::extract_chirp_parameters(
    ArrayView<const double> freq, const std::vector<float>& frame_time,
    const std::vector<float>& slope_raw, std::vector<float>& chirp_phi_fit,
    std::vector<float>& chirp_freq_fit, int dev_start, int dev_stop, int meas_start, int meas_stop,
    const fmcw_devsetting_config_t& /*dev_settings*/, ArrayView<const sample_t> samples,
    fmcw_chirp_result_t& chirp, fmcw_measure_result_t& result, bool display) const {
  auto traces = in_default_environment([&] {
    return measure_into({freq, frame_time, slope_raw, samples},
                        {meas_start, meas_stop, dev_start, dev_stop}, config_,
                        phase_rule_t::sample_interval, display, chirp, result);
  });
  if (traces && display) {
    chirp_phi_fit = std::move(traces->fitted_phase);
    chirp_freq_fit = std::move(traces->fitted);
  }
}

void FMCWAnalyze::extract_chirp_parameters(
    const std::vector<double>& freq, const std::vector<float>& frame_time,
    const std::vector<float>& slope_raw, int dev_start, int dev_stop, int meas_start, int meas_stop,
    const fmcw_devsetting_config_t& /*dev_settings*/, const std::vector<sample_t>& samples,
    fmcw_chirp_result_t& chirp, fmcw_measure_result_t& result, bool display) const {
  in_default_environment([&] {
    measure_into({freq, frame_time, slope_raw, samples},
                 {meas_start, meas_stop, dev_start, dev_stop}, config_, phase_rule_t::time_stamps,
                 display, chirp, result);
  });
}

void FMCWAnalyze::fill_instantaneous(std::uint64_t sample_count,
                                     const std::vector<interval_t>& intervals,
                                     const std::vector<float>& time_axis,
                                     const std::vector<double>& inst_freq,
                                     std::vector<float>& phase_out,
                                     std::vector<float>& freq_out) const {
  if (sample_count > std::vector<double>().max_size()) {
    throw std::bad_alloc();
  }
  in_default_environment([&] {
    std::vector<float> freq(inst_freq.begin(), inst_freq.end());
    const auto usable = std::min<std::uint64_t>(sample_count, freq.size());
    fill_phase(intervals, time_axis, std::span(freq).first(usable), phase_out);
    phase_out.resize(sample_count);
    freq_out = std::move(freq);
  });
}

std::vector<interval_t> FMCWAnalyze::extract_frame_stable_intervals(
    const std::vector<interval_t>& intervals, std::uint64_t frame_start,
    std::uint64_t frame_end) const {
  return intervals_in_frame(intervals, frame_start, frame_end);
}

void FMCWAnalyze::get_summary_info(const std::vector<sample_t>& samples,
                                   fmcw_measure_result_t& result, const float& first_chirp_start,
                                   const std::vector<double>& switching_times,
                                   const std::uint32_t& chirp_count,
                                   const double& frequency_sum) const {
  in_default_environment([&] {
    const double power = compute_power_dbm(samples, static_cast<float>(config_.impedance));
    summarise(power, first_chirp_start, {switching_times, chirp_count, frequency_sum},
              config_.advanced.chirp.slope_tol, result);
  });
}

}  // namespace orn::fmcw_demod_lib
