#pragma once

#include <fmcw_demod/types.h>

#include <cstddef>
#include <limits>
#include <span>

namespace orn::fmcw_host {

/// The instant at which the frequency turns, with its standard uncertainty. NaN where it cannot be
/// told.
struct turn_t {
  double place = std::numeric_limits<double>::quiet_NaN();  ///< sample, with its fraction
  double u = std::numeric_limits<double>::quiet_NaN();      ///< [samples]
};

/// The turns at a chirp's beginning and end.
struct turns_t {
  turn_t start;
  turn_t stop;
};

/// The turn next to an edge of a chirp: where the straight frequencies of a piece inside the chirp and
/// of one outside meet. Where the frequency has no step but turns, so that the phase is continuous.
///
/// Each piece is fitted by itself, so that neither a curved chirp nor what lies farther out enters:
/// inside up to 512 samples (a quarter of the chirp at most), from turn_margin on; outside 512, 256 or
/// 128, the most that are straight, from 144 on, behind the 128 samples by which edges lie inside.
///
/// samples  around the chirp, sampled without a gap
/// first, last  the chirp's interval, inclusive
/// rate     [Hz], > 0
///
/// NaN where the samples end too early, where no piece outside is as straight as the one inside, where
/// both have nearly the same slope, and where they meet farther from the edge than 256 samples or with
/// phases more than 1/8 turn apart. Throws std::bad_alloc.
turns_t fit_turns(std::span<const fmcw_demod_lib::sample_t> samples, std::size_t first,
                  std::size_t last, double rate);

}  // namespace orn::fmcw_host
