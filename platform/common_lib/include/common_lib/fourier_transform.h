#pragma once

#include <common_lib/export.h>

#include <complex>
#include <vector>

namespace orn::common_lib {

/// Discrete Fourier transform of single-precision samples. Both operations keep no state: any
/// number of threads may call them at once.
class COMMON_LIB_EXPORT lib_fourier_transform_t {
 public:
  /// Forward transform in place, unnormalised: X[k] = sum over n of x[n] exp(-2 pi i k n / N).
  ///
  /// data  the samples; replaced by the N bins, bin 0 (zero frequency) first
  /// size  transform length N; 0 means data.size(). When N differs from data.size(), data is cut to
  ///       N samples or filled up with zeros first.
  ///
  /// Any length in O(N log N), large primes included. An empty vector stays empty. Throws
  /// std::bad_alloc when there is no memory for tables and scratch.
  static void deal_fft(std::vector<std::complex<float>>& data, unsigned size);

  /// Moves the zero-frequency bin from index 0 to index N / 2, negative frequencies first.
  static void fft_shift(std::vector<std::complex<float>>& data);
};

}  // namespace orn::common_lib
