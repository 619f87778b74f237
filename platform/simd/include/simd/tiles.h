#pragma once

#include <simd/vector.h>

#include <array>
#include <cstddef>
#include <utility>

/// Transposition in registers, by groups of the 16 bytes that every machine shuffles at once.
namespace orn::simd {

/// Numbers of a group: 4 floats or 2 doubles.
template <class T>
constexpr std::size_t group_size = 16 / sizeof(T);

/// `Size` numbers, which are whole groups.
template <class T, std::size_t Size>
using groups_t = typename vector_of_t<T, Size * sizeof(T)>::type;

/// A group from each line, `pitch` from one line to the next, as many as fill `Size` numbers.
template <std::size_t Size, class T>
ORN_KERNEL inline groups_t<T, Size> load_groups(const T* from, std::size_t pitch) {
  if constexpr (Size == group_size<T>) {
    return load<groups_t<T, Size>>(from);
  } else {
    const auto front = load_groups<Size / 2>(from, pitch);
    const auto back = load_groups<Size / 2>(from + Size / 2 / group_size<T> * pitch, pitch);
    return [&]<std::size_t... I>(std::index_sequence<I...>) ORN_KERNEL {
      return __builtin_shufflevector(front, back, I...);
    }
    (std::make_index_sequence<Size>{});
  }
}

/// In every group of G numbers: a[From], b[From], a[From + 1], b[From + 1] ...
template <std::size_t From, std::size_t G, class Groups, std::size_t... I>
ORN_KERNEL inline Groups interleaved(Groups a, Groups b, std::index_sequence<I...> /*all*/) {
  return __builtin_shufflevector(a, b, (I % 2 * sizeof...(I) + I / G * G + I % G / 2 + From)...);
}

/// In every group of four: a[From], a[From + 1], b[From], b[From + 1].
template <std::size_t From, class Groups, std::size_t... I>
ORN_KERNEL inline Groups paired(Groups a, Groups b, std::index_sequence<I...> /*all*/) {
  return __builtin_shufflevector(a, b, (I % 4 / 2 * sizeof...(I) + I / 4 * 4 + I % 2 + From)...);
}

/// Transposes as many lines as a group has numbers, each group by itself.
template <class T, class Groups>
ORN_KERNEL inline std::array<Groups, group_size<T>> transposed(
    const std::array<Groups, group_size<T>>& lines) {
  constexpr auto all = std::make_index_sequence<width_of<Groups, T>>{};
  constexpr std::size_t size = group_size<T>;
  if constexpr (size == 2) {
    return {interleaved<0, size>(lines[0], lines[1], all),
            interleaved<1, size>(lines[0], lines[1], all)};
  } else {
    const Groups front_low = interleaved<0, size>(lines[0], lines[1], all);
    const Groups front_high = interleaved<2, size>(lines[0], lines[1], all);
    const Groups back_low = interleaved<0, size>(lines[2], lines[3], all);
    const Groups back_high = interleaved<2, size>(lines[2], lines[3], all);
    return {paired<0>(front_low, back_low, all), paired<2>(front_low, back_low, all),
            paired<0>(front_high, back_high, all), paired<2>(front_high, back_high, all)};
  }
}

/// Transposes `Lines` lines of a group each, `pitch` from one line to the next, into as many rows
/// as a group has numbers, from element `at` of each on.
template <std::size_t Lines, class T>
ORN_KERNEL inline void transpose_strip(const T* from, std::size_t pitch, T* const* rows,
                                       std::size_t at) {
  constexpr std::size_t size = group_size<T>;
  std::array<groups_t<T, Lines>, size> lines;
#pragma GCC unroll 4
  for (std::size_t i = 0; i < size; ++i) {
    // Line i of every square of lines.
    lines[i] = load_groups<Lines>(from + i * pitch, size * pitch);
  }
  lines = transposed<T>(lines);
#pragma GCC unroll 4
  for (std::size_t i = 0; i < size; ++i) {
    store(lines[i], rows[i] + at);
  }
}

}  // namespace orn::simd
