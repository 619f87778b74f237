#pragma once

#include "point.h"

#include <memory/scratch.h>

#include <complex>
#include <cstddef>
#include <cstdint>
#include <span>

namespace orn::common_lib {

/// exp(-2 pi i k / n), good to the last bit or two of double. 8 k must fit.
std::complex<double> twiddle(std::uint64_t k, std::uint64_t n);

/// exp(-2 pi i k / n), n being the table's size, for all k: the values of twiddle(), signs of zeros
/// included, rounded to T.
template <class T>
void fill_twiddles(std::span<std::complex<T>> table);

/// exp(-2 pi i k / n) for many k: each the product of two of about 2 sqrt(n) twiddles, within 4e-16.
class twiddle_products_t {
 public:
  explicit twiddle_products_t(std::uint64_t n);

  /// k  below n
  point_t<double> operator()(std::uint64_t k) const {
    return point(coarse_[k >> shift_]) * point(fine_[k & (fine_.size() - 1)]);
  }

 private:
  unsigned shift_;
  memory::scratch_t<std::complex<double>> fine_;    ///< k = 0 ... 2^shift - 1
  memory::scratch_t<std::complex<double>> coarse_;  ///< multiples of 2^shift
};

}  // namespace orn::common_lib
