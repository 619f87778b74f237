#pragma once

#include "common/limits/limit.h"
#include "common/output/json_writer.h"
#include "common/statistics/chirp_statistics.h"

#include <string>
#include <vector>

namespace orn::fmcw_host {

/// Reads a file of limits:
///
///     {"schema": {"name": "fmcw-limits", "version": 1},
///      "limits": [{"figure": "slope", "nominal": 400, "tolerance": "1%"},
///                 {"figure": "slope", "statistic": "std", "max": "0.2kHz/us", "direction": "up"},
///                 {"statistic": "count", "min": 100}]}
///
/// A value is a number in the unit of the figure's column, or a text with a unit. Throws
/// input_error_t naming the file, the entry ("limits[2]", from 0) and what is allowed, or line and
/// column of what is no JSON; and where there is no limit.
std::vector<limit_t> read_limits(const std::string& path);

/// Writes such a file from chirps that are as they should be: for each chief figure but the start,
/// the mean and `spread` standard deviations, rising and falling chirps apart. A
/// tolerance is no finer than what can be resolved: a sample either way of times, 1e-6 of other
/// values, which have single precision. Mean values are rounded to 9 digits, tolerances to 4.
/// source  the recording's name, for the reader
/// rate    [Hz]
/// Throws input_error_t where a direction has fewer than three chirps, or neither has any.
void write_limits(json_writer_t& out, const chirp_statistics_t& statistics, double spread,
                  const std::string& source, double rate);

}  // namespace orn::fmcw_host
