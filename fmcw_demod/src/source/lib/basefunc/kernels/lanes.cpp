#include "basefunc/kernels.h"
#include "dispatch.h"
#include "tiles.h"
#include "vector.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace orn::fmcw_demod_lib::kernels {

using common_lib::dispatch;
using common_lib::transpose_strip;

namespace {

/// Four samples of each of four columns, `hop` apart, to as many lines of both planes.
ORN_KERNEL inline void sort_tile(const sample_t* samples, std::size_t hop, float* re, float* im,
                                 std::size_t pitch) {
  using quad_t = common_lib::groups_t<float, 4>;
  std::array<quad_t, 4> re_lines;
  std::array<quad_t, 4> im_lines;
  for (std::size_t l = 0; l < 4; ++l) {
    const auto* const parts = reinterpret_cast<const float*>(samples + l * hop);
    const auto a = common_lib::load<quad_t>(parts);
    const auto b = common_lib::load<quad_t>(parts + 4);
    re_lines[l] = __builtin_shufflevector(a, b, 0, 2, 4, 6);
    im_lines[l] = __builtin_shufflevector(a, b, 1, 3, 5, 7);
  }
  re_lines = common_lib::transposed<float>(re_lines);
  im_lines = common_lib::transposed<float>(im_lines);
  for (std::size_t i = 0; i < 4; ++i) {
    common_lib::store(re_lines[i], re + i * pitch);
    common_lib::store(im_lines[i], im + i * pitch);
  }
}

/// Copies the bins [first, last) to the rows from element `at` on.
template <class On>
ORN_KERNEL inline void lanes_to_rows(std::span<const float> values, std::size_t lanes,
                                     std::size_t first, std::size_t last,
                                     std::span<float* const> rows, std::size_t at) {
  constexpr std::size_t strip = On::register_bytes / sizeof(float);
  const std::size_t tiled_rows = rows.size() - rows.size() % 4;
  const std::size_t tiled_last = last - (last - first) % strip;
  for (std::size_t bin = first; bin < tiled_last; bin += strip) {
    for (std::size_t l = 0; l < tiled_rows; l += 4) {
      transpose_strip<strip>(&values[bin * lanes + l], lanes, &rows[l], at + bin - first);
    }
  }
  for (std::size_t l = 0; l < rows.size(); ++l) {
    for (std::size_t bin = l < tiled_rows ? tiled_last : first; bin < last; ++bin) {
      rows[l][at + bin - first] = values[bin * lanes + l];
    }
  }
}

}  // namespace

void sort_by_phase(std::span<const sample_t> samples, std::size_t hop, std::size_t pitch,
                   std::span<float> re, std::span<float> im) noexcept {
  const std::size_t columns = samples.size() / hop;
  const std::size_t tiled_columns = columns / 4 * 4;
  const std::size_t tiled_phases = hop / 4 * 4;
  dispatch([=](auto /*on*/) ORN_KERNEL {
    for (std::size_t phase = 0; phase < tiled_phases; phase += 4) {
      for (std::size_t column = 0; column < tiled_columns; column += 4) {
        const std::size_t to = phase * pitch + column;
        sort_tile(&samples[column * hop + phase], hop, &re[to], &im[to], pitch);
      }
    }
  });
  for (std::size_t phase = 0; phase < hop; ++phase) {
    std::size_t column = phase < tiled_phases ? tiled_columns : 0;
    for (std::size_t i = column * hop + phase; i < samples.size(); i += hop, ++column) {
      re[phase * pitch + column] = samples[i].real();
      im[phase * pitch + column] = samples[i].imag();
    }
  }
}

void lanes_to_centred_rows(std::span<const float> values, std::size_t lanes,
                           std::span<float* const> rows) noexcept {
  dispatch([=](auto on) ORN_KERNEL {
    const std::size_t bins = values.size() / lanes;
    const std::size_t negative = (bins + 1) / 2;
    lanes_to_rows<decltype(on)>(values, lanes, negative, bins, rows, 0);
    lanes_to_rows<decltype(on)>(values, lanes, 0, negative, rows, bins - negative);
  });
}

void strongest_centred_bins(std::span<const float> magnitude,
                            std::span<std::uint32_t> strongest) noexcept {
  const std::size_t lanes = strongest.size();
  const std::size_t bins = magnitude.size() / lanes;
  const std::size_t negative = (bins + 1) / 2;
  for (std::size_t l = 0; l < lanes; ++l) {
    float largest = magnitude[negative % bins * lanes + l];
    strongest[l] = 0;
    for (std::size_t i = 1; i < bins; ++i) {
      const float candidate = magnitude[(negative + i) % bins * lanes + l];
      if (candidate > largest) {
        largest = candidate;
        strongest[l] = static_cast<std::uint32_t>(i);
      }
    }
  }
}

}  // namespace orn::fmcw_demod_lib::kernels
