#pragma once

#include "common/limits/limit.h"

#include <string>

namespace orn::fmcw_host {

/// Reads a limit as a user writes it on the command line:
///
///     slope=400kHz/us±1%    every chirp, nominal value and tolerance ("+-" will do)
///     power_avg>=9dBm       every chirp
///     mean(slope)<=401      a statistic: mean, std, min, max, peak_to_peak, trend
///     count>=100            the number of chirps
///     up bandwidth_hz>=39M  rising chirps alone; "down" falling ones
///
/// Throws input_error_t naming the limit, what is wrong and what is allowed.
limit_t parse_limit(const std::string& text);

}  // namespace orn::fmcw_host
