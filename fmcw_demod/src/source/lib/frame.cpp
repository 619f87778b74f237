#include "frame.h"

#include <algorithm>

namespace orn::fmcw_demod_lib {
namespace {

template <class T>
std::vector<T> copy_range(const std::vector<T>& trace, std::size_t begin, std::size_t end) {
  return {trace.begin() + static_cast<std::ptrdiff_t>(begin),
          trace.begin() + static_cast<std::ptrdiff_t>(end)};
}

/// The part of a candidate that is measured, all indices inclusive and counted in the frame.
struct refined_chirp_t {
  int meas_start;
  int meas_stop;
  int dev_start;
  int dev_stop;

  /// False when settings have moved an end out of the frame (whose last sample has no slope) or
  /// have left nothing to measure.
  bool measurable(std::size_t frame_size) const {
    return meas_start >= 0 && meas_start < meas_stop &&
           static_cast<std::size_t>(meas_stop) + 1 < frame_size && dev_start < dev_stop;
  }
};

/// Which candidates of a frame are selected, and which one is shown.
struct selection_t {
  std::uint64_t first;
  std::uint64_t last;
  std::uint64_t display;

  bool contains(std::uint64_t candidate) const { return first <= candidate && candidate <= last; }
};

selection_t selection_of(const fmcw_demod_config_t& config, std::uint64_t candidate_count) {
  const std::uint64_t highest = candidate_count - 1;
  const std::uint64_t first = std::min<std::uint64_t>(config.advanced.chirp_start, highest);
  // A count of 0 from candidate 0 wraps: it selects the whole frame.
  const std::uint64_t last = std::min(first + config.advanced.chirp_count - 1, highest);
  return {first, last, std::min<std::uint64_t>(config.display_chirpNO, highest)};
}

void keep_first_frame(const capture_traces_t& traces, const frame_t& frame, chirp_tally_t& tally,
                      fmcw_measure_result_t& result) {
  result.frame_power = copy_range(traces.power, frame.begin, frame.end);
  result.frame_time_axis = frame.time;
  tally.first_chirp_start = frame.time[frame.candidates.front().first];
}

void move_to_first_candidate(frame_t& frame) {
  const float start = frame.time[frame.candidates.front().first];
  for (float& time : frame.time) {
    time -= start;
  }
}

}  // namespace

void find_candidates(const FMCWAnalyze& engine, const fmcw_demod_config_t& config,
                     const capture_traces_t& traces, frame_t& frame) {
  frame.time = copy_range(traces.time, frame.begin, frame.end);
  const ArrayView<const double> freq(traces.frequency.data() + frame.begin, frame.size());
  const std::vector<int> boundaries =
      engine.detect_chirp_boundaries(freq, frame.slope_raw, frame.slope_smooth, 1.0 / config.fs);
  for (std::size_t q = 1; q < boundaries.size(); ++q) {
    const auto first = static_cast<std::size_t>(boundaries[q - 1]);
    const auto last = static_cast<std::size_t>(boundaries[q] - 1);
    const double duration = frame.time[last] - frame.time[first];
    if (config.advanced.min_chirp_len < duration && duration < config.advanced.max_chirp_len) {
      frame.candidates.emplace_back(first, last);
    }
  }
}

void measure_candidates(const FMCWAnalyze& engine, const fmcw_demod_config_t& config,
                        const std::vector<sample_t>& samples, const capture_traces_t& traces,
                        frame_t& frame, chirp_tally_t& tally, fmcw_measure_result_t& result) {
  const bool first_frame = frame.index == 0;
  if (first_frame) {
    keep_first_frame(traces, frame, tally, result);
  }
  move_to_first_candidate(frame);

  const ArrayView<const double> freq(traces.frequency.data() + frame.begin, frame.size());
  const ArrayView<const sample_t> frame_samples(samples.data() + frame.begin, frame.size());
  const selection_t selection = selection_of(config, frame.candidates.size());
  float previous_stop_time = 0.0F;
  bool selection_carried = false;  // past skipped candidates to the next one that is measured

  for (std::uint32_t j = 0; j < frame.candidates.size(); ++j) {
    const bool selected = selection.contains(j) || selection_carried;
    const auto start = static_cast<int>(frame.candidates[j].first);
    const auto stop = static_cast<int>(frame.candidates[j].second) - 1;

    const bool display = first_frame && j == selection.display && start < stop;
    if (display) {
      const auto begin = static_cast<std::size_t>(start);
      const auto end = static_cast<std::size_t>(stop);
      result.chirp_power = copy_range(traces.power, frame.begin + begin, frame.begin + end);
      result.chirp_time_axis = copy_range(frame.time, begin, end);
    }

    refined_chirp_t refined{start, stop, start, stop};
    engine.switch_point_para(frame.slope_smooth, start, stop, static_cast<int>(j),
                             refined.meas_start, refined.meas_stop, refined.dev_start,
                             refined.dev_stop, config.advanced);
    if (!refined.measurable(frame.size())) {
      selection_carried = selected;
      continue;
    }
    selection_carried = false;

    const auto meas_start = static_cast<std::size_t>(refined.meas_start);
    const auto meas_stop = static_cast<std::size_t>(refined.meas_stop);
    const interval_t in_capture(frame.begin + meas_start, frame.begin + meas_stop);
    if (selected) {
      result.selected_intervals.push_back(in_capture);
    }
    result.chirp_intervals.push_back(in_capture);

    fmcw_chirp_result_t chirp;
    engine.extract_chirp_parameters(freq, frame.time, frame.slope_raw, result.chirp_phi_fit,
                                    result.chirp_freq_fit, refined.dev_start, refined.dev_stop,
                                    refined.meas_start, refined.meas_stop, config.devsetting,
                                    frame_samples, chirp, result, display);
    chirp.chirp_id = static_cast<std::uint32_t>(tally.chirps.size()) + 1;
    chirp.chirp_no = j;
    chirp.start_time = frame.time[meas_start];
    chirp.stop_time = frame.time[meas_stop];
    chirp.length = chirp.stop_time - chirp.start_time;
    chirp.switching_time = j == 0 ? 0.0 : chirp.start_time - previous_stop_time;

    tally.chirps.push_back(chirp);
    tally.switching_times.push_back(chirp.switching_time);
    ++tally.measured;
    tally.frequency_sum += chirp.freq_avg;
    previous_stop_time = frame.time[meas_stop];
  }
}

}  // namespace orn::fmcw_demod_lib
