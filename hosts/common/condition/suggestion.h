#pragma once

#include "common/condition/conditioned_source.h"

#include <fmcw_demod/types.h>

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace orn::fmcw_host {

/// The conditioning that brings out the sweep in samples: of bandwidth B, N samples a chirp,
/// decimation by D = floor(min(rate / 1.25 B, N / 1500)), low-pass at the greater of 0.625 B and
/// 0.45 rate / D, the middle moved to 0 Hz. B is the band whose power stands out of the spectrum, N
/// what propose() finds once the rest is filtered out; both are rounded to three digits. Nothing
/// where no band stands out, no chirp is found in it, or D is below 2.
///
/// rate  [Hz], above 0
std::optional<conditioning_t> suggest_conditioning(
    std::span<const fmcw_demod_lib::sample_t> samples, double rate);

/// Reads "8,7MHz", decimation and low-pass, or "8,7MHz,-20MHz", with a shift. Throws input_error_t
/// naming `source` and what is allowed.
conditioning_t parse_conditioning(std::string_view text, std::string_view source);

/// What parse_conditioning() reads as the same.
std::string conditioning_text(const conditioning_t& conditioning);

}  // namespace orn::fmcw_host
