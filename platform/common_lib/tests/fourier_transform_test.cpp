#include <common_lib/fourier_transform.h>
#include <common_lib/window_function.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace orn::common_lib {
namespace {

using samples_t = std::vector<std::complex<float>>;

samples_t noise(std::size_t count, unsigned seed) {
  std::mt19937 random(seed);
  std::normal_distribution<float> normal;
  samples_t samples(count);
  for (auto& z : samples) {
    z = {normal(random), normal(random)};
  }
  return samples;
}

/// One bin of the transform by its definition. The products n k are reduced in integers.
std::complex<long double> literal_bin(const samples_t& x, std::uint64_t k) {
  std::complex<long double> sum = 0;
  for (std::uint64_t n = 0; n < x.size(); ++n) {
    const long double turns =
        static_cast<long double>(n * k % x.size()) / static_cast<long double>(x.size());
    sum += std::complex<long double>(x[n]) *
           std::polar(1.0L, -2.0L * std::numbers::pi_v<long double> * turns);
  }
  return sum;
}

/// Relative RMS error of the transform over `bins` bins spread over its length.
double relative_error(std::size_t length, std::size_t bins) {
  const samples_t x = noise(length, static_cast<unsigned>(length));
  samples_t transformed = x;
  lib_fourier_transform_t::deal_fft(transformed, 0);
  long double error = 0;
  long double power = 0;
  for (std::size_t i = 0; i < bins; ++i) {
    const std::size_t k = i * length / bins;
    const auto expected = literal_bin(x, k);
    error += std::norm(std::complex<long double>(transformed[k]) - expected);
    power += std::norm(expected);
  }
  return static_cast<double>(std::sqrt(error / power));
}

TEST(FourierTransform, AgreesWithTheDefinitionAtEveryKindOfLength) {
  for (std::size_t length = 1; length <= 130; ++length) {
    EXPECT_LE(relative_error(length, length), 2e-7) << length;
  }
  // Powers of every radix, mixtures, large primes and twice a large prime.
  for (const std::size_t length :
       {256U,  257U,  512U,  1000U, 1024U, 1331U, 2048U, 2187U,  2197U,  2310U,  2401U,  2048U,
        3001U, 3125U, 3380U, 3994U, 4093U, 4095U, 4096U, 16381U, 16411U, 20014U, 36913U, 61463U}) {
    EXPECT_LE(relative_error(length, 64), 2e-7) << length;
  }
  EXPECT_LE(relative_error(1000003, 8), 5e-7);
  EXPECT_LE(relative_error(1048576, 8), 5e-7);
}

TEST(FourierTransform, PutsATonePreciselyIntoItsBin) {
  samples_t x(8, {1.0F, 0.0F});
  lib_fourier_transform_t::deal_fft(x, 0);
  EXPECT_EQ(x, (samples_t{8.0F, 0, 0, 0, 0, 0, 0, 0}));
  x = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}};  // one turn forward in four samples
  lib_fourier_transform_t::deal_fft(x, 4);
  EXPECT_EQ(x, (samples_t{0, 4.0F, 0, 0}));
}

TEST(FourierTransform, TakesTheSizeItIsGiven) {
  samples_t empty;
  lib_fourier_transform_t::deal_fft(empty, 0);
  EXPECT_TRUE(empty.empty());
  samples_t padded = {1, 1};
  lib_fourier_transform_t::deal_fft(padded, 4);
  EXPECT_EQ(padded, (samples_t{{2, 0}, {1, -1}, {0, 0}, {1, 1}}));
  samples_t cut = {1, 1, 9, 9};
  lib_fourier_transform_t::deal_fft(cut, 2);
  EXPECT_EQ(cut, (samples_t{2, 0}));
}

TEST(FourierTransform, ServesThreadsAtOnce) {
  const samples_t x = noise(1009, 1);
  samples_t expected = x;
  lib_fourier_transform_t::deal_fft(expected, 0);
  std::vector<samples_t> results(4, x);
  std::vector<std::thread> threads;
  for (auto& result : results) {
    threads.emplace_back([&result] { lib_fourier_transform_t::deal_fft(result, 0); });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  for (const auto& result : results) {
    EXPECT_EQ(result, expected);
  }
}

TEST(FftShift, CentresTheZeroBin) {
  samples_t even = {0, 1, 2, 3};
  lib_fourier_transform_t::fft_shift(even);
  EXPECT_EQ(even, (samples_t{2, 3, 0, 1}));
  samples_t odd = {0, 1, 2, 3, 4};
  lib_fourier_transform_t::fft_shift(odd);
  EXPECT_EQ(odd, (samples_t{3, 4, 0, 1, 2}));
}

TEST(HammingWindow, HasBothForms) {
  samples_t window;
  lib_window_function_t::generate_hamming_window(window, 5, true);
  ASSERT_EQ(window.size(), 5U);
  EXPECT_EQ(window[0].real(), 0.08F);
  EXPECT_EQ(window[1].real(), 0.54F);
  EXPECT_EQ(window[2].real(), 1.0F);
  EXPECT_EQ(window[4].real(), 0.08F);
  lib_window_function_t::generate_hamming_window(window, 4, false);
  ASSERT_EQ(window.size(), 4U);
  EXPECT_EQ(window[2].real(), 1.0F);
  EXPECT_EQ(window[3].real(), 0.54F);
  for (const bool symmetric : {true, false}) {
    lib_window_function_t::generate_hamming_window(window, 1, symmetric);
    EXPECT_EQ(window, (samples_t{1}));
    lib_window_function_t::generate_hamming_window(window, 0, symmetric);
    EXPECT_TRUE(window.empty());
  }
}

}  // namespace
}  // namespace orn::common_lib
