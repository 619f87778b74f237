#pragma once

#include "basefunc/kernels.h"

#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>

namespace orn::fmcw_demod_lib::basefunc {

/// Least-squares line through `count` points with these sums, by the normal equations; nothing when
/// the determinant is at most the smallest normal double in magnitude (equal abscissae).
inline std::optional<kernels::line_t> line_through(const kernels::line_sums_t& sums,
                                                   std::size_t count) {
  const auto n = static_cast<double>(count);
  const double determinant = sums.xx * n - sums.x * sums.x;
  if (!(std::abs(determinant) > std::numeric_limits<double>::min())) {
    return std::nullopt;
  }
  const double slope = (sums.xy * n - sums.x * sums.y) / determinant;
  const double intercept = (sums.y - slope * sums.x) / n;
  return kernels::line_t{static_cast<float>(slope), static_cast<float>(intercept)};
}

}  // namespace orn::fmcw_demod_lib::basefunc
