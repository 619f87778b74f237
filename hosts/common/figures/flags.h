#pragma once

#include "common/figures/chirp.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace orn::fmcw_host {

/// A flag of a chirp, as tables and people have it.
struct flag_t {
  std::uint32_t bit;         ///< of chirp_flag_t
  std::string_view word;     ///< in tables
  std::string_view meaning;  ///< a sentence without its point
};

/// Share of the bandwidth above which a peak non-linearity says that a row may be no single ramp.
inline constexpr double merged_inl_peak = 0.10;

/// Every flag, in the order of its words.
inline constexpr std::array flag_table = {
    flag_t{
        chirp_flag_t::edge, "edge",
        "within 256 samples of an end of what was sampled without a gap; figures at that end are "
        "not the transmitter's"},
    flag_t{chirp_flag_t::merged, "merged",
           "peak non-linearity above 10 %: probably more than one ramp, or much noise"},
    flag_t{chirp_flag_t::unlike, "unlike",
           "length or slope far from the median of its neighbours of the same direction"},
    flag_t{chirp_flag_t::nonfinite, "nonfinite", "holds samples that are not finite"},
    flag_t{chirp_flag_t::clipped, "clipped", "holds samples at an end of the converter's range"},
    flag_t{chirp_flag_t::slip, "slip",
           "the phase slipped by whole turns, in noise or in the transmitter: slope and deviations "
           "are off, the figures of the fit are mended"},
    flag_t{chirp_flag_t::conditioned, "conditioned",
           "measured on filtered and decimated samples, whose edges lie further in"},
};

/// The words of the flags, separated by spaces.
std::string flag_words(const chirp_t& chirp);

}  // namespace orn::fmcw_host
