#pragma once

#include "basefunc/kernels/bounded/settle.h"

#include <simd/dispatch.h>
#include <simd/vector.h>

#if defined(__x86_64__)

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__GNUC__) && !defined(__clang__)
// gcc 12 takes the undefined operands of its own unmasked intrinsics for uninitialised variables.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <immintrin.h>
#pragma GCC diagnostic pop
#else
#include <immintrin.h>
#endif

/// The two figures of a level in intrinsics, which have operations for it that loops do not:
/// approximate reciprocal roots, tables in registers, masks. x86_registers.inc is their one
/// body; avx2 and avx512 hold the operations that it is written in, each compiled for its target.
namespace orn::fmcw_demod_lib::kernels {

/// Equal parts of [1, 2), each with a centre, 2 Parts over a whole number. That of the first part
/// is 1 and that of the last 2, so that logarithms near 0 come from no difference of larger ones.
/// The logarithms take the bias of a float's exponent into account.
template <std::size_t Parts>
struct log10_table_t {
  alignas(64) std::array<float, Parts> reciprocal;
  alignas(64) std::array<float, Parts> high;  ///< parts of log10(centre) - Bias log10(2)
  alignas(64) std::array<float, Parts> low;   ///< less slack_of_level
};

/// How far a logarithm computed in registers is from the true one, at most: that and, where the
/// table is short, the second times the square of the series' argument.
constexpr float slack_of_level = 0x1p-35F;

/// log10(a / b), 1 <= a / b <= 2, by the series of log10_in_double.
constexpr double log10_of_ratio(double a, double b) {
  const double s = (a - b) / (a + b);
  double sum = 0.0;
  for (int n = 39; n > 0; n -= 2) {
    sum = sum * s * s + 1.0 / n;
  }
  return log10_constants_t::scale * s * sum;
}

template <std::size_t Parts, int Bias>
constexpr log10_table_t<Parts> make_log10_table() {
  using k = log10_constants_t;
  log10_table_t<Parts> table{};
  for (std::size_t i = 0; i < Parts; ++i) {
    // One over the part's middle, in whole 1 / (2 Parts).
    constexpr std::size_t one = 2 * Parts;
    const std::size_t middle = one + 2 * i + 1;
    const std::size_t nearest = (one * one + middle / 2) / middle;
    const std::size_t over = i == 0 ? one : i + 1 == Parts ? one / 2 : nearest;
    const double logarithm = log10_of_ratio(static_cast<double>(one), static_cast<double>(over));
    table.reciprocal[i] = static_cast<float>(over) / static_cast<float>(one);
    table.high[i] = k::high(logarithm) - float{Bias} * k::high(k::two);
    table.low[i] = k::low(logarithm) - float{Bias} * k::low(k::two) - slack_of_level;
  }
  return table;
}

template <std::size_t Parts, int Bias>
inline constexpr log10_table_t<Parts> log10_table = make_log10_table<Parts, Bias>();

#define ORN_OPERATION ORN_KERNEL ORN_REGISTER_TARGET inline

static_assert(block_length == 64, "a block has one bit per value in a 64-bit mark");

/// Lists the values of a block that a bit marks.
inline unsettled_t list_marked(std::uint64_t marked) {
  unsettled_t unsettled;
  for (; marked != 0; marked &= marked - 1) {
    unsettled.index[unsettled.count++] = static_cast<std::uint32_t>(std::countr_zero(marked));
  }
  return unsettled;
}

template <std::size_t Width>
struct registers_t {
  using floats_t = simd::values_of_t<float, Width>;
  using ints_t = simd::values_of_t<std::int32_t, Width>;
};

namespace avx2 {

#define ORN_REGISTER_TARGET ORN_TARGET_AVX2

constexpr std::size_t width = 8;
constexpr std::size_t parts = 16;
constexpr int bias = 127;  // of the exponent as `exponent` returns it
constexpr float slack_of_level_square = 0x1p-24F;
constexpr float error_of_reciprocal_root = 0x1.81p-12F;
using floats_t = registers_t<width>::floats_t;
using ints_t = registers_t<width>::ints_t;

ORN_OPERATION floats_t fused(floats_t a, floats_t b, floats_t c) {
  return _mm256_fmadd_ps(a, b, c);
}
ORN_OPERATION floats_t less_fused(floats_t c, floats_t a, floats_t b) {
  return _mm256_fnmadd_ps(a, b, c);
}
ORN_OPERATION floats_t larger(floats_t a, floats_t b) { return _mm256_max_ps(a, b); }
ORN_OPERATION floats_t smaller(floats_t a, floats_t b) { return _mm256_min_ps(a, b); }
ORN_OPERATION floats_t square_root(floats_t x) { return _mm256_sqrt_ps(x); }
ORN_OPERATION floats_t reciprocal_root(floats_t x) { return _mm256_rsqrt_ps(x); }
ORN_OPERATION floats_t fraction(floats_t x) {
  return reinterpret_cast<floats_t>((reinterpret_cast<ints_t>(x) & 0x007fffff) | 0x3f800000);
}
ORN_OPERATION floats_t exponent(floats_t x) {
  return __builtin_convertvector(reinterpret_cast<ints_t>(x) >> 23, floats_t);
}
ORN_OPERATION floats_t look_up(floats_t first, floats_t second, floats_t x) {
  const __m256i bits = _mm256_castps_si256(x);
  const __m256i at = _mm256_srli_epi32(bits, 19);
  // The highest bit of the part chooses the half of the table.
  return _mm256_blendv_ps(_mm256_permutevar8x32_ps(first, at), _mm256_permutevar8x32_ps(second, at),
                          _mm256_castsi256_ps(_mm256_slli_epi32(bits, 9)));
}
ORN_OPERATION std::uint64_t marked(ints_t mask) {
  return static_cast<std::uint8_t>(_mm256_movemask_ps(reinterpret_cast<floats_t>(mask)));
}
ORN_OPERATION std::uint64_t unequal(floats_t a, floats_t b) { return marked(a != b); }
ORN_OPERATION std::uint64_t unanswered(floats_t x) {
  const auto bits = reinterpret_cast<ints_t>(x);
  return marked((bits < 0x00800000) | (bits > 0x7f7fffff));
}

#include "basefunc/kernels/bounded/x86_registers.inc"

#undef ORN_REGISTER_TARGET

}  // namespace avx2

namespace avx512 {

#define ORN_REGISTER_TARGET ORN_TARGET_AVX512

constexpr std::size_t width = 16;
constexpr std::size_t parts = 32;
constexpr int bias = 0;
constexpr float slack_of_level_square = 0.0F;
constexpr float error_of_reciprocal_root = 0x1.01p-14F;
using floats_t = registers_t<width>::floats_t;
using ints_t = registers_t<width>::ints_t;

ORN_OPERATION floats_t fused(floats_t a, floats_t b, floats_t c) {
  return _mm512_fmadd_ps(a, b, c);
}
ORN_OPERATION floats_t less_fused(floats_t c, floats_t a, floats_t b) {
  return _mm512_fnmadd_ps(a, b, c);
}
ORN_OPERATION floats_t larger(floats_t a, floats_t b) { return _mm512_max_ps(a, b); }
ORN_OPERATION floats_t smaller(floats_t a, floats_t b) { return _mm512_min_ps(a, b); }
ORN_OPERATION floats_t square_root(floats_t x) { return _mm512_sqrt_ps(x); }
ORN_OPERATION floats_t reciprocal_root(floats_t x) { return _mm512_rsqrt14_ps(x); }
ORN_OPERATION floats_t fraction(floats_t x) {
  return _mm512_getmant_ps(x, _MM_MANT_NORM_1_2, _MM_MANT_SIGN_nan);
}
ORN_OPERATION floats_t exponent(floats_t x) { return _mm512_getexp_ps(x); }
ORN_OPERATION floats_t look_up(floats_t first, floats_t second, floats_t x) {
  const __m512i at = _mm512_srli_epi32(_mm512_castps_si512(x), 18);
  return _mm512_permutex2var_ps(first, at, second);
}
ORN_OPERATION std::uint64_t unequal(floats_t a, floats_t b) {
  return _mm512_cmp_ps_mask(a, b, _CMP_NEQ_UQ);
}
ORN_OPERATION std::uint64_t unanswered(floats_t /*x*/) {
  return 0;  // 0, infinities and NaN have no finite exponent, negative numbers a NaN as fraction
}

#include "basefunc/kernels/bounded/x86_registers.inc"

#undef ORN_REGISTER_TARGET

}  // namespace avx512

#undef ORN_OPERATION

}  // namespace orn::fmcw_demod_lib::kernels

#endif
