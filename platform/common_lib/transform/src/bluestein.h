#pragma once

#include "mixed_radix.h"
#include "point.h"

#include <memory/planes.h>

#include <cstddef>
#include <cstdint>

namespace orn::common_lib {

/// The chirp of Bluestein's algorithm: with k n = (k^2 + n^2 - (k - n)^2) / 2 and c[k] = exp(-pi i
/// k^2 / N) the transform becomes X[k] = c[k] sum over n of (x[n] c[n]) conj(c[k - n]), a
/// convolution, made cyclic by zeros (Bluestein, IEEE Trans. Audio Electroacoust. 18 (1970), 451).
///
/// twiddle(j) is exp(-pi i j / length) as a point, for j below 2 * length.
template <class Twiddle>
memory::planes_t<double> make_chirp(std::size_t length, const Twiddle& twiddle) {
  memory::planes_t<double> chirp;
  chirp.resize(length);
  // (N - k)^2 is k^2 modulo 2 N for an even N, k^2 + N, half a turn more, for an odd one.
  const double mirrored = length % 2 == 0 ? 1.0 : -1.0;
  std::uint64_t square = 0;  // k^2 modulo 2 N
  for (std::size_t k = 0; k <= length / 2; ++k) {
    const point_t<double> c = twiddle(square);
    chirp.re[k] = c.re;
    chirp.im[k] = c.im;
    if (k != 0) {
      chirp.re[length - k] = mirrored * c.re;
      chirp.im[length - k] = mirrored * c.im;
    }
    square += 2 * k + 1;
    square -= square < 2 * length ? 0 : 2 * length;
  }
  return chirp;
}

/// Forward DFT of any length by Bluestein's algorithm: the DFT written as a convolution with a
/// chirp, which mixed-radix transforms of a longer length carry out. Double precision inside, since
/// three transforms in a row would treble the rounding error of single precision.
class bluestein_dft_t {
 public:
  /// length  number of points, at least 1
  explicit bluestein_dft_t(std::size_t length);

  /// Transforms `series` into `data`, lanes times `length` points, which may be what they are read
  /// from.
  template <class Series>
  void forward(const Series& series, memory::planes_t<float>& data, std::size_t lanes);

 private:
  mixed_radix_dft_t<double> dft_;       ///< of the padded length
  memory::planes_t<double> chirp_;      ///< exp(-pi i k^2 / length)
  memory::planes_t<double> kernel_;     ///< spectrum of the conjugate chirp, scaled
  memory::planes_t<double> convolved_;  ///< work buffer of the padded length
};

}  // namespace orn::common_lib
