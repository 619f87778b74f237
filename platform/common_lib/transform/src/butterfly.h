#pragma once

#include "point.h"

#include <array>
#include <cstddef>
#include <numbers>

namespace orn::common_lib {

/// In-place DFT of Radix points, the innermost step of a pass. `roots` holds exp(-2 pi i k / Radix)
/// and serves odd radices only. A value is a number or a register full of them.
template <std::size_t Radix, class Value, class T>
ORN_KERNEL inline void butterfly(std::array<point_t<Value>, Radix>& a,
                                 [[maybe_unused]] const std::array<point_t<T>, Radix>& roots) {
  if constexpr (Radix == 1) {
    return;
  } else if constexpr (Radix == 2) {
    a = {a[0] + a[1], a[0] - a[1]};
  } else if constexpr (Radix == 4) {
    const auto sum_even = sum_by_product(a[0], a[2]);
    const auto difference_even = a[0] - a[2];
    const auto sum_odd = sum_by_product(a[1], a[3]);
    const auto difference_odd = times_minus_i(a[1] - a[3]);
    a = {sum_even + sum_odd, difference_even + difference_odd, sum_even - sum_odd,
         difference_even - difference_odd};
  } else if constexpr (Radix == 8) {
    std::array<point_t<Value>, 4> even = {a[0], a[2], a[4], a[6]};
    std::array<point_t<Value>, 4> odd = {a[1], a[3], a[5], a[7]};
    butterfly<4, Value, T>(even, {});
    butterfly<4, Value, T>(odd, {});
    constexpr T half_root = std::numbers::sqrt2_v<T> / 2;
    odd[1] = {(odd[1].re + odd[1].im) * half_root, (odd[1].im - odd[1].re) * half_root};
    odd[2] = times_minus_i(odd[2]);
    odd[3] = {(odd[3].im - odd[3].re) * half_root, (-odd[3].re - odd[3].im) * half_root};
    a = {sum_by_product(even[0], odd[0]),
         sum_by_product(even[1], odd[1]),
         sum_by_product(even[2], odd[2]),
         sum_by_product(even[3], odd[3]),
         even[0] - odd[0],
         even[1] - odd[1],
         even[2] - odd[2],
         even[3] - odd[3]};
  } else {
    // The points pair up: a[j] and a[Radix - j] meet conjugate roots in every bin, so cosines go
    // with their sum and sines with their difference, and bins k and Radix - k share both.
    constexpr std::size_t pairs = (Radix - 1) / 2;
    std::array<point_t<Value>, pairs> sum;
    std::array<point_t<Value>, pairs> difference;
    for (std::size_t j = 0; j < pairs; ++j) {
      sum[j] = a[j + 1] + a[Radix - 1 - j];
      difference[j] = times_minus_i(a[j + 1] - a[Radix - 1 - j]);
    }
    const point_t<Value> first = a[0];
    for (std::size_t j = 0; j < pairs; ++j) {
      a[0] = a[0] + sum[j];
    }
    for (std::size_t k = 1; k <= pairs; ++k) {
      point_t<Value> even = first;
      point_t<Value> odd = {};
      for (std::size_t j = 0; j < pairs; ++j) {
        const point_t<T> root = roots[k * (j + 1) % Radix];
        even = even + scaled(sum[j], root.re);
        odd = odd - scaled(difference[j], root.im);
      }
      a[k] = even + odd;
      a[Radix - k] = even - odd;
    }
  }
}

}  // namespace orn::common_lib
