#include "basefunc/kernels.h"

#include <simd/dispatch.h>
#include <simd/tiles.h>
#include <simd/vector.h>

#include <array>
#include <cstddef>

namespace orn::fmcw_demod_lib::kernels {

using simd::dispatch;
using simd::transpose_strip;

namespace {

/// Outputs from `first` on, a Value of them at a time, as far as they go: each adds its own terms in
/// tap order. Returns the first output that is left.
template <class Value, class T, class Out>
ORN_KERNEL inline std::size_t convolve_run(std::span<const T> signal, std::span<const T> kernel,
                                           std::span<Out> out, std::size_t first) {
  constexpr std::size_t width = simd::width_of<Value, T>;
  const std::size_t half = kernel.size() / 2;
  for (; first + width <= out.size(); first += width) {
    const T* const rising = signal.data() + first;
    const T* const falling = rising + kernel.size() - 1;
    Value sum{};
    for (std::size_t k = 0; k < half; ++k) {
      sum += (simd::load<Value>(rising + k) + simd::load<Value>(falling - k)) * kernel[k];
    }
    if (kernel.size() % 2 != 0) {
      sum = kernel[half] * simd::load<Value>(rising + half) + sum;
    }
    simd::store(simd::converted<simd::values_of_t<Out, width>>(sum), &out[first]);
  }
  return first;
}

constexpr std::size_t stretch = 128;
constexpr std::size_t most_taps = 256;

/// Outputs that convolve_lines works on together.
constexpr std::size_t together = 4;

/// Adds taps k ... k + Taps - 1 to the outputs from the first line of `lines` on, which share what
/// they load: tap k + t of output u takes in line k + t + u and its mirror image.
template <std::size_t Taps, class Value, class T>
ORN_KERNEL inline void add_taps(const T* lines, std::span<const T> kernel, std::size_t k,
                                std::array<Value, together>& sum) {
  constexpr std::size_t lanes = simd::width_of<Value, T>;
  constexpr std::size_t loaded = Taps + together - 1;
  const T* const front = lines + k * lanes;
  const T* const back = lines + (kernel.size() - k - Taps) * lanes;
  std::array<Value, loaded> rising;
  std::array<Value, loaded> falling;
#pragma GCC unroll 8
  for (std::size_t j = 0; j < loaded; ++j) {
    rising[j] = simd::load<Value>(front + j * lanes);
    falling[j] = simd::load<Value>(back + j * lanes);
  }
#pragma GCC unroll 4
  for (std::size_t t = 0; t < Taps; ++t) {
#pragma GCC unroll 4
    for (std::size_t u = 0; u < together; ++u) {
      const Value& before = rising[t + u];
      const Value& after = falling[Taps - 1 - t + u];
      const Value both = u % 2 == 0 ? simd::sum_by_product(before, after) : before + after;
      sum[u] += both * kernel[k + t];
    }
  }
}

/// Outputs 0 ... stretch - 1 of as many convolutions as a Value has lanes, whose elements lie in
/// lines of one per lane.
template <class Value, class T, class Out>
ORN_KERNEL inline void convolve_lines(const T* lines, std::span<const T> kernel, Out* out) {
  constexpr std::size_t lanes = simd::width_of<Value, T>;
  using out_t = typename simd::vector_of_t<Out, lanes * sizeof(Out)>::type;
  // As many as leave their lines and the sums in registers: 32 of the widest, 16 of others.
  constexpr std::size_t taps = sizeof(Value) == 64 ? 4 : 2;
  const std::size_t half = kernel.size() / 2;
  for (std::size_t i = 0; i < stretch; i += together) {
    const T* const first = lines + i * lanes;
    std::array<Value, together> sum{};
    std::size_t k = 0;
    for (; k + taps <= half; k += taps) {
      add_taps<taps>(first, kernel, k, sum);
    }
    for (; k < half; ++k) {
      add_taps<1>(first, kernel, k, sum);
    }
#pragma GCC unroll 4
    for (std::size_t u = 0; u < together; ++u) {
      if (kernel.size() % 2 != 0) {
        sum[u] = kernel[half] * simd::load<Value>(first + (half + u) * lanes) + sum[u];
      }
      simd::store(__builtin_convertvector(sum[u], out_t), out + (i + u) * lanes);
    }
  }
}

/// Sorts elements into `count` lines, line i holding the elements i, stretch + i, 2 stretch + i ...
/// `count` is a multiple of the group size.
template <std::size_t Lanes, class T>
ORN_KERNEL inline void sort_into_lines(const T* signal, std::size_t count, T* lines) {
  constexpr std::size_t at_once = simd::group_size<T>;
  for (std::size_t i = 0; i < count; i += at_once) {
    std::array<T*, at_once> to;
    for (std::size_t r = 0; r < at_once; ++r) {
      to[r] = lines + (i + r) * Lanes;
    }
    transpose_strip<Lanes>(signal + i, stretch, to.data(), 0);
  }
}

/// The way back: a stretch of outputs from each lane of the lines. Strip outputs fill a register.
template <std::size_t Lanes, std::size_t Strip, class Out>
ORN_KERNEL inline void sort_into_stretches(const Out* lines, Out* out) {
  constexpr std::size_t at_once = simd::group_size<Out>;
  for (std::size_t l = 0; l < Lanes; l += at_once) {
    std::array<Out*, at_once> to;
    for (std::size_t r = 0; r < at_once; ++r) {
      to[r] = out + (l + r) * stretch;
    }
    for (std::size_t i = 0; i < stretch; i += Strip) {
      transpose_strip<Strip>(lines + i * Lanes + l, Lanes, to.data(), i);
    }
  }
}

/// Outputs from the first on, as far as whole runs of a stretch per lane go: the elements that an
/// output takes in lie a register apart then, whole registers are loaded, and neighbouring outputs
/// share them. Lines that pad a group are read but enter no output, so a run needs their elements as
/// well. Returns the first output that is left.
template <class Value, class T, class Out>
ORN_KERNEL inline std::size_t convolve_stretches(std::span<const T> signal,
                                                 std::span<const T> kernel, std::span<Out> out) {
  constexpr std::size_t lanes = simd::width_of<Value, T>;
  constexpr std::size_t run = lanes * stretch;
  constexpr std::size_t group = simd::group_size<T>;
  if (lanes < simd::group_size<Out> || kernel.size() > most_taps) {
    return 0;
  }
  const std::size_t line_count = (stretch + kernel.size() - 1 + group - 1) / group * group;
  const std::size_t reach = run - stretch + line_count;
  alignas(64) std::array<T, (stretch + most_taps) * lanes> lines;
  alignas(64) std::array<Out, run> result;
  std::size_t first = 0;
  for (; first + run <= out.size() && first + reach <= signal.size(); first += run) {
    sort_into_lines<lanes>(&signal[first], line_count, lines.data());
    convolve_lines<Value>(lines.data(), kernel, result.data());
    sort_into_stretches<lanes, sizeof(Value) / sizeof(Out)>(result.data(), &out[first]);
  }
  return first;
}

}  // namespace

template <class T, class Out>
void convolve_symmetric(std::span<const T> signal, std::span<const T> kernel,
                        std::span<Out> out) noexcept {
  dispatch([=](auto on) ORN_KERNEL {
    using value_t = simd::vector_t<T, decltype(on)>;
    std::size_t next = convolve_stretches<value_t>(signal, kernel, out);
    next = convolve_run<value_t>(signal, kernel, out, next);
    convolve_run<T>(signal, kernel, out, next);
  });
}

template void convolve_symmetric(std::span<const float>, std::span<const float>,
                                 std::span<float>) noexcept;
template void convolve_symmetric(std::span<const double>, std::span<const double>,
                                 std::span<double>) noexcept;
template void convolve_symmetric(std::span<const double>, std::span<const double>,
                                 std::span<float>) noexcept;

}  // namespace orn::fmcw_demod_lib::kernels
