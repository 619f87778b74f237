#include "basefunc/kernels.h"
#include "dispatch.h"
#include "tiles.h"
#include "vector.h"

#include <array>
#include <cstddef>
#include <type_traits>

namespace orn::fmcw_demod_lib::kernels {

using common_lib::dispatch;
using common_lib::transpose_strip;

namespace {

/// Outputs from `first` on, Vectors values of type Value at a time, as far as they go: neighbouring
/// outputs share the loop over taps, each adds its own terms in tap order. Returns the first output
/// that is left.
template <class Value, std::size_t Vectors, class T, class Out>
ORN_KERNEL inline std::size_t convolve_run(std::span<const T> signal, std::span<const T> kernel,
                                           std::span<Out> out, std::size_t first) {
  constexpr std::size_t width = common_lib::width_of<Value, T>;
  constexpr std::size_t run = Vectors * width;
  const std::size_t half = kernel.size() / 2;
  for (; first + run <= out.size(); first += run) {
    const T* const x = signal.data() + first;
    std::array<Value, Vectors> sum{};
    for (std::size_t k = 0; k < half; ++k) {
      const T* const rising = x + k;
      const T* const falling = x + (kernel.size() - 1 - k);
#pragma GCC unroll 8
      for (std::size_t v = 0; v < Vectors; ++v) {
        sum[v] += (common_lib::load<Value>(rising + v * width) +
                   common_lib::load<Value>(falling + v * width)) *
                  kernel[k];
      }
    }
    if (kernel.size() % 2 != 0) {
#pragma GCC unroll 8
      for (std::size_t v = 0; v < Vectors; ++v) {
        sum[v] = kernel[half] * common_lib::load<Value>(x + half + v * width) + sum[v];
      }
    }
    alignas(64) std::array<T, run> result;
#pragma GCC unroll 8
    for (std::size_t v = 0; v < Vectors; ++v) {
      common_lib::store(sum[v], &result[v * width]);
    }
    for (std::size_t i = 0; i < run; ++i) {
      out[first + i] = static_cast<Out>(result[i]);
    }
  }
  return first;
}

/// Outputs of a single-precision convolution from `first` on, one stretch of them per lane: the
/// elements that an output takes in lie a register apart then, whole registers are loaded, and
/// neighbouring outputs share them. Returns the first output that is left.
template <class Value>
ORN_KERNEL inline std::size_t convolve_stretches(std::span<const float> signal,
                                                 std::span<const float> kernel,
                                                 std::span<float> out, std::size_t first) {
  constexpr std::size_t lanes = common_lib::width_of<Value, float>;
  constexpr std::size_t stretch = 128;
  constexpr std::size_t most_taps = 256;
  constexpr std::size_t run = lanes * stretch;
  constexpr std::size_t together = 4;
  const std::size_t half = kernel.size() / 2;
  if (kernel.size() % 2 != 0 || half % together != 0 || kernel.size() > most_taps) {
    return first;
  }
  const std::size_t lines = stretch + kernel.size();  // the last one is not used
  alignas(64) std::array<float, (stretch + most_taps) * lanes> line;
  const auto load_line = [&](std::size_t i)
                             ORN_KERNEL { return common_lib::load<Value>(&line[i * lanes]); };
  for (; first + run < out.size(); first += run) {
    for (std::size_t i = 0; i < lines; i += 4) {
      float* const to = &line[i * lanes];
      const std::array<float*, 4> rows = {to, to + lanes, to + 2 * lanes, to + 3 * lanes};
      transpose_strip<lanes>(&signal[first + i], stretch, rows.data(), 0);
    }
    for (std::size_t i = 0; i < stretch; i += together) {
      // Element j + u modulo `together` of each serves output i + u.
      std::array<Value, together> sum{};
      std::array<Value, together> rising;
      std::array<Value, together> falling;
      for (std::size_t u = 0; u + 1 < together; ++u) {
        rising[u] = load_line(i + u);
        falling[u] = load_line(i + kernel.size() + u);
      }
      for (std::size_t k = 0; k < half; k += together) {
#pragma GCC unroll 4
        for (std::size_t j = 0; j < together; ++j) {
          const std::size_t newest = together - 1 - j;
          rising[(j + together - 1) % together] = load_line(i + k + j + together - 1);
          falling[newest] = load_line(i + kernel.size() - 1 - k - j);
#pragma GCC unroll 4
          for (std::size_t u = 0; u < together; ++u) {
            const Value& before = rising[(j + u) % together];
            const Value& after = falling[(newest + u) % together];
            const Value both =
                u % 2 == 0 ? common_lib::sum_by_product(before, after) : before + after;
            sum[u] += both * kernel[k + j];
          }
        }
      }
      alignas(64) std::array<float, together * lanes> result;
#pragma GCC unroll 4
      for (std::size_t u = 0; u < together; ++u) {
        common_lib::store(sum[u], &result[u * lanes]);
      }
      for (std::size_t l = 0; l < lanes; l += 4) {
        float* const to = &out[first + l * stretch + i];
        const std::array<float*, 4> rows = {to, to + stretch, to + 2 * stretch, to + 3 * stretch};
        transpose_strip<4>(&result[l], lanes, rows.data(), 0);
      }
    }
  }
  return first;
}

}  // namespace

template <class T, class Out>
void convolve_symmetric(std::span<const T> signal, std::span<const T> kernel,
                        std::span<Out> out) noexcept {
  dispatch([=](auto on) ORN_KERNEL {
    using value_t = common_lib::vector_t<T, decltype(on)>;
    std::size_t next = 0;
    if constexpr (std::is_same_v<T, float>) {
      next = convolve_stretches<value_t>(signal, kernel, out, next);
    }
    next = convolve_run<value_t, 8>(signal, kernel, out, next);
    next = convolve_run<value_t, 1>(signal, kernel, out, next);
    convolve_run<T, 1>(signal, kernel, out, next);
  });
}

template void convolve_symmetric(std::span<const float>, std::span<const float>,
                                 std::span<float>) noexcept;
template void convolve_symmetric(std::span<const double>, std::span<const double>,
                                 std::span<double>) noexcept;
template void convolve_symmetric(std::span<const double>, std::span<const double>,
                                 std::span<float>) noexcept;

}  // namespace orn::fmcw_demod_lib::kernels
