#include "common/fit/record_slips.h"

#include <array>
#include <cmath>
#include <vector>

namespace orn::fmcw_host {
namespace {

constexpr std::size_t block = 32;

/// How far the phase comes in each whole block [turns].
std::vector<double> advances_of(std::span<const float> frequency, double rate) {
  constexpr std::size_t strands = 4;
  std::vector<double> advances(frequency.size() / block);
  for (std::size_t k = 0; k < advances.size(); ++k) {
    const float* const values = frequency.data() + k * block;
    std::array<double, strands> sums{};
    for (std::size_t i = 0; i < block; i += strands) {
      for (std::size_t r = 0; r < strands; ++r) {
        sums[r] += static_cast<double>(values[i + r]);
      }
    }
    advances[k] = ((sums[0] + sums[1]) + (sums[2] + sums[3])) / rate;
  }
  return advances;
}

}  // namespace

std::uint64_t slips_in(std::span<const float> frequency, double rate) {
  const std::vector<double> advances = advances_of(frequency, rate);
  const auto over_three = [&](std::size_t k) {
    return (advances[k] + advances[k + 1]) + advances[k + 2];
  };
  std::uint64_t slips = 0;
  for (std::size_t k = 3; k + 6 <= advances.size(); ++k) {
    const double more = std::abs(over_three(k) - 0.5 * (over_three(k - 3) + over_three(k + 3)));
    // A slip leaves one here, and noise at 7 dB a standard deviation of 0.08.
    constexpr double least = 2.0 / 3.0;
    if (more > least) {
      ++slips;
      k += 8;  // so far on the same slip shows
    }
  }
  return slips;
}

}  // namespace orn::fmcw_host
