#pragma once

#include "basefunc/kernels.h"
#include "basefunc/kernels/bounded/bounded.h"

#include <fmcw_demod/types.h>
#include <simd/dispatch.h>
#include <simd/vector.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <limits>

/// What kernels share that work on traces by the block.
namespace orn::fmcw_demod_lib::kernels {

/// Calls body(first, count) for the blocks of `size` values.
template <class Body>
ORN_KERNEL inline void for_each_block(std::size_t size, Body body) {
  for (std::size_t first = 0; first < size; first += block_length) {
    body(first, std::min(block_length, size - first));
  }
}

/// |x|^2 of `count` samples, at most a block, |x| and its square each rounded to float.
template <class On>
ORN_KERNEL inline void squared_magnitudes(const sample_t* samples, std::size_t count,
                                          block_t<float>& out) {
  alignas(64) block_t<float> re;
  alignas(64) block_t<float> im;
  for (std::size_t i = 0; i < count; ++i) {
    re[i] = samples[i].real();
    im[i] = samples[i].imag();
  }
  magnitudes<On>(re.data(), im.data(), count, 0.0F, out);
  for (std::size_t i = 0; i < count; ++i) {
    out[i] *= out[i];
  }
}

/// `sum` and the values, added in index order.
ORN_KERNEL inline double added(const block_t<float>& values, std::size_t count, double sum) {
  for (std::size_t i = 0; i < count; ++i) {
    sum += values[i];
  }
  return sum;
}

/// Extremes of numbers, kept per lane: which of two equal numbers wins does not matter, and a NaN
/// loses every comparison.
template <class T, class On>
class extremes_t {
 public:
  ORN_KERNEL extremes_t(T lowest, T highest)
      : lowest_(lanes_t{} + lowest), highest_(lanes_t{} + highest) {}

  /// Takes in `count` values, at most a block; the others are overwritten.
  ORN_KERNEL void add(block_t<T>& values, std::size_t count) {
    std::fill(values.begin() + static_cast<std::ptrdiff_t>(count), values.end(),
              std::numeric_limits<T>::quiet_NaN());
    for (std::size_t i = 0; i < block_length; i += simd::width_of<lanes_t, T>) {
      const auto value = simd::load<lanes_t>(&values[i]);
      lowest_ = value < lowest_ ? value : lowest_;
      highest_ = value > highest_ ? value : highest_;
    }
  }

  ORN_KERNEL T lowest() const {
    const auto values = std::bit_cast<values_t>(lowest_);
    return *std::min_element(values.begin(), values.end());
  }
  ORN_KERNEL T highest() const {
    const auto values = std::bit_cast<values_t>(highest_);
    return *std::max_element(values.begin(), values.end());
  }

 private:
  using lanes_t = simd::vector_t<T, On>;
  using values_t = std::array<T, simd::width_of<lanes_t, T>>;

  lanes_t lowest_;
  lanes_t highest_;
};

/// The result of `squares`.
template <class On>
ORN_KERNEL inline squares_t squares_of(double sum, const extremes_t<float, On>& extremes) {
  const squares_t result{sum, extremes.lowest(), extremes.highest()};
  constexpr float none = std::numeric_limits<float>::quiet_NaN();
  return result.largest < result.smallest ? squares_t{sum, none, none} : result;
}

constexpr float infinity = std::numeric_limits<float>::infinity();

}  // namespace orn::fmcw_demod_lib::kernels
