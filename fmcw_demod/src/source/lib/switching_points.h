#pragma once

#include <fmcw_demod/config_record.h>
#include <fmcw_demod/parameters.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace orn::fmcw_demod_lib {

/// The parts of a candidate that are measured: indices in its frame, both ends included, wide enough
/// for any 32-bit index plus any offset.
struct refined_chirp_t {
  std::int64_t meas_start;
  std::int64_t meas_stop;
  std::int64_t dev_start;
  std::int64_t dev_stop;
};

/// Finds the measured interval and the deviation window of one candidate; see
/// FMCWAnalyze::switch_point_para.
///
/// slope_smooth  smoothed slope of the frame [Hz/s]
/// start, stop   the candidate
/// settings      how to choose both parts
/// parameters    sample rate and automatic modes; a band measured in full is stored into their
///               record, which is the one write that an analysis makes to its parameters
///
/// Nothing when a setting has no sample count. Fixed exclusion may give a reversed interval, or one
/// that leaves the candidate.
std::optional<refined_chirp_t> refine_candidate(std::span<const float> slope_smooth, int start,
                                                int stop, const fmcw_advanced_config_t& settings,
                                                const FMCWConfig& parameters);

}  // namespace orn::fmcw_demod_lib
