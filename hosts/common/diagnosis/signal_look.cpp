#include "common/diagnosis/signal_look.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

namespace orn::fmcw_host {
namespace {

using fmcw_demod_lib::sample_t;
using complex_t = std::complex<double>;

constexpr std::size_t most_samples = std::size_t{1} << 20;
constexpr std::size_t tone_lag = 256;
constexpr std::size_t block_length = 64;

complex_t turn(sample_t later, sample_t sample) {
  return complex_t(later) * std::conj(complex_t(sample));
}

std::vector<sample_t> finite_ones(std::span<const sample_t> samples) {
  std::vector<sample_t> finite;
  for (const sample_t sample : samples) {
    if (finite.size() == most_samples) {
      break;
    }
    if (std::isfinite(sample.real()) && std::isfinite(sample.imag())) {
      finite.push_back(sample);
    }
  }
  return finite;
}

/// Leaves out what is 12 dB above all but a hundredth of the samples: a few wild values would
/// outweigh all others in every moment.
void drop_glitches(std::vector<sample_t>& samples) {
  constexpr double share_kept = 0.99;
  constexpr double most_above = 16.0;
  if (samples.empty()) {
    return;
  }
  const auto square = [](sample_t sample) { return std::norm(complex_t(sample)); };
  std::vector<double> squares(samples.size());
  std::transform(samples.begin(), samples.end(), squares.begin(), square);
  const auto place = squares.begin() + static_cast<std::ptrdiff_t>(
                                           share_kept * static_cast<double>(squares.size() - 1));
  std::nth_element(squares.begin(), place, squares.end());
  const double limit = most_above * *place;
  if (limit > 0.0) {
    samples.erase(std::remove_if(samples.begin(), samples.end(),
                                 [&](sample_t sample) { return square(sample) > limit; }),
                  samples.end());
  }
}

/// Sums over the samples: of x, x^2, |x|^2 and |x|^4.
struct moments_t {
  complex_t first;
  complex_t square;
  double second = 0.0;
  double fourth = 0.0;
};

moments_t moments_of(const std::vector<sample_t>& samples) {
  moments_t sums;
  for (const sample_t sample : samples) {
    const complex_t x(sample);
    sums.first += x;
    sums.square += x * x;
    sums.second += std::norm(x);
    sums.fourth += std::norm(x) * std::norm(x);
  }
  return sums;
}

/// Sum of x[n+1] x*[n], and of its magnitude over blocks.
void add_turns(const std::vector<sample_t>& samples, complex_t& all, double& in_blocks) {
  complex_t block;
  for (std::size_t i = 1; i < samples.size(); ++i) {
    block += turn(samples[i], samples[i - 1]);
    if (i % block_length == 0 || i + 1 == samples.size()) {
      all += block;
      in_blocks += std::abs(block);
      block = {};
    }
  }
}

}  // namespace

bool looks_real(const signal_look_t& look) {
  constexpr double like_real = 0.3;
  constexpr double like_tone = 0.99;
  return look.sample_count > 0 &&
         (!look.has_quadrature || (look.noncircularity > like_real && look.tone_share < like_tone));
}

signal_look_t look_at(std::span<const sample_t> samples) {
  std::vector<sample_t> finite = finite_ones(samples);
  drop_glitches(finite);
  signal_look_t look;
  look.sample_count = finite.size();
  look.has_quadrature = std::any_of(finite.begin(), finite.end(),
                                    [](sample_t sample) { return sample.imag() != 0.0F; });
  const moments_t sums = moments_of(finite);
  if (!(sums.second > 0.0)) {
    return look;
  }
  const auto n = static_cast<double>(finite.size());
  const double about_mean = sums.second - std::norm(sums.first) / n;
  if (about_mean > 1e-6 * sums.second) {
    look.noncircularity = std::abs(sums.square - sums.first * sums.first / n) / about_mean;
  }
  const double kurtosis = n * (sums.fourth / sums.second) / sums.second;
  look.steady_share = std::sqrt(std::clamp(2.0 - kurtosis, 0.0, 1.0));
  complex_t turns;
  double in_blocks = 0.0;
  add_turns(finite, turns, in_blocks);
  look.tone = std::arg(turns) / (2.0 * std::numbers::pi);
  look.smoothness = in_blocks / sums.second;
  complex_t apart;
  for (std::size_t i = tone_lag; i < finite.size(); ++i) {
    apart += turn(finite[i], finite[i - tone_lag]);
  }
  const double share_seen = std::max(1.0 - static_cast<double>(tone_lag) / n, 0.25);
  look.tone_share = std::min(std::abs(apart) / sums.second / share_seen, 1.0);
  return look;
}

}  // namespace orn::fmcw_host
