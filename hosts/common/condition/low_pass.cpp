#include "common/condition/low_pass.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace orn::fmcw_host {
namespace {

using fmcw_demod_lib::sample_t;

constexpr double kaiser_beta = 7.0;
constexpr std::size_t block = 256;  // outputs beside each other: what the nearest cache holds

double sinc(double x) {
  return x == 0.0 ? 1.0 : std::sin(std::numbers::pi * x) / (std::numbers::pi * x);
}

}  // namespace

std::vector<double> low_pass_taps(double cutoff, std::size_t count) {
  std::vector<double> taps(count);
  const double middle = static_cast<double>(count - 1) / 2.0;
  double sum = 0.0;
  for (std::size_t i = 0; i < count; ++i) {
    const double place = static_cast<double>(i) - middle;
    const double within = middle > 0.0 ? place / middle : 0.0;
    // Up to its height, which the sum takes out.
    const double window = std::cyl_bessel_i(0.0, kaiser_beta * std::sqrt(1.0 - within * within));
    taps[i] = window * sinc(2.0 * cutoff * place);
    sum += taps[i];
  }
  std::transform(taps.begin(), taps.end(), taps.begin(), [&](double tap) { return tap / sum; });
  return taps;
}

void decimating_filter(std::span<const sample_t> samples, std::span<const double> taps,
                       std::size_t decimate, std::span<sample_t> out) {
  std::vector<double> re(block + taps.size() / decimate);
  std::vector<double> im(re.size());
  for (std::size_t begin = 0; begin < out.size(); begin += block) {
    const std::size_t count = std::min(block, out.size() - begin);
    std::array<double, block> sum_re{};
    std::array<double, block> sum_im{};
    for (std::size_t phase = 0; phase < std::min(decimate, taps.size()); ++phase) {
      const std::size_t own = (taps.size() - phase + decimate - 1) / decimate;
      for (std::size_t i = 0; i < count + own - 1; ++i) {
        const sample_t sample = samples[(begin + i) * decimate + phase];
        re[i] = sample.real();
        im[i] = sample.imag();
      }
      for (std::size_t i = 0; i < own; ++i) {
        const double tap = taps[phase + i * decimate];
        for (std::size_t k = 0; k < count; ++k) {
          sum_re[k] += tap * re[i + k];
          sum_im[k] += tap * im[i + k];
        }
      }
    }
    for (std::size_t k = 0; k < count; ++k) {
      out[begin + k] = {static_cast<float>(sum_re[k]), static_cast<float>(sum_im[k])};
    }
  }
}

}  // namespace orn::fmcw_host
