#pragma once

#include "vector.h"

#include <array>
#include <cstddef>

/// Transposition by tiles of four by four values.
namespace orn::fmcw_demod_lib::kernels {

using quad_t = common_lib::vector_of_t<float, 16>::type;

/// Transposes four lines of four values.
ORN_KERNEL inline std::array<quad_t, 4> transposed(const std::array<quad_t, 4>& lines) {
  const auto& [a, b, c, d] = lines;
  const quad_t ab_low = __builtin_shufflevector(a, b, 0, 4, 1, 5);
  const quad_t ab_high = __builtin_shufflevector(a, b, 2, 6, 3, 7);
  const quad_t cd_low = __builtin_shufflevector(c, d, 0, 4, 1, 5);
  const quad_t cd_high = __builtin_shufflevector(c, d, 2, 6, 3, 7);
  return {__builtin_shufflevector(ab_low, cd_low, 0, 1, 4, 5),
          __builtin_shufflevector(ab_low, cd_low, 2, 3, 6, 7),
          __builtin_shufflevector(ab_high, cd_high, 0, 1, 4, 5),
          __builtin_shufflevector(ab_high, cd_high, 2, 3, 6, 7)};
}

/// Transposes the 4 by 4 values at `from`, `pitch` from one line to the next, into four rows.
ORN_KERNEL inline void transpose_tile(const float* from, std::size_t pitch, float* const* rows,
                                      std::size_t at) {
  std::array<quad_t, 4> lines;
  for (std::size_t i = 0; i < 4; ++i) {
    lines[i] = common_lib::load<quad_t>(from + i * pitch);
  }
  lines = transposed(lines);
  for (std::size_t i = 0; i < 4; ++i) {
    common_lib::store(lines[i], rows[i] + at);
  }
}

}  // namespace orn::fmcw_demod_lib::kernels
