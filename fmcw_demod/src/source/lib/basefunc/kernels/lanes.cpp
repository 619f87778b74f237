#include "basefunc/kernels.h"

#include <simd/dispatch.h>
#include <simd/tiles.h>
#include <simd/vector.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace orn::fmcw_demod_lib::kernels {

using simd::dispatch;
using simd::transpose_strip;

namespace {

/// Sorts whole strips of columns, two phases of them at a time. Returns the first column that is
/// left.
template <std::size_t Strip>
ORN_KERNEL inline std::size_t sort_strips(std::span<const sample_t> samples, std::size_t hop,
                                          std::size_t pitch, std::span<float> re,
                                          std::span<float> im) {
  const std::size_t columns = samples.size() / hop;
  std::size_t column = 0;
  for (; column + Strip <= columns; column += Strip) {
    for (std::size_t phase = 0; phase + 2 <= hop; phase += 2) {
      const std::size_t next = (phase + 1) * pitch;
      const std::array<float*, 4> lines = {&re[phase * pitch], &im[phase * pitch], &re[next],
                                           &im[next]};
      const auto* const parts = reinterpret_cast<const float*>(&samples[column * hop + phase]);
      transpose_strip<Strip>(parts, 2 * hop, lines.data(), column);
    }
  }
  return column;
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
  std::size_t sorted = 0;
  dispatch([=, &sorted](auto on) ORN_KERNEL {
    constexpr std::size_t strip = decltype(on)::register_bytes / sizeof(float);
    sorted = sort_strips<strip>(samples, hop, pitch, re, im);
  });
  for (std::size_t phase = 0; phase < hop; ++phase) {
    std::size_t column = phase + 1 < hop || hop % 2 == 0 ? sorted : 0;
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
