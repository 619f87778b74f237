#pragma once

namespace orn::fmcw_host {

/// A complex number without the special cases of std::complex, whose products look for NaN.
struct plane_t {
  double re = 0.0;
  double im = 0.0;
};

inline plane_t operator*(plane_t a, plane_t b) {
  return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}

inline plane_t operator+(plane_t a, plane_t b) { return {a.re + b.re, a.im + b.im}; }

// Both use sums, products and quotients alone, so that they give the same bits on every machine; the
// C library's functions choose their arithmetic by the processor.

/// The point of the unit circle at an angle, to 2 units in the last place of 1.
///
/// turns  finite; of large values the whole turns are dropped, exactly
plane_t phasor_of(double turns);

/// The angle of a point in turns, -0.5 to 0.5, to 2 units in the last place; 0 of the origin, NaN
/// of a point that is not finite.
double turns_of(plane_t point);

}  // namespace orn::fmcw_host
