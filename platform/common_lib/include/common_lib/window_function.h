#pragma once

#include <common_lib/export.h>

#include <complex>
#include <vector>

namespace orn::common_lib {

/// Windows for spectral analysis.
class COMMON_LIB_EXPORT lib_window_function_t {
 public:
  /// Hamming window, w[i] = 0.54 - 0.46 cos(2 pi i / D), evaluated in double and rounded to float.
  ///
  /// window     replaced by `length` coefficients in the real parts, imaginary parts zero
  /// length     number of coefficients M; a window of one coefficient is 1
  /// symmetric  true: D = M - 1, first and last coefficient equal; false: D = M (periodic form)
  static void generate_hamming_window(std::vector<std::complex<float>>& window, unsigned length,
                                      bool symmetric);
};

}  // namespace orn::common_lib
