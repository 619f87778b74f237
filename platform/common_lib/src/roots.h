#pragma once

#include "point.h"
#include "scratch.h"

#include <complex>
#include <cstddef>
#include <cstdint>

namespace orn::common_lib {

/// exp(-2 pi i k / n), good to the last bit or two of double. 8 k must fit.
std::complex<double> root_of_unity(std::uint64_t k, std::uint64_t n);

/// exp(-2 pi i k / n) for many k: each the product of two of about 2 sqrt(n) roots, within 4e-16.
class roots_of_unity_t {
 public:
  explicit roots_of_unity_t(std::uint64_t n);

  /// k  below n
  point_t<double> operator()(std::uint64_t k) const {
    return point(coarse_[k >> shift_]) * point(fine_[k & (fine_.size() - 1)]);
  }

 private:
  unsigned shift_;
  scratch_t<std::complex<double>> fine_;    ///< k = 0 ... 2^shift - 1
  scratch_t<std::complex<double>> coarse_;  ///< multiples of 2^shift
};

}  // namespace orn::common_lib
