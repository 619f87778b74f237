#include "dft.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <numbers>

namespace orn::common_lib {
namespace {

/// Primes with a butterfly besides 2, which is taken in radices 8, 4 and 2.
constexpr std::array<std::size_t, 5> odd_radices = {3, 5, 7, 11, 13};

/// exp(-2 pi i k / n). The angle is reduced to at most pi / 4 in integers, so that multiples of a
/// quarter turn are exact and the result is good to the last bit or two of double. 8 k must fit.
std::complex<double> root_of_unity(std::uint64_t k, std::uint64_t n) {
  const std::uint64_t quarter = (8 * k + n) / (2 * n);
  const auto remainder = static_cast<std::int64_t>(4 * k - quarter * n);
  const double angle =
      0.5 * std::numbers::pi * (static_cast<double>(remainder) / static_cast<double>(n));
  const double c = std::cos(angle);
  const double s = std::sin(angle);
  switch (quarter % 4) {
    case 0:
      return {c, -s};
    case 1:
      return {-s, -c};
    case 2:
      return {-c, s};
    default:
      return {s, c};
  }
}

// std::complex multiplication checks for NaN and repairs infinities; a transform wants neither.
template <class T>
std::complex<T> product(std::complex<T> a, std::complex<T> b) {
  return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

template <class T>
std::complex<T> times_minus_i(std::complex<T> a) {
  return {a.imag(), -a.real()};
}

/// In-place DFT of Radix points, the innermost step of a pass. `roots` holds exp(-2 pi i k / Radix)
/// and serves odd radices only.
template <std::size_t Radix, class T>
void butterfly(std::array<std::complex<T>, Radix>& a,
               [[maybe_unused]] const std::array<std::complex<T>, Radix>& roots) {
  if constexpr (Radix == 2) {
    a = {a[0] + a[1], a[0] - a[1]};
  } else if constexpr (Radix == 4) {
    const auto sum_even = a[0] + a[2];
    const auto difference_even = a[0] - a[2];
    const auto sum_odd = a[1] + a[3];
    const auto difference_odd = times_minus_i(a[1] - a[3]);
    a = {sum_even + sum_odd, difference_even + difference_odd, sum_even - sum_odd,
         difference_even - difference_odd};
  } else if constexpr (Radix == 8) {
    std::array<std::complex<T>, 4> even = {a[0], a[2], a[4], a[6]};
    std::array<std::complex<T>, 4> odd = {a[1], a[3], a[5], a[7]};
    butterfly<4, T>(even, {});
    butterfly<4, T>(odd, {});
    constexpr T half_root = std::numbers::sqrt2_v<T> / 2;
    odd[1] = {(odd[1].real() + odd[1].imag()) * half_root,
              (odd[1].imag() - odd[1].real()) * half_root};
    odd[2] = times_minus_i(odd[2]);
    odd[3] = {(odd[3].imag() - odd[3].real()) * half_root,
              (-odd[3].real() - odd[3].imag()) * half_root};
    for (std::size_t k = 0; k < 4; ++k) {
      a[k] = even[k] + odd[k];
      a[k + 4] = even[k] - odd[k];
    }
  } else {
    // The points pair up: a[j] and a[Radix - j] meet conjugate roots in every bin, so cosines go
    // with their sum and sines with their difference, and bins k and Radix - k share both.
    constexpr std::size_t pairs = (Radix - 1) / 2;
    std::array<std::complex<T>, pairs> sum;
    std::array<std::complex<T>, pairs> difference;
    for (std::size_t j = 0; j < pairs; ++j) {
      sum[j] = a[j + 1] + a[Radix - 1 - j];
      difference[j] = times_minus_i(a[j + 1] - a[Radix - 1 - j]);
    }
    const std::complex<T> first = a[0];
    for (std::size_t j = 0; j < pairs; ++j) {
      a[0] += sum[j];
    }
    for (std::size_t k = 1; k <= pairs; ++k) {
      std::complex<T> even = first;
      std::complex<T> odd = 0;
      for (std::size_t j = 0; j < pairs; ++j) {
        const std::complex<T> root = roots[k * (j + 1) % Radix];
        even += sum[j] * root.real();
        odd -= difference[j] * root.imag();
      }
      a[k] = even + odd;
      a[Radix - k] = even - odd;
    }
  }
}

/// One pass: `stride` interleaved transforms of `length` points each become Radix * stride
/// interleaved transforms of length / Radix points. `roots` is the table of length * stride points.
template <std::size_t Radix, class T>
void pass(std::span<const std::complex<T>> in, std::span<std::complex<T>> out, std::size_t stride,
          std::span<const std::complex<T>> roots) {
  const std::size_t length = in.size() / stride;
  const std::size_t columns = length / Radix;
  std::array<std::complex<T>, Radix> butterfly_roots;
  for (std::size_t k = 0; k < Radix; ++k) {
    butterfly_roots[k] = roots[k * columns * stride];
  }
  for (std::size_t column = 0; column < columns; ++column) {
    for (std::size_t q = 0; q < stride; ++q) {
      std::array<std::complex<T>, Radix> a;
      for (std::size_t r = 0; r < Radix; ++r) {
        a[r] = in[q + stride * (column + columns * r)];
      }
      butterfly<Radix, T>(a, butterfly_roots);
      out[q + stride * Radix * column] = a[0];
      for (std::size_t c = 1; c < Radix; ++c) {
        // Column 0 turns by nothing: multiplying by 1 + 0i would let one infinity spoil a bin
        // twice.
        out[q + stride * (Radix * column + c)] =
            column == 0 ? a[c] : product(a[c], roots[column * c * stride]);
      }
    }
  }
}

template <class T>
void pass_of(std::size_t radix, std::span<const std::complex<T>> in, std::span<std::complex<T>> out,
             std::size_t stride, std::span<const std::complex<T>> roots) {
  switch (radix) {
    case 2:
      return pass<2, T>(in, out, stride, roots);
    case 3:
      return pass<3, T>(in, out, stride, roots);
    case 4:
      return pass<4, T>(in, out, stride, roots);
    case 5:
      return pass<5, T>(in, out, stride, roots);
    case 7:
      return pass<7, T>(in, out, stride, roots);
    case 8:
      return pass<8, T>(in, out, stride, roots);
    case 11:
      return pass<11, T>(in, out, stride, roots);
    default:
      return pass<13, T>(in, out, stride, roots);
  }
}

/// Takes every factor `radix` out of `length` and returns what is left.
std::size_t without_factor(std::size_t length, std::size_t radix) {
  while (length % radix == 0) {
    length /= radix;
  }
  return length;
}

/// Radices of the passes: powers of two first and in eights, which do most work per visit of the
/// data, with fours or a two for what eights leave over.
std::vector<std::size_t> radices_of(std::size_t length) {
  int twos = std::countr_zero(length);
  std::vector<std::size_t> radices;
  for (; twos % 3 != 0 && twos > 1; twos -= 2) {
    radices.push_back(4);
  }
  if (twos == 1) {
    radices.push_back(2);
  }
  radices.insert(radices.end(), static_cast<std::size_t>(twos / 3), 8);
  for (const std::size_t radix : odd_radices) {
    for (; length % radix == 0; length /= radix) {
      radices.push_back(radix);
    }
  }
  return radices;
}

/// Smallest length at or above `minimum` with no prime factor but 2, 3 and 5.
std::size_t padded_length(std::size_t minimum) {
  std::size_t length = minimum;
  while (without_factor(without_factor(without_factor(length, 2), 3), 5) != 1) {
    ++length;
  }
  return length;
}

}  // namespace

template <class T>
bool mixed_radix_dft_t<T>::serves(std::size_t length) {
  length = without_factor(length, 2);
  for (const std::size_t radix : odd_radices) {
    length = without_factor(length, radix);
  }
  return length == 1;
}

template <class T>
mixed_radix_dft_t<T>::mixed_radix_dft_t(std::size_t length)
    : radices_(radices_of(length)), roots_(length), scratch_(length) {
  for (std::size_t k = 0; k < length; ++k) {
    roots_[k] = std::complex<T>(root_of_unity(k, length));
  }
}

template <class T>
void mixed_radix_dft_t<T>::forward(std::span<std::complex<T>> data) {
  std::span<std::complex<T>> from = data;
  std::span<std::complex<T>> to = scratch_;
  std::size_t stride = 1;
  for (const std::size_t radix : radices_) {
    pass_of<T>(radix, from, to, stride, roots_);
    stride *= radix;
    std::swap(from, to);
  }
  if (from.data() != data.data()) {
    std::copy(from.begin(), from.end(), data.begin());
  }
}

// With k n = (k^2 + n^2 - (k - n)^2) / 2 and c[k] = exp(-pi i k^2 / N), the transform becomes
// X[k] = c[k] sum over n of (x[n] c[n]) conj(c[k - n]): a convolution, made cyclic by zeros
// (Bluestein, IEEE Trans. Audio Electroacoust. 18 (1970), 451).
bluestein_dft_t::bluestein_dft_t(std::size_t length)
    : chirp_(length),
      convolved_(padded_length(2 * length - 1)),
      kernel_(convolved_.size()),
      dft_(convolved_.size()) {
  const double scale = 1.0 / static_cast<double>(kernel_.size());
  std::uint64_t square = 0;  // k^2 modulo 2 N
  for (std::size_t k = 0; k < length; ++k) {
    chirp_[k] = root_of_unity(square, 2 * length);
    kernel_[k] = std::conj(chirp_[k]) * scale;
    if (k != 0) {
      kernel_[kernel_.size() - k] = kernel_[k];
    }
    square = (square + 2 * k + 1) % (2 * length);
  }
  dft_.forward(kernel_);
}

void bluestein_dft_t::forward(std::span<std::complex<float>> data) {
  std::fill(convolved_.begin(), convolved_.end(), 0.0);
  for (std::size_t k = 0; k < data.size(); ++k) {
    convolved_[k] = product(std::complex<double>(data[k]), chirp_[k]);
  }
  dft_.forward(convolved_);
  // The inverse transform is the forward one between two conjugations.
  for (std::size_t k = 0; k < convolved_.size(); ++k) {
    convolved_[k] = std::conj(product(convolved_[k], kernel_[k]));
  }
  dft_.forward(convolved_);
  for (std::size_t k = 0; k < data.size(); ++k) {
    data[k] = std::complex<float>(product(std::conj(convolved_[k]), chirp_[k]));
  }
}

dft_t::dft_t(std::size_t length)
    : method_(mixed_radix_dft_t<float>::serves(length)
                  ? method_t(std::in_place_type<mixed_radix_dft_t<float>>, length)
                  : method_t(std::in_place_type<bluestein_dft_t>, length)) {}

void dft_t::forward(std::span<std::complex<float>> data) {
  if (auto* const mixed_radix = std::get_if<mixed_radix_dft_t<float>>(&method_)) {
    mixed_radix->forward(data);
  } else if (auto* const bluestein = std::get_if<bluestein_dft_t>(&method_)) {
    bluestein->forward(data);
  }
}

}  // namespace orn::common_lib
