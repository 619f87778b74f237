#include "twiddles.h"

#include <bit>
#include <cmath>
#include <numbers>

namespace orn::common_lib {

// The angle is reduced to at most pi / 4 in integers, so that multiples of a quarter turn are
// exact.
std::complex<double> twiddle(std::uint64_t k, std::uint64_t n) {
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

template <class T>
void fill_twiddles(std::span<std::complex<T>> table) {
  const std::size_t n = table.size();
  if (n % 4 != 0) {
    for (std::size_t k = 0; k <= n / 2; ++k) {
      table[k] = std::complex<T>(twiddle(k, n));
    }
    for (std::size_t k = n / 2 + 1; k < n; ++k) {
      table[k] = std::conj(table[n - k]);
    }
    return;
  }
  // What symmetry gives is not computed. The quarter q of twiddle() holds k from q n / 4 - n / 8, included, to q n / 4 + n / 8.
  // Within it the root is a quarter turn's power times that of k - q n / 4, of which the sign goes
  // with the sine.
  const std::size_t quarter = n / 4;
  const std::size_t eighth = n / 8;
  for (std::size_t k = 0; k <= eighth; ++k) {
    const std::complex<T> below(twiddle(n - k, n));  // cosine and sine of a positive angle
    const T c = below.real();
    const T s = k == 0 ? T(0) : below.imag();
    const bool inside = 8 * k < n;
    if (inside) {
      table[k] = {c, -s};
      table[quarter + k] = {-s, -c};
      table[2 * quarter + k] = {-c, s};
      table[3 * quarter + k] = {s, c};
    }
    if (k != 0) {
      table[n - k] = {c, s};
      table[quarter - k] = {s, -c};
      table[2 * quarter - k] = {-c, -s};
      table[3 * quarter - k] = {-s, c};
    }
  }
}

template void fill_twiddles(std::span<std::complex<float>>);
template void fill_twiddles(std::span<std::complex<double>>);

twiddle_products_t::twiddle_products_t(std::uint64_t n)
    : shift_(static_cast<unsigned>(std::bit_width(n)) / 2),
      fine_(std::size_t{1} << shift_),
      coarse_((n >> shift_) + 1) {
  for (std::size_t k = 0; k < fine_.size(); ++k) {
    fine_[k] = twiddle(k, n);
  }
  for (std::size_t k = 0; k < coarse_.size(); ++k) {
    coarse_[k] = twiddle(std::uint64_t{k} << shift_, n);
  }
}

}  // namespace orn::common_lib
