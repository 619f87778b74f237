#pragma once

#include <fmcw_demod/parameters.h>
#include <fmcw_demod/types.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace orn::fmcw_host {

/// What became of the candidates, the stretches between two switching points. The last one of a
/// frame ends with it; its duration, which nobody saw whole, is left out of longest and shortest.
struct candidate_counts_t {
  std::uint64_t sample_count = 0;  ///< looked at
  std::uint64_t switching_points = 0;
  std::uint64_t candidates = 0;             ///< the sum of those below, and what was measured
  std::uint64_t too_short = 0;              ///< not longer than min_chirp_len
  std::optional<double> longest_too_short;  ///< [s]
  std::uint64_t too_long = 0;               ///< not shorter than max_chirp_len
  std::optional<double> shortest_too_long;  ///< of those seen whole [s]
  std::uint64_t leaving = 0;                ///< measured interval outside the frame
  std::uint64_t unmeasurable = 0;           ///< measured interval or deviation window empty
  std::optional<double> longest;            ///< of all that were seen whole [s]

  /// Adds those of what follows.
  void add(const candidate_counts_t& next);
};

/// Part of a capture whose candidates count, by where they begin.
struct own_part_t {
  std::size_t begin = 0;
  std::size_t end = 0;
};

/// Counts the candidates of a capture as the library's analysis with the same
/// parameters takes them, frame by frame.
///
/// parameters      laid out for these samples; its slope band may change as in an analysis
/// rate_doublings  the library is told a rate 2^n times higher; durations are scaled back
candidate_counts_t count_candidates(const fmcw_demod_lib::FMCWConfig& parameters,
                                    const std::vector<fmcw_demod_lib::sample_t>& samples,
                                    const own_part_t& own, std::uint32_t rate_doublings);

}  // namespace orn::fmcw_host
