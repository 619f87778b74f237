#pragma once

#include "switching_points.h"

#include <fmcw_demod/config_record.h>
#include <fmcw_demod/result_record.h>
#include <fmcw_demod/types.h>

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace orn::fmcw_demod_lib {

/// What a chirp is measured from, over a whole frame: as many elements each, the slope one fewer.
struct frame_view_t {
  std::span<const double> freq;  ///< unsmoothed [Hz]
  std::span<const float> time;   ///< [s]
  std::span<const float> slope;  ///< raw [Hz/s]
  std::span<const sample_t> samples;
};

/// What the figures of one chirp are computed from. The deviation interval has lost a sample at each
/// end, the measured interval its first.
struct chirp_view_t {
  std::span<const double> meas_freq;  ///< [Hz]
  std::span<const float> meas_slope;  ///< [Hz/s]
  std::span<const float> dev_time;    ///< [s]
  std::span<const double> dev_freq;   ///< [Hz]
  std::span<const sample_t> dev_samples;
  float meas_start_time;  ///< [s]
  float meas_stop_time;   ///< [s]
};

/// The samples of a chirp within its frame; nothing when an interval is too short to measure or
/// leaves the frame.
std::optional<chirp_view_t> view_chirp(const frame_view_t& frame, const refined_chirp_t& chirp);

/// Traces of the one chirp that is shown, a sample of the deviation interval each; of the others
/// they are empty.
struct shown_traces_t {
  std::vector<float> fitted;           ///< line through the frequency [Hz]
  std::vector<float> fitted_phase;     ///< its integral [rad]
  std::vector<float> residual;         ///< frequency less line [Hz]
  std::vector<float> phase_deviation;  ///< its integral [rad]
};

/// A chirp with every figure but its numbering and timing.
struct measured_chirp_t {
  fmcw_chirp_result_t figures;
  shown_traces_t traces;
};

/// What phases are integrated over, and in which precision; and which interval tells whether a chirp
/// is long enough to have settled at its first sample.
enum class phase_rule_t {
  sample_interval,  ///< 1 / fs, single precision; the deviation interval: what an analysis does
  time_stamps       ///< of the frame, double precision; the measured interval
};

/// Measures a chirp; nothing when its time stamps are all equal, which determines no line.
///
/// config  sample rate [Hz] and impedance, as the analysis parameters hold them
/// shown   whether to keep the traces
std::optional<measured_chirp_t> measure_chirp(const chirp_view_t& chirp,
                                              const fmcw_demod_config_t& config,
                                              phase_rule_t phase_rule, bool shown);

/// Moves the deviation traces of the shown chirp, which both forms of a measurement have, into the
/// result.
void show_deviations(shown_traces_t& traces, std::span<const float> time,
                     fmcw_measure_result_t& result);

}  // namespace orn::fmcw_demod_lib
