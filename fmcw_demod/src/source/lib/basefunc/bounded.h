#pragma once

#include "basefunc/bounded_avx512.h"
#include "basefunc/settle.h"
#include "dispatch.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

/// Figures rounded to single precision at a fraction of their price: a value is computed cheaply
/// between two bounds, and where both bounds round to the same float, that float is the figure.
/// Where they do not, once in a few hundred values, the figure is computed as it is defined.
namespace orn::fmcw_demod_lib::kernels {

/// Bounds of |z| for `count` samples, at most a block.
///
/// With s = re^2 + im^2 as a float and its error (from fused products, exact, and a sum of sorted
/// terms, exact but for 2^-47 s), r = sqrt(s) and its residual s - r^2 give |z| = r + residual / 2r
/// within 2^-44 |z|, of which 2^-46 |z| is the second-order term of the root. Below 2^-50 products
/// are subnormal and lose up to 2^-149 each, the root of which stays under the constant.
ORN_KERNEL inline void bound_magnitudes(const float* re, const float* im, std::size_t count,
                                        block_t<float>& lower, block_t<float>& upper) {
  alignas(64) block_t<float> square;
  alignas(64) block_t<float> square_error;
  for (std::size_t i = 0; i < count; ++i) {
    const float x = re[i];
    const float y = im[i];
    const float xx = x * x;
    const float yy = y * y;
    const float product_error = std::fma(x, x, -xx) + std::fma(y, y, -yy);
    const float larger = xx > yy ? xx : yy;
    const float smaller = yy < xx ? yy : xx;
    const float sum = larger + smaller;
    square[i] = sum;
    square_error[i] = (smaller - (sum - larger)) + product_error;
  }
  for (std::size_t i = 0; i < count; ++i) {
    const float root = std::sqrt(square[i]);
    const float residual = std::fma(-root, root, square[i]) + square_error[i];
    const float step = residual * (0.5F / root);
    const float slack = std::fma(root, 0x1p-42F, 0x1p-72F);
    lower[i] = root + (step - slack);
    upper[i] = root + (step + slack);
  }
}

/// Bounds of log10 for `count` positive normal floats, at most a block, by fused multiply-adds on
/// pairs of floats.
///
/// x = 2^n f with f in [sqrt(1/2), sqrt(2)), and with c one of two centres of that interval
/// log10(f) = log10(c) + (2 / ln 10) (s + s^3 / 3 + s^5 / 5 + ...), s = (f - c) / (f + c), |s| <
/// 0.0882. s is held as a float and its error, its multiple likewise; the series from s^3 on is
/// single precision, hence good to 3.5 ulp of 0.29 |s|^3, and cut after s^9, which leaves 2e-13.
/// Adding up in the order of magnitude costs at most 2^-36 more.
ORN_KERNEL inline void bound_log10_by_pairs(const block_t<float>& x, std::size_t count,
                                            block_t<float>& lower, block_t<float>& upper) {
  using k = log10_constants_t;
  alignas(64) block_t<float> exponent;
  alignas(64) block_t<float> quotient;
  alignas(64) block_t<float> quotient_error;
  alignas(64) block_t<float> centre;
  for (std::size_t i = 0; i < count; ++i) {
    const auto [n, f] = split(x[i]);
    const float c = f > 1.0F ? 1.1875F : 0.84375F;
    const float sum = f + c;
    const float sum_error = f - (sum - c);
    const float reciprocal = 1.0F / sum;
    const float s = (f - c) * reciprocal;
    exponent[i] = static_cast<float>(n);
    centre[i] = c;
    quotient[i] = s;
    quotient_error[i] = std::fma(-s, sum_error, std::fma(-s, sum, f - c)) * reciprocal;
  }
  for (std::size_t i = 0; i < count; ++i) {
    constexpr auto scale = static_cast<float>(k::scale);
    constexpr auto scale_error = static_cast<float>(k::scale - double{scale});
    const bool above = centre[i] > 1.0F;
    const float n = exponent[i];
    const float s = quotient[i];
    const float linear = scale * s;
    const float linear_error =
        std::fma(scale_error, s, std::fma(scale, quotient_error[i], std::fma(scale, s, -linear)));
    const float square = s * s;
    const float cube = s * square;
    const float series = std::fma(square,
                                  std::fma(square,
                                           std::fma(square, static_cast<float>(k::scale / 9),
                                                    static_cast<float>(k::scale / 7)),
                                           static_cast<float>(k::scale / 5)),
                                  static_cast<float>(k::scale / 3));
    const float centre_low = above ? k::low(k::centre_above) : k::low(k::centre_below);
    const float centre_high = above ? k::high(k::centre_above) : k::high(k::centre_below);
    const float small =
        std::fma(cube, series, std::fma(n, k::low(k::two), linear_error + centre_low));
    const float large = std::fma(n, k::high(k::two), centre_high);
    const float sum = large + linear;
    const float rest = (linear - (sum - large)) + small;
    const float slack = std::fma(std::fabs(cube), 0x1p-22F, 0x1p-35F);
    lower[i] = sum + (rest - slack);
    upper[i] = sum + (rest + slack);
  }
}

/// Bounds of log10 for `count` floats; where x is not a positive normal number the upper one is
/// NaN.
template <class On>
ORN_KERNEL inline void bound_log10(const block_t<float>& x, std::size_t count,
                                   block_t<float>& lower, block_t<float>& upper) {
  if constexpr (On::fused) {
    bound_log10_by_pairs(x, count, lower, upper);
  } else {
    bound_log10_by_doubles(x, count, lower, upper);
  }
  for (std::size_t i = 0; i < count; ++i) {
    upper[i] = is_positive_normal(x[i]) ? upper[i] : std::numeric_limits<float>::quiet_NaN();
  }
}

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
  if constexpr (On::target == common_lib::target_t::avx512) {
    magnitudes_by_reciprocal_roots(re, im, count, offset, out);
    return;
  }
#endif
  if constexpr (On::fused) {
    alignas(64) block_t<float> lower;
    alignas(64) block_t<float> upper;
    bound_magnitudes(re, im, count, lower, upper);
    unsettled_t unsettled;
    find_unsettled(lower, upper, count, unsettled);
    for (std::size_t i = 0; i < count; ++i) {
      out[i] = lower[i] + offset;
    }
    settle_magnitudes(re, im, unsettled, offset, out);
  } else {
    for (std::size_t i = 0; i < count; ++i) {
      out[i] = literal_magnitude(re[i], im[i]) + offset;
    }
  }
}

/// factor log10(x) of `count` floats, at most a block.
template <class On>
ORN_KERNEL inline void levels(float factor, const block_t<float>& x, std::size_t count,
                              float* out) {
#if defined(__x86_64__)
  if constexpr (On::target == common_lib::target_t::avx512) {
    levels_by_table(factor, x, count, out);
    return;
  }
#endif
  alignas(64) block_t<float> lower;
  alignas(64) block_t<float> upper;
  bound_log10<On>(x, count, lower, upper);
  unsettled_t unsettled;
  find_unsettled(lower, upper, count, unsettled);
  for (std::size_t i = 0; i < count; ++i) {
    out[i] = factor * lower[i];
  }
  settle_levels(factor, x, unsettled, out);
}

}  // namespace orn::fmcw_demod_lib::kernels
