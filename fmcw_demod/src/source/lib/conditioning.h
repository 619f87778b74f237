#pragma once

#include <cstddef>
#include <span>

namespace orn::fmcw_demod_lib {

/// Lengths of the triangular windows that smooth the frequency traces and the slope that boundaries
/// are found in [samples].
constexpr int frequency_smoothing = 37;
constexpr int slope_smoothing = 256;

/// Stands for the power of nothing [dBm].
constexpr float no_power_dbm = -300.0F;

/// What a slope in Hz/s is multiplied by where records hold kHz/us.
constexpr double to_khz_per_us = 1e-9;

/// 10 log10(|x|^2 / impedance * 1000) [dBm].
double power_dbm(double squared_magnitude, float impedance);

/// Mean power [dBm] from the sum of |x|^2 over `count` samples; no_power_dbm for none.
double mean_power_dbm(double sum_of_squares, std::size_t count, float impedance);

/// The value in the middle of ascending order, NaNs last: the upper one of the two for an even
/// count, 0 for no values.
float upper_median(std::span<const float> values);

}  // namespace orn::fmcw_demod_lib
