#pragma once

#include "basefunc/settle.h"
#include "dispatch.h"

#if defined(__x86_64__)

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

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

/// The two figures of a level in AVX-512 intrinsics, which have operations for it that loops do
/// not: approximate reciprocal roots, the parts of a float, tables in registers, masks.
namespace orn::fmcw_demod_lib::kernels {

/// Lists what the masks of sixteen values each mark.
inline unsettled_t list_marked(const std::array<std::uint16_t, block_length / 16>& marks) {
  unsettled_t unsettled;
  for (std::size_t k = 0; k < marks.size(); ++k) {
    for (unsigned mark = marks[k]; mark != 0; mark &= mark - 1) {
      unsettled.index[unsettled.count++] =
          static_cast<std::uint32_t>(16 * k) + static_cast<std::uint32_t>(std::countr_zero(mark));
    }
  }
  return unsettled;
}

/// |z| of `count` samples, at most a block, as bound_magnitudes has it. The root comes from the
/// approximate reciprocal root y, good to 2^-14, by one step on both s y and y / 2 (Goldschmidt),
/// after which they are good to 2^-23.
ORN_TARGET_AVX512 inline void magnitudes_by_reciprocal_roots(const float* re, const float* im,
                                                             std::size_t count,
                                                             block_t<float>& out) noexcept {
  std::array<std::uint16_t, block_length / 16> marks{};
  const __m512 half = _mm512_set1_ps(0.5F);
  const __m512 slack_of_root = _mm512_set1_ps(0x1p-42F);
  const __m512 slack_of_underflow = _mm512_set1_ps(0x1p-72F);
  for (std::size_t i = 0; i < count; i += 16) {
    const auto lanes = static_cast<__mmask16>((1U << std::min<std::size_t>(count - i, 16)) - 1);
    const __m512 x = _mm512_maskz_loadu_ps(lanes, re + i);
    const __m512 y = _mm512_maskz_loadu_ps(lanes, im + i);
    const __m512 xx = _mm512_mul_ps(x, x);
    const __m512 yy = _mm512_mul_ps(y, y);
    const __m512 product_error =
        _mm512_add_ps(_mm512_fmsub_ps(x, x, xx), _mm512_fmsub_ps(y, y, yy));
    const __m512 larger = _mm512_max_ps(xx, yy);
    const __m512 smaller = _mm512_min_ps(xx, yy);
    const __m512 sum = _mm512_add_ps(larger, smaller);
    const __m512 sum_error = _mm512_sub_ps(smaller, _mm512_sub_ps(sum, larger));
    const __m512 approximate = _mm512_rsqrt14_ps(sum);
    const __m512 g = _mm512_mul_ps(sum, approximate);
    const __m512 h = _mm512_mul_ps(half, approximate);
    const __m512 correction = _mm512_fnmadd_ps(g, h, half);
    const __m512 root = _mm512_fmadd_ps(g, correction, g);
    const __m512 half_reciprocal = _mm512_fmadd_ps(h, correction, h);
    const __m512 residual =
        _mm512_add_ps(_mm512_fnmadd_ps(root, root, sum), _mm512_add_ps(sum_error, product_error));
    const __m512 step = _mm512_mul_ps(residual, half_reciprocal);
    const __m512 slack = _mm512_fmadd_ps(root, slack_of_root, slack_of_underflow);
    const __m512 lower = _mm512_add_ps(root, _mm512_sub_ps(step, slack));
    const __m512 upper = _mm512_add_ps(root, _mm512_add_ps(step, slack));
    _mm512_storeu_ps(&out[i], lower);
    marks[i / 16] =
        static_cast<std::uint16_t>(lanes & _mm512_cmp_ps_mask(lower, upper, _CMP_NEQ_UQ));
  }
  settle_magnitudes(re, im, list_marked(marks), out);
}

/// Sixteen parts of [3/4, 3/2), by the four highest bits of the fraction, each with a centre: 256
/// over a whole number, near the part's middle. Around 1 it is 1, so that logarithms near 0 are as
/// good relatively as elsewhere.
struct log10_table_t {
  alignas(64) std::array<float, 16> reciprocal;
  alignas(64) std::array<float, 16> high;  ///< parts of the centre's logarithm
  alignas(64) std::array<float, 16> low;
};

constexpr log10_table_t make_log10_table() {
  constexpr std::array<int, 16> of_256 = {256, 234, 221, 210, 200, 191, 182, 174,
                                          334, 321, 309, 298, 287, 278, 269, 256};
  constexpr std::array<double, 16> logarithm = {
      0.00000000000000000000,  0.03902410790170672270,  0.06384769162673886396,
      0.08602067057793029370,  0.10720996964786836650,  0.12720659806412202407,
      0.14816857732677476658,  0.16769071702924984187,  -0.11550650149971491349,
      -0.09826506709302251642, -0.08171851411298508076, -0.06597629876440567176,
      -0.04964193142214276351, -0.03580483060622671396, -0.02151231469055841838,
      0.00000000000000000000};
  log10_table_t table{};
  for (std::size_t i = 0; i < of_256.size(); ++i) {
    table.reciprocal[i] = static_cast<float>(of_256[i]) / 256.0F;
    table.high[i] = log10_constants_t::high(logarithm[i]);
    table.low[i] = log10_constants_t::low(logarithm[i]);
  }
  return table;
}

/// log10 of `count` floats, at most a block. A table of centres makes the series short; looking
/// it up is a permutation of a register, which no loop expresses.
///
/// x = 2^n f, log10(f) = log10(c) + (r - r^2 / 2 + r^3 / 3 - ...) / ln 10, r = f / c - 1 as a float
/// and its error, |r| <= 1/16. Terms from r^2 on are single precision, good to 4 ulp of 0.22 r^2,
/// and cut after r^8, which leaves 7e-13 at 1/16; adding up costs at most 2^-36.
ORN_TARGET_AVX512 inline void log10s_by_table(const block_t<float>& x, std::size_t count,
                                              block_t<float>& out) noexcept {
  std::array<std::uint16_t, block_length / 16> marks{};
  constexpr double k = 0.43429448190325182765;  // 1 / ln 10
  constexpr auto k_high = static_cast<float>(k);
  using constants = log10_constants_t;
  static constexpr log10_table_t table = make_log10_table();
  const __m512 reciprocals = _mm512_load_ps(table.reciprocal.data());
  const __m512 highs = _mm512_load_ps(table.high.data());
  const __m512 lows = _mm512_load_ps(table.low.data());
  const __m512 one = _mm512_set1_ps(1.0F);
  const __m512 scale = _mm512_set1_ps(k_high);
  const __m512 scale_error = _mm512_set1_ps(static_cast<float>(k - double{k_high}));
  const auto coefficient = [](int n) { return static_cast<float>(n % 2 == 0 ? -k / n : k / n); };
  const __m512 c2 = _mm512_set1_ps(coefficient(2));
  const __m512 c3 = _mm512_set1_ps(coefficient(3));
  const __m512 c4 = _mm512_set1_ps(coefficient(4));
  const __m512 c5 = _mm512_set1_ps(coefficient(5));
  const __m512 c6 = _mm512_set1_ps(coefficient(6));
  const __m512 c7 = _mm512_set1_ps(coefficient(7));
  const __m512 c8 = _mm512_set1_ps(coefficient(8));
  const __m512 two_high = _mm512_set1_ps(constants::high(constants::two));
  const __m512 two_low = _mm512_set1_ps(constants::low(constants::two));
  const __m512 slack_of_square = _mm512_set1_ps(0x1p-24F);
  const __m512 slack_of_sum = _mm512_set1_ps(0x1.8p-35F);
  constexpr int all_but_positive_normal = 0xff;
  for (std::size_t i = 0; i < count; i += 16) {
    const auto lanes = static_cast<__mmask16>((1U << std::min<std::size_t>(count - i, 16)) - 1);
    const __m512 value = _mm512_maskz_loadu_ps(lanes, &x[i]);
    const __m512 f = _mm512_getmant_ps(value, _MM_MANT_NORM_p75_1p5, _MM_MANT_SIGN_zero);
    __m512 n = _mm512_getexp_ps(value);
    n = _mm512_mask_add_ps(n, _mm512_cmp_ps_mask(f, one, _CMP_LT_OQ), n, one);
    const __m512i part = _mm512_srli_epi32(_mm512_castps_si512(f), 19);
    const __m512 reciprocal = _mm512_permutexvar_ps(part, reciprocals);
    const __m512 ratio = _mm512_mul_ps(f, reciprocal);
    const __m512 r_error = _mm512_fmsub_ps(f, reciprocal, ratio);
    const __m512 r = _mm512_sub_ps(ratio, one);
    const __m512 linear = _mm512_mul_ps(scale, r);
    const __m512 linear_error = _mm512_fmadd_ps(
        scale_error, r, _mm512_fmadd_ps(scale, r_error, _mm512_fmsub_ps(scale, r, linear)));
    const __m512 r1 = _mm512_add_ps(r, r_error);
    const __m512 square = _mm512_mul_ps(r1, r1);
    // Evaluated pairwise: the scheduler holds but a few iterations, so a short chain counts.
    const __m512 low_terms =
        _mm512_fmadd_ps(_mm512_fmadd_ps(c5, r1, c4), square, _mm512_fmadd_ps(c3, r1, c2));
    const __m512 high_terms = _mm512_fmadd_ps(c8, square, _mm512_fmadd_ps(c7, r1, c6));
    const __m512 series = _mm512_fmadd_ps(high_terms, _mm512_mul_ps(square, square), low_terms);
    const __m512 centre_low = _mm512_permutexvar_ps(part, lows);
    const __m512 small = _mm512_fmadd_ps(
        square, series, _mm512_fmadd_ps(n, two_low, _mm512_add_ps(linear_error, centre_low)));
    const __m512 large = _mm512_fmadd_ps(n, two_high, _mm512_permutexvar_ps(part, highs));
    const __m512 sum = _mm512_add_ps(large, linear);
    const __m512 rest = _mm512_add_ps(_mm512_sub_ps(linear, _mm512_sub_ps(sum, large)), small);
    const __m512 slack = _mm512_fmadd_ps(square, slack_of_square, slack_of_sum);
    const __m512 lower = _mm512_add_ps(sum, _mm512_sub_ps(rest, slack));
    const __m512 upper = _mm512_add_ps(sum, _mm512_add_ps(rest, slack));
    _mm512_storeu_ps(&out[i], lower);
    marks[i / 16] = static_cast<std::uint16_t>(
        lanes & (_mm512_cmp_ps_mask(lower, upper, _CMP_NEQ_UQ) |
                 _mm512_fpclass_ps_mask(value, all_but_positive_normal)));
  }
  settle_log10s(x, list_marked(marks), out);
}

}  // namespace orn::fmcw_demod_lib::kernels

#endif
