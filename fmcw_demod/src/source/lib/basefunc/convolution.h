#pragma once

#include "basefunc/kernels.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <vector>

namespace orn::fmcw_demod_lib::basefunc {

/// conv_same on views: `out`, as long as the signal, gets the convolution rounded to Out. Neither
/// view is empty. Allocates about two kernels' lengths, for the outputs near the ends.
template <class T, class Out>
void convolve_same(std::span<const T> signal, std::span<const T> kernel, std::span<Out> out) {
  const std::size_t reach = kernel.size() - 1;  // an output takes in reach + 1 elements
  const std::size_t lead = reach / 2;           // of which this many before its own
  // Outputs [0, lead) reach over the front, outputs from `inner_end` on over the back.
  const std::size_t inner_end = signal.size() < reach - lead ? 0 : signal.size() - (reach - lead);
  const auto convolve_between_zeros = [&](std::size_t first, std::size_t last) {
    std::vector<T> padded(last - first + reach);
    const std::size_t front = first < lead ? lead - first : 0;
    const std::size_t begin = first + front - lead;
    const std::size_t end = std::min(signal.size(), begin + padded.size() - front);
    std::copy(signal.begin() + static_cast<std::ptrdiff_t>(begin),
              signal.begin() + static_cast<std::ptrdiff_t>(end),
              padded.begin() + static_cast<std::ptrdiff_t>(front));
    kernels::convolve_symmetric<T, Out>(padded, kernel, out.subspan(first, last - first));
  };
  if (lead >= inner_end) {
    convolve_between_zeros(0, signal.size());
    return;
  }
  convolve_between_zeros(0, lead);
  kernels::convolve_symmetric<T, Out>(signal, kernel, out.subspan(lead, inner_end - lead));
  convolve_between_zeros(inner_end, signal.size());
}

}  // namespace orn::fmcw_demod_lib::basefunc
