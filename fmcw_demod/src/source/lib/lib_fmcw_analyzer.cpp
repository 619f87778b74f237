#include "basefunc/convolution.h"
#include "basefunc/kernels.h"
#include "common/log.h"
#include "conditioning.h"
#include "driver.h"
#include "frame.h"
#include "segmentation.h"
#include "spectra.h"
#include "summary.h"

#include <float_environment/default_environment.h>
#include <fmcw_demod/analyzer.h>
#include <memory/scratch.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <utility>

namespace orn::fmcw_demod_lib {
namespace {

using float_environment::in_default_environment;

constexpr auto progress = common_log::log_level_t::progress;

}  // namespace

void analyze(const FMCWConfig& parameters, const SignalStream& signal,
             fmcw_measure_result_t& result) {
  analysis_t analysis{parameters, parameters.config, signal.samples};
  const auto [range_start, range_end, frame_length, frame_count] = parameters.analysis_range;
  const std::vector<sample_t>& samples = analysis.samples;
  if (range_end <= range_start || samples.size() < range_end) {
    result = {};
    return;
  }
  const double rate = analysis.settings.fs;
  const auto fs = static_cast<float>(rate);
  const auto impedance = static_cast<float>(analysis.settings.impedance);

  FMCW_LOG(progress, "Step 0: compute_stft_wincfg start");
  compute_stft_wincfg(samples, fs, analysis.settings.advanced.window, result);

  // Into the storage of an earlier analysis, if there was one.
  capture_traces_t& traces = analysis.traces;
  traces.time = std::move(result.time_axis);
  traces.power = std::move(result.instantaneous_power);
  std::vector<float> smooth_frequency = std::move(result.instantaneous_freq);
  for (auto* const trace : {&traces.time, &traces.power, &smooth_frequency}) {
    memory::resize_large(*trace, samples.size());
  }
  kernels::time_axis(rate, traces.time);
  const double sum_of_squares = kernels::power_levels(samples, impedance, traces.power);

  FMCW_LOG(progress, "Step 1: compute_instantaneous_freq start");
  traces.frequency.resize(samples.size());
  kernels::instantaneous_frequency(samples, fs, traces.frequency, {});
  const auto window = parameters.get_smoothing_window_double(frequency_smoothing);
  basefunc::convolve_same<double, float>(traces.frequency, window, smooth_frequency);

  result.chirp_phi_fit.clear();
  result.chirp_freq_fit.clear();
  result.selected_intervals.clear();
  result.chirp_intervals.clear();
  chirp_tally_t tally;
  frame_t frame;  // its traces' memory serves every frame
  std::uint32_t begin = range_start;
  for (std::uint32_t k = 0; k < frame_count; ++k) {
    FMCW_LOG(progress, "Processing frame {}/{}", k, frame_count);
    const std::uint32_t next = begin + frame_length;  // may wrap: the frame is then empty or early
    frame.index = k;
    frame.begin = std::exchange(begin, next);
    frame.end = std::min(next, range_end);
    if (frame.end <= frame.begin) {
      continue;
    }
    FMCW_LOG(progress, "frame {}:detect_chirp_boundaries", k);
    find_candidates(analysis, frame);
    if (frame.candidates.empty()) {
      continue;
    }
    measure_candidates(analysis, frame, tally, result);
    FMCW_LOG(progress, "Frame {} all Chirps done", k);
  }
  FMCW_LOG(progress, "All frames done");

  result.chirp_results = std::move(tally.chirps);
  fill_phase(result.chirp_intervals, traces.time, smooth_frequency, result.spectrogram_phase_inst);
  result.instantaneous_freq = std::move(smooth_frequency);
  const std::uint32_t first_frame_end = range_start + frame_length;
  result.stable_intervals =
      intervals_in_frame(result.selected_intervals, range_start,
                         std::min<std::uint64_t>(samples.size(), first_frame_end));
  result.time_axis = std::move(traces.time);
  result.instantaneous_power = std::move(traces.power);
  summarise(mean_power_dbm(sum_of_squares, samples.size(), impedance), tally.first_chirp_start,
            totals_of(result.chirp_results), parameters.config.advanced.chirp.slope_tol, result);
  FMCW_LOG(common_log::log_level_t::run, "FMCW analysis complete");
}

FMCWAnalyzer::FMCWAnalyzer() : record_(std::make_unique<fmcw_demod_config_t>()) {
  record_->chirp_set = fmcw_chirp_set_t::automatic;
}

FMCWAnalyzer::~FMCWAnalyzer() = default;

int FMCWAnalyzer::config(const void* config, std::vector<std::complex<float>>* samples, float fs) {
  if (config == nullptr) {
    return -1;
  }
  const auto& record = *static_cast<const fmcw_demod_config_t*>(config);
  if (engine_ && in_default_environment([&] { return record == *record_; })) {
    return 0;
  }
  if (&record != record_.get()) {
    *record_ = record;
  }
  // Both are built before either replaces its predecessor: an engine never outlives its parameters.
  auto parameters = std::make_unique<FMCWConfig>(*record_, samples, fs);
  auto engine = std::make_unique<FMCWAnalyze>(*parameters);
  engine_ = std::move(engine);
  parameters_ = std::move(parameters);
  return 0;
}

int FMCWAnalyzer::work_analyze(const SignalStream& signal, void* result) {
  if (!engine_) {
    return -1;
  }
  if (result == nullptr) {
    return -2;
  }
  try {
    engine_->analyze(signal, *static_cast<fmcw_measure_result_t*>(result));
  } catch (const std::exception&) {
    return -3;
  }
  return 0;
}

}  // namespace orn::fmcw_demod_lib
