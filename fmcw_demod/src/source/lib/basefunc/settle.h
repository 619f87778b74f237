#pragma once

#include "basefunc/literal.h"
#include "dispatch.h"

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

/// Bounds of log10 for `count` positive normal floats, at most a block, in double precision.
///
/// x = 2^n f with f in [sqrt(1/2), sqrt(2)), log10(f) = (2 / ln 10) (s + s^3 / 3 + s^5 / 5 + ...)
/// with s = (f - 1) / (f + 1), |s| < 0.1716. The series is cut after s^15, which leaves a relative
/// error of 4e-14; rounding adds 1e-15.
ORN_KERNEL inline void bound_log10_by_doubles(const block_t<float>& x, std::size_t count,
                                              block_t<float>& lower, block_t<float>& upper) {
  using k = log10_constants_t;
  for (std::size_t i = 0; i < count; ++i) {
    const split_t parts = split(x[i]);
    const double n = parts.exponent;
    const double f = parts.fraction;
    const double s = (f - 1.0) / (f + 1.0);
    const double z = s * s;
    const double series =
        1.0 +
        z * (1.0 / 3 +
             z * (1.0 / 5 + z * (1.0 / 7 + z * (1.0 / 9 + z * (1.0 / 11 +
                                                               z * (1.0 / 13 + z * (1.0 / 15)))))));
    const double value = n * k::two + k::scale * (s * series);
    lower[i] = static_cast<float>(value * (1.0 - 0x1p-43));
    upper[i] = static_cast<float>(value * (1.0 + 0x1p-43));
  }
}

/// Bounds in double precision settle all but a few in a million.
ORN_KERNEL inline void settle_levels(float factor, const block_t<float>& x,
                                     const unsettled_t& unsettled, float* out) {
  if (unsettled.count == 0) {
    return;
  }
  block_t<float> listed;
  block_t<float> lower;
  block_t<float> upper;
  for (std::size_t i = 0; i < unsettled.count; ++i) {
    listed[i] = x[unsettled.index[i]];
  }
  bound_log10_by_doubles(listed, unsettled.count, lower, upper);
  for (std::size_t i = 0; i < unsettled.count; ++i) {
    const bool settled = is_positive_normal(listed[i]) && lower[i] == upper[i];
    out[unsettled.index[i]] = factor * (settled ? lower[i] : literal_log10(listed[i]));
  }
}

}  // namespace orn::fmcw_demod_lib::kernels
