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

// Not inlined, for the sake of the registers of what calls them: whole blocks go another way where
// the target has one.
__attribute__((noinline)) inline void portable_magnitudes(const float* re, const float* im,
                                                          std::size_t count, float offset,
                                                          block_t<float>& out) {
  for (std::size_t i = 0; i < count; ++i) {
    out[i] = literal_magnitude(re[i], im[i]) + offset;
  }
}
__attribute__((noinline)) inline void portable_levels(float factor, const block_t<float>& x,
                                                      std::size_t count, float* out) {
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

/// |z| + offset of `count` samples, at most a block; re and im are their parts.
template <class On>
ORN_KERNEL inline void magnitudes(const float* re, const float* im, std::size_t count, float offset,
                                  block_t<float>& out) {
#if defined(__x86_64__)
  if (On::target == simd::target_t::avx512 && count == block_length) {
    return avx512::block_magnitudes(re, im, offset, out);
  }
  if (On::target == simd::target_t::avx2 && count == block_length) {
    return avx2::block_magnitudes(re, im, offset, out);
  }
#endif
  portable_magnitudes(re, im, count, offset, out);
}

/// factor log10(x) of `count` floats, at most a block.
template <class On>
ORN_KERNEL inline void levels(float factor, const block_t<float>& x, std::size_t count,
                              float* out) {
#if defined(__x86_64__)
  if (On::target == simd::target_t::avx512 && count == block_length) {
    return avx512::block_levels(factor, x, out);
  }
  if (On::target == simd::target_t::avx2 && count == block_length) {
    return avx2::block_levels(factor, x, out);
  }
#endif
  portable_levels(factor, x, count, out);
}

}  // namespace orn::fmcw_demod_lib::kernels
