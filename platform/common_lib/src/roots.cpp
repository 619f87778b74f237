#include "roots.h"

#include <bit>
#include <cmath>
#include <numbers>

namespace orn::common_lib {

// The angle is reduced to at most pi / 4 in integers, so that multiples of a quarter turn are
// exact.
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

roots_of_unity_t::roots_of_unity_t(std::uint64_t n)
    : shift_(static_cast<unsigned>(std::bit_width(n)) / 2),
      fine_(std::size_t{1} << shift_),
      coarse_((n >> shift_) + 1) {
  for (std::size_t k = 0; k < fine_.size(); ++k) {
    fine_[k] = root_of_unity(k, n);
  }
  for (std::size_t k = 0; k < coarse_.size(); ++k) {
    coarse_[k] = root_of_unity(std::uint64_t{k} << shift_, n);
  }
}

}  // namespace orn::common_lib
