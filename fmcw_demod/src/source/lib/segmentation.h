#pragma once

#include <fmcw_demod/types.h>

#include <cstdint>
#include <span>
#include <vector>

namespace orn::fmcw_demod_lib {

/// Phase trace of a capture: the frequency integrated over each interval from 0 [rad], 0 elsewhere.
/// Intervals shorter than two samples or past the traces are left out whole, of overlapping ones
/// the later wins.
///
/// time [s], freq [Hz]  one element per sample
/// phase                replaced, one element per sample
void fill_phase(std::span<const interval_t> intervals, std::span<const float> time,
                std::span<const float> freq, std::vector<float>& phase);

/// The intervals that fall into the frame [frame_start, frame_end), clipped to it and counted from
/// its first sample, in input order.
std::vector<interval_t> intervals_in_frame(std::span<const interval_t> intervals,
                                           std::uint64_t frame_start, std::uint64_t frame_end);

}  // namespace orn::fmcw_demod_lib
