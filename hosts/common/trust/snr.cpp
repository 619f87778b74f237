#include "common/trust/snr.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <optional>
#include <vector>

namespace orn::fmcw_host {
namespace {

using fmcw_demod_lib::sample_t;

constexpr std::size_t block_length = 256;
constexpr std::size_t most_blocks = 16;
constexpr auto n = static_cast<double>(block_length);
constexpr double parabola_parameters = 3.0;

using block_t = std::array<double, block_length>;

/// Sum of f(i) over the block in four strands, which the processor adds at once.
template <class Function>
double sum_of(std::size_t count, Function f) {
  std::array<double, 4> strands{};
  for (std::size_t i = 0; i < count; ++i) {
    strands[i % 4] += f(i);
  }
  return (strands[0] + strands[1]) + (strands[2] + strands[3]);
}

/// Divides the least-squares parabola out of the values. False: it is not above 0 everywhere.
bool take_parabola_out(block_t& values) {
  // The polynomials 1, x and x^2 - (n^2 - 1) / 12 are orthogonal over n equidistant places about 0;
  // the sums of their squares are n, n (n^2 - 1) / 12 and n (n^2 - 1) (n^2 - 4) / 180.
  constexpr double middle = (n - 1.0) / 2.0;
  constexpr double mean_square = (n * n - 1.0) / 12.0;
  constexpr double square_sum = mean_square * n * (n * n - 4.0) / 15.0;
  const auto place = [](std::size_t i) { return static_cast<double>(i) - middle; };
  const auto square = [&](std::size_t i) { return place(i) * place(i) - mean_square; };
  const double level = sum_of(block_length, [&](std::size_t i) { return values[i]; }) / n;
  const double tilt =
      sum_of(block_length, [&](std::size_t i) { return values[i] * place(i); }) / (n * mean_square);
  const double bend =
      sum_of(block_length, [&](std::size_t i) { return values[i] * square(i); }) / square_sum;
  double lowest = level;
  for (std::size_t i = 0; i < block_length; ++i) {
    const double trend = level + tilt * place(i) + bend * square(i);
    lowest = std::min(lowest, trend);
    values[i] /= trend;
  }
  return lowest > 0.0;
}

/// Mean of (r[i] - 1)(r[i + lag] - 1).
double product_of(const block_t& radius, std::size_t lag) {
  const std::size_t count = block_length - lag;
  return sum_of(count, [&](std::size_t i) { return (radius[i] - 1.0) * (radius[i + lag] - 1.0); }) /
         static_cast<double>(count);
}

std::optional<envelope_noise_t> noise_of_block(std::span<const sample_t> samples) {
  block_t radius;
  for (std::size_t i = 0; i < block_length; ++i) {
    const double re = samples[i].real();
    const double im = samples[i].imag();
    radius[i] = std::sqrt(re * re + im * im);
  }
  if (!take_parabola_out(radius)) {
    return std::nullopt;
  }
  const double second =
      sum_of(block_length, [&](std::size_t i) { return radius[i] * radius[i]; }) / n;
  const double squares = sum_of(block_length, [&](std::size_t i) {
    const double distance = radius[i] * radius[i] - second;
    return distance * distance;
  });
  const double variance = squares / (n - parabola_parameters) / (second * second);
  if (!std::isfinite(variance)) {
    return std::nullopt;
  }
  const double steady = std::sqrt(std::max(1.0 - variance, 0.0));
  // 1 - sqrt(1 - v) without the cancellation of small v.
  const double rest = steady > 0.0 ? variance / (1.0 + steady) : 1.0;
  const double power = product_of(radius, 0);
  return envelope_noise_t{steady / rest, product_of(radius, 1) / power,
                          product_of(radius, 2) / power};
}

/// The upper median; NaN of none. Not-a-number values, as of blocks without any noise, are left out.
double median_of(const std::vector<envelope_noise_t>& blocks, double envelope_noise_t::*figure) {
  std::vector<double> values;
  for (const envelope_noise_t& block : blocks) {
    if (!std::isnan(block.*figure)) {
      values.push_back(block.*figure);
    }
  }
  if (values.empty()) {
    return std::numeric_limits<double>::quiet_NaN();
  }
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace

envelope_noise_t envelope_noise_of(std::span<const sample_t> samples) {
  const std::size_t all = samples.size() / block_length;
  const std::size_t count = std::min(all, most_blocks);
  std::vector<envelope_noise_t> blocks;
  for (std::size_t k = 0; k < count; ++k) {
    const std::size_t first = k * all / count * block_length;
    if (const auto noise = noise_of_block(samples.subspan(first, block_length))) {
      blocks.push_back(*noise);
    }
  }
  return {median_of(blocks, &envelope_noise_t::snr),
          median_of(blocks, &envelope_noise_t::correlation_1),
          median_of(blocks, &envelope_noise_t::correlation_2)};
}

}  // namespace orn::fmcw_host
