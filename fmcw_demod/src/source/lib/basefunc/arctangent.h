#pragma once

#include "dispatch.h"
#include "vector.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>

namespace orn::fmcw_demod_lib::kernels {

/// Angle of the point (x, y) [rad], -pi to pi: the classic single-precision evaluation (argument
/// reduction around 0, 1/2, 1, 3/2 and infinity, then an odd polynomial with the even and the odd
/// coefficients summed apart; cf. W. J. Cody and W. Waite, Software Manual for the Elementary
/// Functions, 1980, chapter 11). Written out, for the platform's atan2f is free to round
/// differently, and without branches, so that loops over it are vectorised.
ORN_KERNEL inline float arctangent(float y, float x) noexcept {
  using common_lib::both;
  using common_lib::either;
  const float ay = std::fabs(y);
  const float ax = std::fabs(x);
  constexpr float infinity = std::numeric_limits<float>::infinity();
  const bool left = std::bit_cast<std::int32_t>(x) < 0;  // a negative zero is left as well
  const bool origin = both(ax == 0.0F, ay == 0.0F);
  const bool diagonal = both(ax == infinity, ay == infinity);
  const bool vertical = either(both(ax == 0.0F, ay > 0.0F), both(ax < infinity, ay == infinity));
  float t = ay / ax;
  t = origin ? 0.0F : t;
  t = diagonal ? 1.0F : t;

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
  float angle = above_0 ? centre - ((correction - centre_error) - r) : r - correction;
  angle = t < 0x1p-29F ? t : angle;
  angle = t >= 0x1p25F ? 1.5707962513e+00F + 7.5497894159e-08F : angle;

  // How many powers of two |y| lies above |x|.
  const std::int32_t steepness =
      (std::bit_cast<std::int32_t>(ay) - std::bit_cast<std::int32_t>(ax)) >> 23;
  constexpr float half_pi = 1.5707963705e+00F;
  constexpr float pi = 3.1415927410e+00F;
  constexpr float pi_error = -8.7422776573e-08F;
  angle = steepness > 60 ? half_pi : angle;
  angle = both(left, steepness < -60) ? 0.0F : angle;
  angle = left ? pi - (angle - pi_error) : angle;
  angle = both(left, diagonal) ? 2.3561945e+00F : angle;
  angle = vertical ? half_pi : angle;
  angle = t == t ? angle : t;  // a NaN
  return std::copysign(angle, y);
}

}  // namespace orn::fmcw_demod_lib::kernels
