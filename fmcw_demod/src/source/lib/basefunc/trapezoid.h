#pragma once

#include <simd/dispatch.h>

#include <numbers>

namespace orn::fmcw_demod_lib::kernels {

/// Trapezoid of frequency [Hz] as an angular rate [rad/s], (before + after) / 2 times 2 pi: halving
/// and doubling round nothing.
ORN_KERNEL inline double mean_angular_rate(float before, float after) {
  return static_cast<double>(after + before) * std::numbers::pi;
}

}  // namespace orn::fmcw_demod_lib::kernels
