#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace orn::fmcw_host {

/// Polynomials fitted by least squares to n equidistant values, over x from -1 to 1: value i lies at
/// x = (2i + 1 - n) / n. In Legendre polynomials P0 to P3, which are all but orthogonal over such
/// places, so that the equations are well-conditioned for any n.
struct cubic_fit_t {
  /// Of the best polynomial of second degree, and their covariances for values of variance 1.
  std::array<double, 3> quadratic = {};
  std::array<std::array<double, 3>, 3> covariance = {};

  double cubic = 0.0;              ///< of P3 in the best polynomial of third degree
  double cubic_variance = 0.0;     ///< likewise for values of variance 1
  std::array<double, 4> all = {};  ///< that polynomial
  std::size_t count = 0;           ///< values that it was fitted to; below 8: everything is NaN

  double quadratic_at(double x) const;
  double cubic_at(double x) const;
};

/// Fits to the values whose `kept` is not 0.
cubic_fit_t fit_cubic(std::span<const double> values, std::span<const std::uint8_t> kept);

/// Fits, leaves out what lies farther from the cubic than 5 standard deviations, told from the
/// median distance, or `least` where that is more, and fits again until nothing changes, three times
/// at most. Of 10^4 normal values less than 0.01 are left out.
///
/// kept  in: the values that there are; out: those that the last fit used
cubic_fit_t fit_robustly(std::span<const double> values, std::vector<std::uint8_t>& kept,
                         double least);

/// Place of value i of n, -1 to 1.
inline double place_of(std::size_t i, std::size_t n) {
  return (2.0 * static_cast<double>(i) + 1.0 - static_cast<double>(n)) / static_cast<double>(n);
}

}  // namespace orn::fmcw_host
