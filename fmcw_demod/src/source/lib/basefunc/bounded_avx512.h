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

/// Calls body(i, lanes) for each sixteen of `count` values, `lanes` marking those that exist.
template <class Body>
ORN_KERNEL ORN_TARGET_AVX512 inline void for_each_register(std::size_t count, Body body) noexcept {
  std::size_t i = 0;
  for (; i + 16 <= count; i += 16) {
    body(i, __mmask16{0xffff});
  }
  if (i < count) {
    body(i, static_cast<__mmask16>((1U << (count - i)) - 1));
  }
}

/// |z| + offset of `count` samples, at most a block, as bound_magnitudes has it. Half the
/// reciprocal root is approximate, good to 2^-14, which suffices for a residual that is 2^-23 of
/// the root.
ORN_TARGET_AVX512 inline void magnitudes_by_reciprocal_roots(const float* re, const float* im,
                                                             std::size_t count, float offset,
                                                             block_t<float>& out) noexcept {
  std::array<std::uint16_t, block_length / 16> marks{};
  const __m512 offsets = _mm512_set1_ps(offset);
  const __m512 half = _mm512_set1_ps(0.5F);
  const __m512 slack_of_root = _mm512_set1_ps(0x1p-37F);
  const __m512 slack_of_underflow = _mm512_set1_ps(0x1p-72F);
  for_each_register(count, [&](std::size_t i, __mmask16 lanes) ORN_KERNEL ORN_TARGET_AVX512 {
    const __m512 x = _mm512_maskz_loadu_ps(lanes, re + i);
    const __m512 y = _mm512_maskz_loadu_ps(lanes, im + i);
    const __m512 xx = _mm512_mul_ps(x, x);
    const __m512 yy = _mm512_mul_ps(y, y);
    const __m512 product_error =
        _mm512_add_ps(_mm512_fmsub_ps(x, x, xx), _mm512_fmsub_ps(y, y, yy));
    // The error of a sum of unsorted terms (Knuth, The Art of Computer Programming, 4.2.2).
    const __m512 sum = _mm512_add_ps(xx, yy);
    const __m512 added = _mm512_sub_ps(sum, xx);
    const __m512 sum_error =
        _mm512_add_ps(_mm512_sub_ps(xx, _mm512_sub_ps(sum, added)), _mm512_sub_ps(yy, added));
    const __m512 root = _mm512_sqrt_ps(sum);
    const __m512 half_reciprocal = _mm512_mul_ps(half, _mm512_rsqrt14_ps(sum));
    const __m512 residual =
        _mm512_add_ps(_mm512_fnmadd_ps(root, root, sum), _mm512_add_ps(sum_error, product_error));
    const __m512 step = _mm512_mul_ps(residual, half_reciprocal);
    const __m512 slack = _mm512_fmadd_ps(root, slack_of_root, slack_of_underflow);
    const __m512 lower = _mm512_add_ps(root, _mm512_sub_ps(step, slack));
    const __m512 upper = _mm512_add_ps(root, _mm512_add_ps(step, slack));
    _mm512_mask_storeu_ps(&out[i], lanes, _mm512_add_ps(lower, offsets));
    marks[i / 16] = _mm512_mask_cmp_ps_mask(lanes, lower, upper, _CMP_NEQ_UQ);
  });
  settle_magnitudes(re, im, list_marked(marks), offset, out);
}

/// The 32 equal parts of [1, 2), each with a centre, 64 over a whole number. That of the first part
/// is 1 and that of the last 2, so that logarithms near 0 come from no difference of larger ones.
/// The logarithms take the bias of a float's exponent into account.
struct log10_table_t {
  alignas(64) std::array<float, 32> reciprocal;
  alignas(64) std::array<float, 32> high;  ///< parts of log10(centre) - 127 log10(2)
  alignas(64) std::array<float, 32> low;
};

constexpr log10_table_t make_log10_table() {
  constexpr std::array<int, 32> of_64 = {64, 61, 59, 58, 56, 55, 53, 52, 51, 49, 48,
                                         47, 46, 45, 44, 43, 42, 41, 41, 40, 39, 38,
                                         38, 37, 36, 36, 35, 34, 34, 33, 33, 32};
  constexpr std::array<double, 32> logarithm = {
      0.00000000000000000000, 0.02085013897312013740, 0.03532796234174298102,
      0.04275198042094988874, 0.05799194697768675493, 0.06581728448964332575,
      0.08190410438309812565, 0.09017663034908801165, 0.09860979788595080545,
      0.11598389395537350986, 0.12493873660829995313, 0.13408211604816970687,
      0.14342214230231309720, 0.15296746020854349191, 0.16272729749769974010,
      0.17271151840430064488, 0.18293068358598670806, 0.19339611726415167677,
      0.19339611726415167677, 0.20411998265592478085, 0.21511536695738796478,
      0.22639637736707701453, 0.22639637736707701453, 0.23797824991689217447,
      0.24987747321659990626, 0.24987747321659990626, 0.26211192963361153578,
      0.27470105694163204753, 0.27470105694163204753, 0.28766603410599969324,
      0.28766603410599969324, 0.30102999566398119521};
  log10_table_t table{};
  using k = log10_constants_t;
  for (std::size_t i = 0; i < of_64.size(); ++i) {
    table.reciprocal[i] = static_cast<float>(of_64[i]) / 64.0F;
    table.high[i] = k::high(logarithm[i]) - 127.0F * k::high(k::two);
    table.low[i] = k::low(logarithm[i]) - 127.0F * k::low(k::two);
  }
  return table;
}

/// factor log10 of `count` floats, at most a block. A table of centres makes the series short;
/// looking it up is a permutation of two registers, which no loop expresses.
///
/// x = 2^n f, log10(f) = log10(c) + (r - r^2 / 2 + r^3 / 3 - ...) / ln 10 with r = f / c - 1, which
/// is a multiple of 2^-29 up to 2^-5 and hence exact. n log10(2) + log10(c), in high parts, and
/// r / ln 10 are added with the error of the sum, which a second product gives: their difference is
/// exact where it matters, since only around 1, where one of them is 0, are they much larger than
/// the sum. Terms from r^2 on, at most 2^-12, are single precision, good to 2^-35, and cut after
/// r^6, which leaves 2^-39; adding up costs 2^-36.
ORN_TARGET_AVX512 inline void levels_by_table(float factor, const block_t<float>& x,
                                              std::size_t count, float* out) noexcept {
  std::array<std::uint16_t, block_length / 16> marks{};
  constexpr double k = 0.43429448190325182765;  // 1 / ln 10
  constexpr auto k_high = static_cast<float>(k);
  using constants = log10_constants_t;
  static constexpr log10_table_t table = make_log10_table();
  struct halves_t {
    __m512 first, second;
  };
  const auto halves = [](const std::array<float, 32>& values) ORN_KERNEL ORN_TARGET_AVX512 {
    return halves_t{_mm512_load_ps(values.data()), _mm512_load_ps(values.data() + 16)};
  };
  const halves_t reciprocals = halves(table.reciprocal);
  const halves_t highs = halves(table.high);
  const halves_t lows = halves(table.low);
  const auto look_up = [](const halves_t& values, __m512i part) ORN_KERNEL ORN_TARGET_AVX512 {
    return _mm512_permutex2var_ps(values.first, part, values.second);
  };
  const auto coefficient = [](int n) { return static_cast<float>(n % 2 == 0 ? -k / n : k / n); };
  const __m512 c2 = _mm512_set1_ps(coefficient(2));
  const __m512 c3 = _mm512_set1_ps(coefficient(3));
  const __m512 c4 = _mm512_set1_ps(coefficient(4));
  const __m512 c5 = _mm512_set1_ps(coefficient(5));
  const __m512 c6 = _mm512_set1_ps(coefficient(6));
  const __m512 one = _mm512_set1_ps(1.0F);
  const __m512 scale = _mm512_set1_ps(k_high);
  const __m512 scale_error = _mm512_set1_ps(static_cast<float>(k - double{k_high}));
  const __m512 two_high = _mm512_set1_ps(constants::high(constants::two));
  const __m512 two_low = _mm512_set1_ps(constants::low(constants::two));
  const __m512 slack = _mm512_set1_ps(0x1.4p-34F);
  const __m512 factors = _mm512_set1_ps(factor);
  const __m512i fraction = _mm512_set1_epi32(0x007fffff);
  const __m512i smallest_normal = _mm512_set1_epi32(0x00800000);
  const __m512i normal_count = _mm512_set1_epi32(0x7f000000);
  for_each_register(count, [&](std::size_t i, __mmask16 lanes) ORN_KERNEL ORN_TARGET_AVX512 {
    const __m512i bits = _mm512_castps_si512(_mm512_maskz_loadu_ps(lanes, &x[i]));
    const __m512 f = _mm512_castsi512_ps(
        _mm512_or_si512(_mm512_and_si512(bits, fraction), _mm512_castps_si512(one)));
    const __m512 n = _mm512_cvtepi32_ps(_mm512_srli_epi32(bits, 23));  // biased
    const __m512i part = _mm512_srli_epi32(bits, 18);                  // by its lowest five bits
    const __m512 r = _mm512_fmsub_ps(f, look_up(reciprocals, part), one);
    const __m512 large = _mm512_fmadd_ps(n, two_high, look_up(highs, part));
    const __m512 sum = _mm512_fmadd_ps(scale, r, large);
    const __m512 sum_error = _mm512_fmadd_ps(scale, r, _mm512_sub_ps(large, sum));
    const __m512 square = _mm512_mul_ps(r, r);
    const __m512 high_terms = _mm512_fmadd_ps(c6, square, _mm512_fmadd_ps(c5, r, c4));
    const __m512 series = _mm512_fmadd_ps(high_terms, square, _mm512_fmadd_ps(c3, r, c2));
    const __m512 small =
        _mm512_fmadd_ps(scale_error, r, _mm512_fmadd_ps(n, two_low, look_up(lows, part)));
    const __m512 rest = _mm512_add_ps(_mm512_fmadd_ps(square, series, small), sum_error);
    const __m512 lower = _mm512_add_ps(sum, _mm512_sub_ps(rest, slack));
    const __m512 upper = _mm512_add_ps(sum, _mm512_add_ps(rest, slack));
    _mm512_mask_storeu_ps(out + i, lanes, _mm512_mul_ps(lower, factors));
    const __mmask16 not_normal =
        _mm512_mask_cmpge_epu32_mask(lanes, _mm512_sub_epi32(bits, smallest_normal), normal_count);
    marks[i / 16] = static_cast<std::uint16_t>(
        not_normal | _mm512_mask_cmp_ps_mask(lanes, lower, upper, _CMP_NEQ_UQ));
  });
  settle_levels(factor, x, list_marked(marks), out);
}

}  // namespace orn::fmcw_demod_lib::kernels

#endif
