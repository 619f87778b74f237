#pragma once

#include <cstdint>
#include <string>

namespace orn::fmcw_host {

/// A stretch of time as a number of samples: "20ms" (s, min, with metric prefixes) is rounded to the
/// nearest sample, a whole number without a unit ("5000", "2M") counts samples.
/// option  names it in messages, "--from"
/// Throws input_error_t when it is neither, negative, or beyond 2^53 samples.
std::uint64_t sample_count_of(const std::string& text, double sample_rate, const char* option);

}  // namespace orn::fmcw_host
