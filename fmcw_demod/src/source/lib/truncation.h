#pragma once

#include <cmath>
#include <concepts>
#include <limits>
#include <optional>

namespace orn::fmcw_demod_lib {

/// `value` truncated toward zero, or nothing when no Integer holds that: NaN, or out of range. A
/// plain conversion is undefined there.
template <std::integral Integer>
std::optional<Integer> truncated(double value) noexcept {
  // Both ends are powers of two or zero, hence exact as doubles; the upper one is excluded.
  constexpr auto lowest = static_cast<double>(std::numeric_limits<Integer>::min());
  const double end = std::ldexp(1.0, std::numeric_limits<Integer>::digits);
  const double whole = std::trunc(value);
  if (whole >= lowest && whole < end) {
    return static_cast<Integer>(whole);
  }
  return std::nullopt;
}

}  // namespace orn::fmcw_demod_lib
