#pragma once

#include <simd/dispatch.h>
#include <simd/vector.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>

/// The figures that bounded.h computes by bounds, as they are defined, and what its forms share.
namespace orn::fmcw_demod_lib::kernels {

/// The definition: |z| in double from exact squares, rounded once.
ORN_KERNEL inline float literal_magnitude(float re, float im) noexcept {
  const double x = re;
  const double y = im;
  return static_cast<float>(std::sqrt(x * x + y * y));
}

/// The definition: the double logarithm of a float, rounded once.
inline float literal_log10(float x) noexcept {
  return static_cast<float>(std::log10(static_cast<double>(x)));
}

/// x = 2^exponent * fraction with the fraction in [sqrt(1/2), sqrt(2)), for positive normal
/// numbers; for others numbers without meaning.
struct split_t {
  std::int32_t exponent;
  float fraction;
};
ORN_KERNEL inline split_t split(float x) noexcept {
  constexpr std::uint32_t root_of_half = 0x3f3504f3;
  const auto bits = std::bit_cast<std::uint32_t>(x);
  const std::int32_t exponent = static_cast<std::int32_t>(bits - root_of_half) >> 23;
  return {exponent, std::bit_cast<float>(bits - (static_cast<std::uint32_t>(exponent) << 23U))};
}

ORN_KERNEL inline bool is_positive_normal(float x) noexcept {
  const auto bits = std::bit_cast<std::int32_t>(x);
  return simd::both(bits >= 0x00800000, bits < 0x7f800000);
}

/// Values that are worked on together: their intermediate results stay in the first-level cache.
constexpr std::size_t block_length = 64;
template <class T>
using block_t = std::array<T, block_length>;

/// 2 / ln 10 and log10(2). The high part of a logarithm is a multiple of 2^-18, so that sums of
/// such parts with small integer factors are exact.
struct log10_constants_t {
  static constexpr double scale = 0.86858896380650365530;
  static constexpr double two = 0.30102999566398119521;

  static constexpr float high(double x) {
    return static_cast<float>(static_cast<int>(x * 0x1p18)) * 0x1p-18F;
  }
  static constexpr float low(double x) { return static_cast<float>(x - double{high(x)}); }
};

}  // namespace orn::fmcw_demod_lib::kernels
