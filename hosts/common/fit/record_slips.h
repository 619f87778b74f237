#pragma once

#include <cstdint>
#include <span>

namespace orn::fmcw_host {

/// Places at which a phase lost or gained a turn, because it was unwrapped from sample to sample and
/// noise took a step beyond half a turn: the slope and the deviations that come of it are not the
/// signal's. Those within 288 samples count as one.
///
/// frequency  of a chirp's samples by central differences of that phase [Hz], so that their sum is
///            how far it has come; a slip within 96 samples shows as a turn more than before and after
/// rate       [Hz], > 0
std::uint64_t slips_in(std::span<const float> frequency, double rate);

}  // namespace orn::fmcw_host
