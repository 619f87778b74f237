#pragma once

#include "basefunc/kernels/bounded/definition.h"

#include <simd/dispatch.h>

#include <array>
#include <cstddef>
#include <cstdint>

/// What is done about the few figures of a block that their bounds have not settled.
namespace orn::fmcw_demod_lib::kernels {

struct unsettled_t {
  block_t<std::uint32_t> index;
  std::size_t count = 0;
};

ORN_KERNEL inline void settle_magnitudes(const float* re, const float* im,
                                         const unsettled_t& unsettled, float offset,
                                         block_t<float>& out) {
  for (std::size_t i = 0; i < unsettled.count; ++i) {
    const std::size_t at = unsettled.index[i];
    out[at] = literal_magnitude(re[at], im[at]) + offset;
  }
}

/// log10 of a positive normal float within 2^-43 of itself.
///
/// x = 2^n f with f in [sqrt(1/2), sqrt(2)), log10(f) = (2 / ln 10) (s + s^3 / 3 + s^5 / 5 + ...)
/// with s = (f - 1) / (f + 1), |s| < 0.1716. The series is cut after s^15, which leaves a relative
/// error of 4e-14; rounding adds 1e-15.
ORN_KERNEL inline double log10_in_double(float x) {
  using k = log10_constants_t;
  const split_t parts = split(x);
  const double f = parts.fraction;
  const double s = (f - 1.0) / (f + 1.0);
  const double z = s * s;
  const double z2 = z * z;
  const double low = (1.0 + z * (1.0 / 3)) + z2 * (1.0 / 5 + z * (1.0 / 7));
  const double high = (1.0 / 9 + z * (1.0 / 11)) + z2 * (1.0 / 13 + z * (1.0 / 15));
  return static_cast<double>(parts.exponent) * k::two + k::scale * (s * (low + (z2 * z2) * high));
}
constexpr double error_of_log10_in_double = 0x1p-43;

/// Bounds of log10 for `count` positive normal floats, at most a block, by log10_in_double.
ORN_KERNEL inline void bound_log10_by_doubles(const block_t<float>& x, std::size_t count,
                                              block_t<float>& lower, block_t<float>& upper) {
  for (std::size_t i = 0; i < count; ++i) {
    const double value = log10_in_double(x[i]);
    lower[i] = static_cast<float>(value * (1.0 - error_of_log10_in_double));
    upper[i] = static_cast<float>(value * (1.0 + error_of_log10_in_double));
  }
}

/// Bounds in double precision settle all but a few in a million.
ORN_KERNEL inline void settle_levels(float factor, const block_t<float>& x,
                                     const unsettled_t& unsettled, float* out) {
  for (std::size_t i = 0; i < unsettled.count; ++i) {
    const float value = x[unsettled.index[i]];
    const double logarithm = log10_in_double(value);
    const auto lower = static_cast<float>(logarithm * (1.0 - error_of_log10_in_double));
    const auto upper = static_cast<float>(logarithm * (1.0 + error_of_log10_in_double));
    const bool settled = is_positive_normal(value) && lower == upper;
    out[unsettled.index[i]] = factor * (settled ? lower : literal_log10(value));
  }
}

}  // namespace orn::fmcw_demod_lib::kernels
