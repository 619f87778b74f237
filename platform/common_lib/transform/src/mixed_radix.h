#pragma once

#include "series.h"

#include <memory/planes.h>
#include <memory/scratch.h>

#include <complex>
#include <cstddef>
#include <vector>

namespace orn::common_lib {

/// Smallest length at or above `minimum`, which is at least 1, of the fastest transforms: no prime
/// factor but 2, 3 and 5.
std::size_t smooth_length(std::size_t minimum);

/// Forward DFT of lengths whose prime factors are all small: mixed radix, self-sorting passes
/// (Stockham, decimation in frequency). T is the precision of the data and of every operation.
template <class T>
class mixed_radix_dft_t {
 public:
  /// True when every prime factor of `length` has a butterfly: 2, 3 and 5, and in single precision
  /// 7, 11 and 13 as well.
  static bool serves(std::size_t length);

  /// length  number of points, at least 1, with serves(length)
  explicit mixed_radix_dft_t(std::size_t length);

  std::size_t length() const { return twiddles_.size(); }

  /// Transforms `data`, lanes times length() points, in place.
  void forward(memory::planes_t<T>& data, std::size_t lanes) {
    forward(interleaved_t<T>{data.re.data(), data.im.data()}, data, lanes);
  }

  /// Transforms `series`, of length() elements, into `data`, which has the size for them and may be
  /// what they are read from.
  template <class Series>
  void forward(const Series& series, memory::planes_t<T>& data, std::size_t lanes);

 private:
  std::vector<std::size_t> radices_;             ///< one per pass; their product is the length
  memory::scratch_t<std::complex<T>> twiddles_;  ///< exp(-2 pi i k / length)
  memory::planes_t<T> passed_;                   ///< a pass reads one buffer and writes the other
};

}  // namespace orn::common_lib
