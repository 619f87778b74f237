#pragma once

#include "common/statistics/accumulator.h"

namespace orn::fmcw_host {

/// The means of one figure in two recordings, b less a.
struct comparison_t {
  double difference = 0.0;
  double standard_error = 0.0;  ///< sqrt(sa^2 / na + sb^2 / nb), as B. L. Welch has it; NaN where
                                ///< either has fewer than two values
  double in_errors = 0.0;       ///< difference over standard error; NaN where both are 0
};

comparison_t compare(const statistics_t& a, const statistics_t& b);

}  // namespace orn::fmcw_host
