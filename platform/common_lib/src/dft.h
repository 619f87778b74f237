#pragma once

#include <complex>
#include <cstddef>
#include <span>
#include <variant>
#include <vector>

namespace orn::common_lib {

/// Forward DFT of lengths whose prime factors are all small: mixed radix, self-sorting passes
/// (Stockham, decimation in frequency). T is the precision of the data and of every operation.
template <class T>
class mixed_radix_dft_t {
 public:
  /// True when every prime factor of `length` has a butterfly.
  static bool serves(std::size_t length);

  /// length  number of points, at least 1, with serves(length)
  explicit mixed_radix_dft_t(std::size_t length);

  /// Transforms `data`, exactly `length` points, in place.
  void forward(std::span<std::complex<T>> data);

 private:
  std::vector<std::size_t> radices_;      ///< one per pass; their product is the length
  std::vector<std::complex<T>> roots_;    ///< exp(-2 pi i k / length), k = 0 ... length - 1
  std::vector<std::complex<T>> scratch_;  ///< a pass reads one buffer and writes the other
};

/// Forward DFT of any length by Bluestein's algorithm: the DFT written as a convolution with a
/// chirp, which mixed-radix transforms of a longer length carry out. Double precision inside, since
/// three transforms in a row would treble the rounding error of single precision.
class bluestein_dft_t {
 public:
  /// length  number of points, at least 1
  explicit bluestein_dft_t(std::size_t length);

  /// Transforms `data`, exactly `length` points, in place.
  void forward(std::span<std::complex<float>> data);

 private:
  std::vector<std::complex<double>> chirp_;      ///< exp(-pi i k^2 / length)
  std::vector<std::complex<double>> convolved_;  ///< work buffer of the padded length
  std::vector<std::complex<double>> kernel_;     ///< spectrum of the conjugate chirp, scaled
  mixed_radix_dft_t<double> dft_;                ///< of the padded length
};

/// Forward DFT of any length on single-precision samples, unnormalised, with the tables and the
/// scratch memory of a series of transforms of that length. One object serves one thread at a time.
class dft_t {
 public:
  /// length  number of points, at least 1
  explicit dft_t(std::size_t length);

  /// Transforms `data`, exactly `length` points, in place.
  void forward(std::span<std::complex<float>> data);

 private:
  using method_t = std::variant<mixed_radix_dft_t<float>, bluestein_dft_t>;
  method_t method_;
};

}  // namespace orn::common_lib
