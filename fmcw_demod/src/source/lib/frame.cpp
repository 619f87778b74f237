#include "frame.h"

#include "boundaries.h"
#include "measurement.h"
#include "switching_points.h"

#include <algorithm>
#include <optional>
#include <span>
#include <utility>

namespace orn::fmcw_demod_lib {
namespace {

std::vector<float> copy_of(std::span<const float> trace) { return {trace.begin(), trace.end()}; }

/// The part of a trace over the whole capture that lies in a frame.
template <class Trace>
auto in_frame(const Trace& trace, const frame_t& frame) {
  return std::span(trace).subspan(frame.begin, frame.size());
}

/// Which candidates of a frame are selected, and which one is shown.
struct selection_t {
  std::uint64_t first;
  std::uint64_t last;
  std::uint64_t display;

  bool contains(std::uint64_t candidate) const { return first <= candidate && candidate <= last; }
};

selection_t selection_of(const fmcw_demod_config_t& settings, std::uint64_t candidate_count) {
  const std::uint64_t highest = candidate_count - 1;
  const std::uint64_t first = std::min<std::uint64_t>(settings.advanced.chirp_start, highest);
  // A count of 0 from candidate 0 wraps: it selects the whole frame.
  const std::uint64_t last = std::min(first + settings.advanced.chirp_count - 1, highest);
  return {first, last, std::min<std::uint64_t>(settings.display_chirpNO, highest)};
}

/// Time of each sample of a frame [s], from the start of its first candidate on.
std::vector<float> time_from_first_candidate(const analysis_t& analysis, const frame_t& frame) {
  std::vector<float> time = copy_of(in_frame(analysis.traces.time, frame));
  const float start = time[frame.candidates.front().first];
  for (float& t : time) {
    t -= start;
  }
  return time;
}

/// Nothing when settings have moved an end out of the frame, whose last sample has no slope, or have
/// left nothing to measure.
std::optional<refined_chirp_t> refine_in_frame(const analysis_t& analysis, const frame_t& frame,
                                               int start, int stop) {
  const auto refined = refine_candidate(frame.slope_smooth, start, stop, analysis.settings.advanced,
                                        analysis.parameters);
  const auto slopes = static_cast<std::int64_t>(frame.slope_smooth.size());
  if (!refined || refined->meas_start < 0 || refined->meas_start >= refined->meas_stop ||
      refined->meas_stop >= slopes || refined->dev_start >= refined->dev_stop) {
    return std::nullopt;
  }
  return refined;
}

/// Measures a chirp of a frame, moving its traces into the result if it is shown.
fmcw_chirp_result_t measure_in_frame(const frame_view_t& view, const refined_chirp_t& refined,
                                     const fmcw_demod_config_t& settings, bool shown,
                                     fmcw_measure_result_t& result) {
  const auto chirp = view_chirp(view, refined);
  auto measured =
      chirp ? measure_chirp(*chirp, settings, phase_rule_t::sample_interval, shown) : std::nullopt;
  if (!measured) {
    return {};
  }
  if (shown) {
    show_deviations(measured->traces, chirp->dev_time, result);
    result.chirp_phi_fit = std::move(measured->traces.fitted_phase);
    result.chirp_freq_fit = std::move(measured->traces.fitted);
  }
  return measured->figures;
}

}  // namespace

void find_candidates(const analysis_t& analysis, frame_t& frame) {
  const fmcw_demod_config_t& settings = analysis.settings;
  const auto time = in_frame(analysis.traces.time, frame);
  const std::vector<int> boundaries =
      find_boundaries(in_frame(analysis.traces.frequency, frame), 1.0 / settings.fs,
                      analysis.parameters.triang_256, frame.slope_raw, frame.slope_smooth);
  frame.candidates.clear();
  for (std::size_t q = 1; q < boundaries.size(); ++q) {
    const auto first = static_cast<std::size_t>(boundaries[q - 1]);
    const auto last = static_cast<std::size_t>(boundaries[q] - 1);
    const double duration = time[last] - time[first];
    if (settings.advanced.min_chirp_len < duration && duration < settings.advanced.max_chirp_len) {
      frame.candidates.emplace_back(first, last);
    }
  }
}

void measure_candidates(const analysis_t& analysis, const frame_t& frame, chirp_tally_t& tally,
                        fmcw_measure_result_t& result) {
  const bool first_frame = frame.index == 0;
  const auto power = in_frame(analysis.traces.power, frame);
  if (first_frame) {
    const auto capture_time = in_frame(analysis.traces.time, frame);
    result.frame_power = copy_of(power);
    result.frame_time_axis = copy_of(capture_time);
    tally.first_chirp_start = capture_time[frame.candidates.front().first];
  }
  const std::vector<float> time = time_from_first_candidate(analysis, frame);
  const frame_view_t view{in_frame(analysis.traces.frequency, frame), time, frame.slope_raw,
                          in_frame(analysis.samples, frame)};
  const selection_t selection = selection_of(analysis.settings, frame.candidates.size());
  float previous_stop_time = 0.0F;
  bool selection_carried = false;  // past skipped candidates to the next one that is measured

  for (std::uint32_t j = 0; j < frame.candidates.size(); ++j) {
    const auto [first, last] = frame.candidates[j];
    const auto start = static_cast<int>(first);
    const auto stop = static_cast<int>(last) - 1;
    const bool shown = first_frame && j == selection.display && start < stop;
    if (shown) {
      result.chirp_power = copy_of(power.subspan(first, last - 1 - first));
      result.chirp_time_axis = copy_of(std::span(time).subspan(first, last - 1 - first));
    }

    const bool selected = selection.contains(j) || selection_carried;
    const auto refined = refine_in_frame(analysis, frame, start, stop);
    selection_carried = selected && !refined;
    if (!refined) {
      continue;
    }

    const auto meas_start = static_cast<std::size_t>(refined->meas_start);
    const auto meas_stop = static_cast<std::size_t>(refined->meas_stop);
    const interval_t in_capture(frame.begin + meas_start, frame.begin + meas_stop);
    if (selected) {
      result.selected_intervals.push_back(in_capture);
    }
    result.chirp_intervals.push_back(in_capture);

    fmcw_chirp_result_t chirp = measure_in_frame(view, *refined, analysis.settings, shown, result);
    chirp.chirp_id = static_cast<std::uint32_t>(tally.chirps.size()) + 1;
    chirp.chirp_no = j;
    chirp.start_time = time[meas_start];
    chirp.stop_time = time[meas_stop];
    chirp.length = chirp.stop_time - chirp.start_time;
    chirp.switching_time = j == 0 ? 0.0 : chirp.start_time - previous_stop_time;
    tally.chirps.push_back(chirp);
    previous_stop_time = time[meas_stop];
  }
}

}  // namespace orn::fmcw_demod_lib
