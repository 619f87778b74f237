#include "common/fit/angle.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace orn::fmcw_host {
namespace {

constexpr double two_pi = 2.0 * std::numbers::pi;

/// Taylor series of the sine over x, and of the cosine, in x^2; |x| up to pi / 4.
constexpr std::array sine_series = {1.0,
                                    -1.0 / 6.0,
                                    1.0 / 120.0,
                                    -1.0 / 5040.0,
                                    1.0 / 362880.0,
                                    -1.0 / 39916800.0,
                                    1.0 / 6227020800.0,
                                    -1.0 / 1307674368000.0};
constexpr std::array cosine_series = {1.0,
                                      -1.0 / 2.0,
                                      1.0 / 24.0,
                                      -1.0 / 720.0,
                                      1.0 / 40320.0,
                                      -1.0 / 3628800.0,
                                      1.0 / 479001600.0,
                                      -1.0 / 87178291200.0,
                                      1.0 / 20922789888000.0};

/// And of the arctangent over x; |x| up to 1 / 8.
constexpr std::array arctangent_series = {1.0,       -1.0 / 3.0,  1.0 / 5.0,  -1.0 / 7.0,
                                          1.0 / 9.0, -1.0 / 11.0, 1.0 / 13.0, -1.0 / 15.0};

/// Arctangent of k / 4 [turns].
constexpr std::array quarter_arctangents = {0.0, 0.03898956518868466, 0.07379180882521663,
                                            0.10241638234956672, 0.125};

template <std::size_t terms>
double series(const std::array<double, terms>& coefficients, double x) {
  double sum = coefficients.back();
  for (std::size_t i = terms - 1; i-- > 0;) {
    sum = sum * x + coefficients[i];
  }
  return sum;
}

}  // namespace

plane_t phasor_of(double turns) {
  const double rest = turns - std::nearbyint(turns);
  const double quarters = std::nearbyint(4.0 * rest);
  const double x = two_pi * (rest - 0.25 * quarters);
  const double sine = x * series(sine_series, x * x);
  const double cosine = series(cosine_series, x * x);
  if (quarters == 1.0) {
    return {-sine, cosine};
  }
  if (quarters == -1.0) {
    return {sine, -cosine};
  }
  return std::abs(quarters) == 2.0 ? plane_t{-cosine, -sine} : plane_t{cosine, sine};
}

double turns_of(plane_t point) {
  const double re = std::abs(point.re);
  const double im = std::abs(point.im);
  const double longer = std::fmax(re, im);
  const double shorter = std::fmin(re, im);
  if (!std::isfinite(point.re + point.im)) {
    return std::nan("");
  }
  if (longer == 0.0) {
    return 0.0;
  }
  // arctan(s / l) = arctan(c) + arctan((s - c l) / (l + c s)) with c the quarter nearest s / l.
  const double ratio = shorter / longer;
  const auto k = static_cast<std::size_t>(std::nearbyint(4.0 * ratio));
  const double c = 0.25 * static_cast<double>(k);
  const double x = (ratio - c) / (1.0 + c * ratio);
  double turns = quarter_arctangents[k] + x * series(arctangent_series, x * x) / two_pi;
  turns = im > re ? 0.25 - turns : turns;
  turns = point.re < 0.0 ? 0.5 - turns : turns;
  return std::copysign(turns, point.im);
}

}  // namespace orn::fmcw_host
