#pragma once

#include "basefunc/kernels/bounded/settle.h"
#include "basefunc/kernels/bounded/x86.h"

#include <simd/dispatch.h>

#include <cstddef>
#include <cstdint>
#include <limits>

/// Figures rounded to single precision at a fraction of their price: a value is computed cheaply
/// between two bounds, and where both bounds round to the same float, that float is the figure.
/// Where they do not, once in a few hundred values, tighter bounds in double precision decide, and
/// at last the definition.
namespace orn::fmcw_demod_lib::kernels {

/// Where the bounds have not settled the figure.
ORN_KERNEL inline void find_unsettled(const block_t<float>& lower, const block_t<float>& upper,
                                      std::size_t count, unsettled_t& unsettled) {
  int any = 0;
  for (std::size_t i = 0; i < count; ++i) {
    any |= static_cast<int>(lower[i] != upper[i]);
  }
  if (any == 0) {
    return;
  }
  for (std::size_t i = 0; i < count; ++i) {
    unsettled.index[unsettled.count] = static_cast<std::uint32_t>(i);
    unsettled.count += static_cast<std::size_t>(lower[i] != upper[i]);
  }
}

/// |z| + offset of `count` samples, at most a block; re and im are their parts.
template <class On>
ORN_KERNEL inline void magnitudes(const float* re, const float* im, std::size_t count, float offset,
                                  block_t<float>& out) {
#if defined(__x86_64__)
  if constexpr (On::target == simd::target_t::avx512) {
    return avx512::magnitudes(re, im, count, offset, out);
  } else if constexpr (On::target == simd::target_t::avx2) {
    return avx2::magnitudes(re, im, count, offset, out);
  }
#endif
  for (std::size_t i = 0; i < count; ++i) {
    out[i] = literal_magnitude(re[i], im[i]) + offset;
  }
}

/// factor log10(x) of `count` floats, at most a block.
template <class On>
ORN_KERNEL inline void levels(float factor, const block_t<float>& x, std::size_t count,
                              float* out) {
#if defined(__x86_64__)
  if constexpr (On::target == simd::target_t::avx512) {
    return avx512::levels(factor, x, count, out);
  } else if constexpr (On::target == simd::target_t::avx2) {
    return avx2::levels(factor, x, count, out);
  }
#endif
  alignas(64) block_t<float> lower;
  alignas(64) block_t<float> upper;
  bound_log10_by_doubles(x, count, lower, upper);
  for (std::size_t i = 0; i < count; ++i) {
    upper[i] = is_positive_normal(x[i]) ? upper[i] : std::numeric_limits<float>::quiet_NaN();
    out[i] = factor * lower[i];
  }
  unsettled_t unsettled;
  find_unsettled(lower, upper, count, unsettled);
  settle_levels(factor, x, unsettled, out);
}

}  // namespace orn::fmcw_demod_lib::kernels
