#pragma once

#include "vector.h"

#include <array>
#include <cstddef>
#include <utility>

/// Transposition by tiles of four by four values.
namespace orn::fmcw_demod_lib::kernels {

/// `Size` floats, which are `Size` / 4 groups of four.
template <std::size_t Size>
using groups_t = typename common_lib::vector_of_t<float, Size * sizeof(float)>::type;
using quad_t = groups_t<4>;

/// Four values of each of `Size` / 4 lines, `pitch` from one line to the next.
template <std::size_t Size>
ORN_KERNEL inline groups_t<Size> load_groups(const float* from, std::size_t pitch) {
  if constexpr (Size == 4) {
    return common_lib::load<quad_t>(from);
  } else {
    const auto front = load_groups<Size / 2>(from, pitch);
    const auto back = load_groups<Size / 2>(from + Size / 8 * pitch, pitch);
    return [&]<std::size_t... I>(std::index_sequence<I...>) ORN_KERNEL {
      return __builtin_shufflevector(front, back, I...);
    }
    (std::make_index_sequence<Size>{});
  }
}

/// In every group the elements a[From], b[From], a[From + 1], b[From + 1].
template <std::size_t From, class Groups, std::size_t... I>
ORN_KERNEL inline Groups interleaved(Groups a, Groups b, std::index_sequence<I...> /*all*/) {
  return __builtin_shufflevector(a, b, (I % 2 * sizeof...(I) + I / 4 * 4 + I % 4 / 2 + From)...);
}

/// In every group the elements a[From], a[From + 1], b[From], b[From + 1].
template <std::size_t From, class Groups, std::size_t... I>
ORN_KERNEL inline Groups paired(Groups a, Groups b, std::index_sequence<I...> /*all*/) {
  return __builtin_shufflevector(a, b, (I % 4 / 2 * sizeof...(I) + I / 4 * 4 + I % 2 + From)...);
}

/// Transposes four lines of four values, each group by itself.
template <class Groups>
ORN_KERNEL inline std::array<Groups, 4> transposed(const std::array<Groups, 4>& lines) {
  const auto& [a, b, c, d] = lines;
  constexpr auto all = std::make_index_sequence<common_lib::width_of<Groups, float>>{};
  const Groups ab_low = interleaved<0>(a, b, all);
  const Groups ab_high = interleaved<2>(a, b, all);
  const Groups cd_low = interleaved<0>(c, d, all);
  const Groups cd_high = interleaved<2>(c, d, all);
  return {paired<0>(ab_low, cd_low, all), paired<2>(ab_low, cd_low, all),
          paired<0>(ab_high, cd_high, all), paired<2>(ab_high, cd_high, all)};
}

/// Transposes `Lines` lines of four values, `pitch` from one line to the next, into four rows of
/// `Lines` values.
template <std::size_t Lines>
ORN_KERNEL inline void transpose_strip(const float* from, std::size_t pitch, float* const* rows,
                                       std::size_t at) {
  std::array<groups_t<Lines>, 4> lines;
#pragma GCC unroll 4
  for (std::size_t i = 0; i < 4; ++i) {
    // Line i of every tile.
    lines[i] = load_groups<Lines>(from + i * pitch, 4 * pitch);
  }
  lines = transposed(lines);
#pragma GCC unroll 4
  for (std::size_t i = 0; i < 4; ++i) {
    common_lib::store(lines[i], rows[i] + at);
  }
}

}  // namespace orn::fmcw_demod_lib::kernels
