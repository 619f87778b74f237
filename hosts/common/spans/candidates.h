#pragma once

#include <fmcw_demod/types.h>

#include <cstdint>
#include <span>
#include <vector>

namespace orn::fmcw_host {

/// What lies between two switching points.
struct candidate_t {
  double duration = 0.0;  ///< [s]
  double slope = 0.0;     ///< median of the smoothed slope [Hz/s]

  /// Share of the smoothed slope that lies within half of the median: near 1 for a chirp, about a
  /// half for what smoothing makes of noise.
  double straightness = 0.0;
};

/// The candidates of a stretch of finite samples, as the library's boundary detection sees them.
///
/// rate            [Hz]
/// rate_doublings  the library is told a rate 2^n times higher
std::vector<candidate_t> find_candidates(std::span<const fmcw_demod_lib::sample_t> samples,
                                         double rate, std::uint32_t rate_doublings);

/// Candidates of one direction whose durations and slopes are alike.
struct candidate_group_t {
  double shortest = 0.0;      ///< [s]
  double longest = 0.0;       ///< [s]
  double duration = 0.0;      ///< median [s]
  double slope = 0.0;         ///< median [Hz/s]
  double total_time = 0.0;    ///< of all of them [s]
  double straightness = 0.0;  ///< median
  std::uint64_t count = 0;
};

/// The candidates in groups, the one with the greatest total time first. In a group the longest is
/// at most 5/4 of the shortest and slopes lie within half of their median.
std::vector<candidate_group_t> group_candidates(std::vector<candidate_t> candidates);

}  // namespace orn::fmcw_host
