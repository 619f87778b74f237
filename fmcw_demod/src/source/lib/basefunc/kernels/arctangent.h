#pragma once

#include <simd/dispatch.h>

#include <cmath>
#include <limits>

namespace orn::fmcw_demod_lib::kernels {

/// atan(t) [rad] for t from 0 on by the classic single-precision evaluation: argument reduction
/// around 0, 1/2, 1, 3/2 and infinity, then an odd polynomial with the even and the odd
/// coefficients summed apart (cf. W. J. Cody and W. Waite, Software Manual for the Elementary
/// Functions, 1980, chapter 11). Written out, for the platform's functions are free to round
/// differently, and without branches, so that loops over it are vectorised.
ORN_KERNEL inline float arctangent(float t) noexcept {
  // atan(t) = atan(c) + atan((t - c) / (1 + c t)) for the centres c = 0, 1/2, 1, 3/2, infinity.
  const bool above_0 = t >= 0.4375F;
  const bool above_half = t >= 0.6875F;
  const bool above_1 = t >= 1.1875F;
  const bool above_3_halves = t >= 2.4375F;
  const float doubled = 2.0F * t - 1.0F;
  float numerator = t;
  numerator = above_0 ? doubled : numerator;
  numerator = above_half ? t - 1.0F : numerator;
  numerator = above_1 ? t - 1.5F : numerator;
  numerator = above_3_halves ? -1.0F : numerator;
  float denominator = 1.0F;
  denominator = above_0 ? 2.0F + t : denominator;
  denominator = above_half ? t + 1.0F : denominator;
  denominator = above_1 ? 1.0F + 1.5F * t : denominator;
  denominator = above_3_halves ? t : denominator;
  // The arctangents of the centres, each as a float and its error.
  float centre = 0.0F;
  centre = above_0 ? 4.6364760399e-01F : centre;
  centre = above_half ? 7.8539812565e-01F : centre;
  centre = above_1 ? 9.8279368877e-01F : centre;
  centre = above_3_halves ? 1.5707962513e+00F : centre;
  float centre_error = 0.0F;
  centre_error = above_0 ? 5.0121582440e-09F : centre_error;
  centre_error = above_half ? 3.7748947079e-08F : centre_error;
  centre_error = above_1 ? 3.4473217170e-08F : centre_error;
  centre_error = above_3_halves ? 7.5497894159e-08F : centre_error;

  const float r = numerator / denominator;
  const float z = r * r;
  const float w = z * z;
  const float even =
      z * (3.3333334327e-01F +
           w * (1.4285714924e-01F +
                w * (9.0908870101e-02F +
                     w * (6.6610731184e-02F + w * (4.9768779427e-02F + w * 1.6285819933e-02F)))));
  const float odd =
      w * (-2.0000000298e-01F +
           w * (-1.1111110449e-01F +
                w * (-7.6918758452e-02F + w * (-5.8335702866e-02F + w * -3.6531571299e-02F))));
  const float correction = r * (even + odd);
  return above_0 ? centre - ((correction - centre_error) - r) : r - correction;
}

/// pi less an angle, pi as a float and its error.
ORN_KERNEL inline float supplement(float angle) noexcept {
  constexpr float pi = 3.1415927410e+00F;
  constexpr float pi_error = -8.7422776573e-08F;
  return pi - (angle - pi_error);
}

/// True for points off the vertical axis, |y| < 2^25 |x|: no zero by zero, no infinite y, no NaN.
ORN_KERNEL inline bool is_off_vertical(float y, float x) noexcept {
  return std::fabs(y) / std::fabs(x) < 0x1p25F;
}

/// Angle [rad] of the point (x, y), which is off the vertical axis, -pi to pi.
ORN_KERNEL inline float arctangent_off_vertical(float y, float x) noexcept {
  const float angle = arctangent(std::fabs(y) / std::fabs(x));
  return std::copysign(x < 0.0F ? supplement(angle) : angle, y);
}

/// Angle [rad] of any other point, the origin and infinite ones included; a NaN if a part is one.
ORN_KERNEL inline float arctangent_at_vertical(float y, float x) noexcept {
  constexpr float half_pi = 1.5707963705e+00F;
  if (std::isnan(x) || std::isnan(y)) {
    return std::numeric_limits<float>::quiet_NaN();
  }
  const bool left = std::signbit(x);
  float angle = half_pi;
  if (y == 0.0F) {
    angle = left ? 2 * half_pi : 0.0F;
  } else if (std::isinf(x)) {
    angle = left ? 1.5F * half_pi : 0.5F * half_pi;
  } else if (left && x != 0.0F && !std::isinf(y)) {
    angle = supplement(half_pi);
  }
  return std::copysign(angle, y);
}

/// Angle of any point (x, y) [rad], -pi to pi.
ORN_KERNEL inline float arctangent(float y, float x) noexcept {
  return is_off_vertical(y, x) ? arctangent_off_vertical(y, x) : arctangent_at_vertical(y, x);
}

}  // namespace orn::fmcw_demod_lib::kernels
