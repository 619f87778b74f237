#include "generated.h"

#include <common_lib/fourier_transform.h>
#include <memory/planes.h>
#include <transform/dft.h>

#include <bit>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <numbers>
#include <vector>

#include <fuzz/input.h>
#include <fuzz/targets.h>

/// Transforms of any length, in any number of lanes, on every instruction set.
namespace orn {
namespace {

using fmcw_demod_lib::sample_t;
using fuzz::require;
using series_t = std::vector<sample_t>;

constexpr std::size_t longest = 4096;
constexpr std::size_t most_points = 16384;  ///< of all lanes together

/// Any NaN is one: which of two an instruction passes on is nobody's promise.
bool same(float a, float b) {
  return std::isnan(a) ? std::isnan(b)
                       : std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b);
}

void require_same(const series_t& a, const series_t& b, const char* property) {
  require(a.size() == b.size(), property);
  for (std::size_t i = 0; i < a.size(); ++i) {
    require(same(a[i].real(), b[i].real()) && same(a[i].imag(), b[i].imag()), property);
  }
}

/// The definition, in double.
void require_accurate(const series_t& samples, const series_t& bins) {
  const std::size_t n = samples.size();
  double error = 0.0;
  double total = 0.0;
  for (std::size_t k = 0; k < n; ++k) {
    std::complex<double> sum;
    for (std::size_t i = 0; i < n; ++i) {
      const double turns = static_cast<double>(i * k % n) / static_cast<double>(n);
      sum += std::complex<double>(samples[i]) * std::polar(1.0, -2.0 * std::numbers::pi * turns);
    }
    error += std::norm(sum - std::complex<double>(bins[k]));
    total += std::norm(sum);
  }
  require(std::sqrt(error) <= 2e-7 * std::sqrt(total), "the relative error is at most 2e-7");
}

series_t in_lanes(const std::vector<series_t>& all, common_lib::dft_t& dft, std::size_t shown) {
  const std::size_t lanes = all.size();
  const std::size_t length = all.front().size();
  memory::planes_t<float> planes;
  planes.resize(length * lanes);
  for (std::size_t l = 0; l < lanes; ++l) {
    for (std::size_t i = 0; i < length; ++i) {
      planes.re[i * lanes + l] = all[l][i].real();
      planes.im[i * lanes + l] = all[l][i].imag();
    }
  }
  dft.forward(planes, lanes);
  series_t bins;
  for (std::size_t i = 0; i < length; ++i) {
    bins.emplace_back(planes.re[i * lanes + shown], planes.im[i * lanes + shown]);
  }
  return bins;
}

void run(fuzz::input_t& input) {
  fmcw_demod_lib::generated::random_t random(1 + input.raw<std::uint8_t>());
  const std::size_t length = 1 + input.below(longest);
  const std::size_t lanes = 1 + input.below(std::min<std::size_t>(20, most_points / length));
  const bool any_bits = input.one_in(2);
  std::vector<series_t> all(lanes);
  for (series_t& one : all) {
    one = fmcw_demod_lib::generated::filled(length, [&] {
      if (!any_bits) {
        return random.uniform();
      }
      return input.empty() ? std::bit_cast<float>(random.bits()) : input.number<float>();
    });
  }
  const std::size_t shown = input.below(lanes);

  series_t first;
  fuzz::on_every_target([&] {
    common_lib::dft_t dft(length);
    series_t alone = all[shown];
    dft.forward(std::span(alone));
    require_same(in_lanes(all, dft, shown), alone, "lanes give the bits of one series");
    series_t by_host = all[shown];
    common_lib::lib_fourier_transform_t::deal_fft(by_host, 0);
    require_same(by_host, alone, "hosts get the same transform");
    if (first.empty()) {
      first = alone;
    }
    require_same(alone, first, "every instruction set gives the same bits");
  });
  if (!any_bits && length <= 128) {
    require_accurate(all[shown], first);
  }

  const auto size = static_cast<unsigned>(input.below(longest));
  series_t resized = all[shown];
  common_lib::lib_fourier_transform_t::deal_fft(resized, size);
  require(resized.size() == (size == 0 ? length : size), "cut or filled to the size asked for");
  series_t shifted = first;
  common_lib::lib_fourier_transform_t::fft_shift(shifted);
  require(same(shifted[length / 2].real(), first[0].real()), "bin 0 moves to the middle");
}

}  // namespace
}  // namespace orn

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  orn::fuzz::input_t input(data, size);
  orn::run(input);
  return 0;
}
