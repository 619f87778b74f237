#pragma once

#include <fmcw_demod/types.h>

#include <span>
#include <vector>

namespace orn::fmcw_demod_lib {

/// Phase trace of a capture: the frequency integrated over each interval from 0 [rad], 0 elsewhere.
/// Intervals shorter than two samples or past the traces are left out whole, of overlapping ones
/// the later wins.
///
/// time [s], freq [Hz]  one element per sample
/// phase                replaced, one element per sample
void fill_phase(const std::vector<interval_t>& intervals, std::span<const float> time,
                std::span<const float> freq, std::vector<float>& phase);

}  // namespace orn::fmcw_demod_lib
