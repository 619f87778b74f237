#pragma once

#include "common/figures/chirp.h"

#include <string>
#include <string_view>

namespace orn::fmcw_host {

/// One chirp as a JSON object: chirp, direction, first_sample, last_sample, selected, the figures
/// by their columns, flags. Numbers round-trip; what is no finite number is null.
std::string json_of(const chirp_t& chirp);

/// A text as a JSON string; what is no UTF-8 becomes U+FFFD.
std::string json_string(std::string_view text);

/// A number as JSON; null when it is not finite.
std::string json_number(double value);

}  // namespace orn::fmcw_host
