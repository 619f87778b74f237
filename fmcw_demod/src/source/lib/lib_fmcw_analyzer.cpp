#include "basefunc/convolution.h"
#include "basefunc/kernels.h"
#include "common/log.h"
#include "frame.h"
#include "scratch.h"
#include "segmentation.h"
#include "summary.h"

#include <fmcw_demod/engine.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace orn::fmcw_demod_lib {
namespace {

constexpr int frequency_smoothing = 37;  // samples
constexpr auto progress = common_log::log_level_t::progress;

}  // namespace

FMCWAnalyze::FMCWAnalyze(const FMCWConfig& parameters)
    : parameters_(parameters), config_(parameters.config), range_(parameters.analysis_range) {}

void FMCWAnalyze::analyze(const SignalStream& signal, fmcw_measure_result_t& result) {
  const std::vector<sample_t>& samples = signal.samples;
  const auto [range_start, range_end, frame_length, frame_count] = range_;
  if (range_end <= range_start || samples.size() < range_end) {
    result = {};
    return;
  }
  const auto fs = static_cast<float>(config_.fs);

  FMCW_LOG(progress, "Step 0: compute_stft_wincfg start");
  compute_stft_wincfg(samples, fs, config_.advanced.window, result);

  capture_traces_t traces;
  common_lib::resize_large(traces.time, samples.size());
  common_lib::resize_large(traces.power, samples.size());
  kernels::time_axis(config_.fs, traces.time);
  const auto impedance = static_cast<float>(config_.impedance);
  const double sum_of_squares = kernels::power_levels(samples, impedance, traces.power);

  FMCW_LOG(progress, "Step 1: compute_instantaneous_freq start");
  traces.frequency.resize(samples.size());
  kernels::instantaneous_frequency(samples, fs, traces.frequency, {});
  std::vector<float> smooth_frequency;
  common_lib::resize_large(smooth_frequency, samples.size());
  const auto window = parameters_.get_smoothing_window_double(frequency_smoothing);
  basefunc::convolve_same<double, float>(traces.frequency, window, smooth_frequency);

  result.chirp_phi_fit.clear();
  result.chirp_freq_fit.clear();
  result.selected_intervals.clear();
  result.chirp_intervals.clear();
  chirp_tally_t tally;
  std::uint32_t begin = range_start;
  for (std::uint32_t k = 0; k < frame_count; ++k) {
    FMCW_LOG(progress, "Processing frame {}/{}", k, frame_count);
    const std::uint32_t next = begin + frame_length;  // may wrap: the frame is then empty or early
    frame_t frame{k, std::exchange(begin, next), std::min(next, range_end)};
    if (frame.end <= frame.begin) {
      continue;
    }
    FMCW_LOG(progress, "frame {}:detect_chirp_boundaries", k);
    find_candidates(*this, config_, traces, frame);
    if (frame.candidates.empty()) {
      continue;
    }
    measure_candidates(*this, config_, samples, traces, frame, tally, result);
    FMCW_LOG(progress, "Frame {} all Chirps done", k);
  }
  FMCW_LOG(progress, "All frames done");

  result.chirp_results = std::move(tally.chirps);
  fill_phase(result.chirp_intervals, traces.time, smooth_frequency, result.spectrogram_phase_inst);
  result.instantaneous_freq = std::move(smooth_frequency);
  const std::uint32_t first_frame_end = range_start + frame_length;
  result.stable_intervals =
      extract_frame_stable_intervals(result.selected_intervals, range_start,
                                     std::min<std::uint64_t>(samples.size(), first_frame_end));
  result.time_axis = std::move(traces.time);
  result.instantaneous_power = std::move(traces.power);
  summarise(config_, mean_power_dbm(sum_of_squares, samples.size(), impedance),
            tally.first_chirp_start, tally.switching_times, tally.measured, tally.frequency_sum,
            result);
  FMCW_LOG(common_log::log_level_t::run, "FMCW analysis complete");
}

}  // namespace orn::fmcw_demod_lib
