#pragma once

#include "point.h"
#include "scratch.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>

/// What Bluestein's algorithm needs at any length. With k n = (k^2 + n^2 - (k - n)^2) / 2 and
/// c[k] = exp(-pi i k^2 / N), the transform becomes X[k] = c[k] sum over n of (x[n] c[n])
/// conj(c[k - n]): a convolution, made cyclic by zeros (Bluestein, IEEE Trans. Audio Electroacoust.
/// 18 (1970), 451).
namespace orn::common_lib {

/// Both planes from element `at` on. T is const where they are only read.
template <class T>
struct plane_pointers_t {
  using planes_type =
      std::conditional_t<std::is_const_v<T>, const planes_t<std::remove_const_t<T>>, planes_t<T>>;
  explicit plane_pointers_t(planes_type& planes, std::size_t at = 0)
      : re(planes.re.data() + at), im(planes.im.data() + at) {}
  plane_pointers_t(T* real, T* imaginary) : re(real), im(imaginary) {}
  T* re;
  T* im;
};
using source_t = plane_pointers_t<const double>;
using sink_t = plane_pointers_t<double>;

/// The chirp c. root(j) is exp(-pi i j / length) as a point, for j below 2 * length.
template <class Root>
planes_t<double> make_chirp(std::size_t length, const Root& root) {
  planes_t<double> chirp;
  chirp.resize(length);
  // (N - k)^2 is k^2 modulo 2 N for an even N, k^2 + N, half a turn more, for an odd one.
  const double mirrored = length % 2 == 0 ? 1.0 : -1.0;
  std::uint64_t square = 0;  // k^2 modulo 2 N
  for (std::size_t k = 0; k <= length / 2; ++k) {
    const point_t<double> c = root(square);
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

}  // namespace orn::common_lib
