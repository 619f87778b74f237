#include "common/condition/conditioned_source.h"
#include "common/condition/low_pass.h"
#include "common/errors.h"
#include "signals.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <numbers>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace orn::fmcw_host {
namespace {

constexpr double rate = 1e6;

/// A tone by its position on the recording's axis.
std::vector<sample_t> tone(double frequency, std::uint64_t first, std::size_t count) {
  std::vector<sample_t> samples(count);
  for (std::size_t i = 0; i < count; ++i) {
    const double turns = std::fmod(static_cast<double>(first + i) * frequency / rate, 1.0);
    samples[i] = std::complex<float>(std::polar(1.0, 2.0 * std::numbers::pi * turns));
  }
  return samples;
}

std::vector<sample_t> conditioned(const std::vector<sample_t>& samples,
                                  const conditioning_t& conditioning, std::uint64_t first = 0,
                                  std::size_t piece = 1000) {
  vector_source_t source(samples);
  conditioned_source_t out(source, conditioning, first, rate);
  std::vector<sample_t> all;
  std::vector<sample_t> some(piece);
  while (const std::size_t count = out.read(some)) {
    all.insert(all.end(), some.begin(), some.begin() + static_cast<std::ptrdiff_t>(count));
  }
  return all;
}

TEST(Conditioning, PassesStopsAndHalvesWithoutDelay) {
  constexpr double pass_band = 1e-3;
  constexpr double stop_band = 2.6e-4;  // 72 dB down
  struct band_t {
    std::uint32_t decimate;
    double low_pass;
    double frequency;
    double gain;
    double tolerance;
  };
  for (const band_t& b : {
           band_t{1, 100e3, 0.0, 1.0, 1e-6},
           {1, 200e3, -90e3, 1.0, pass_band},
           {1, 200e3, 200e3, 0.5, 0.01},
           {1, 200e3, -310e3, 0.0, stop_band},
           {4, 80e3, 50e3, 1.0, pass_band},
           {4, 80e3, -80e3, 0.5, 0.01},
           {4, 80e3, 110e3, 0.0, stop_band},
           {4, 80e3, 250e3, 0.0, stop_band},  // would alias to 0 Hz
           {7, 30e3, 15e3, 1.0, pass_band},
           {7, 30e3, 48e3, 0.0, stop_band},
       }) {
    const auto in = tone(b.frequency, 0, 20'000);
    const auto out = conditioned(in, {.low_pass = b.low_pass, .decimate = b.decimate});
    ASSERT_EQ(out.size(), (in.size() + b.decimate - 1) / b.decimate);
    for (std::size_t i = 12; i + 12 < out.size(); ++i) {
      const sample_t ratio = out[i] / in[i * b.decimate];
      ASSERT_NEAR(ratio.real(), b.gain, b.tolerance) << b.decimate << ' ' << b.frequency;
      ASSERT_NEAR(ratio.imag(), 0.0, b.tolerance) << b.decimate << ' ' << b.frequency;
    }
  }
}

TEST(Conditioning, KeepsPositionsOnTheAxis) {
  const auto all = tone(3e3, 0, 5'000);
  for (const std::uint32_t decimate : {2U, 5U, 8U}) {
    const conditioning_t conditioning = {.shift = 1e3, .decimate = decimate};
    const auto whole = conditioned(all, conditioning);
    for (const std::size_t first : {1U, 7U, 40U, 1003U}) {
      const std::vector<sample_t> part(all.begin() + static_cast<std::ptrdiff_t>(first), all.end());
      const auto out = conditioned(part, conditioning, first);
      const std::size_t begin = (first + decimate - 1) / decimate;
      ASSERT_EQ(out.size(), conditioned_count(first, part.size(), decimate));
      ASSERT_EQ(begin + out.size(), whole.size());
      for (std::size_t i = 12; i < out.size(); ++i) {
        ASSERT_EQ(out[i], whole[begin + i]) << decimate << ' ' << first << ' ' << i;
      }
    }
  }
}

TEST(Conditioning, MovesFrequenciesWithoutDrift) {
  constexpr std::uint64_t far = 999'999'999'999;  // 2 hours at 125 MS/s; a double tells 1e-5 rad
  for (const auto& [first, tolerance] : {std::pair{std::uint64_t{0}, 1e-6F}, {far, 3e-5F}}) {
    for (const sample_t& sample :
         conditioned(tone(-12'500, first, 5'000), {.shift = 12'500}, first)) {
      ASSERT_LT(std::abs(sample - sample_t(1.0F)), tolerance) << first;
    }
  }
}

TEST(Conditioning, DoesNotDependOnThePieces) {
  const auto in = samples_of({rate, 2e-3, 1e-4, 2e5, false, 0.1}, 30'000);
  const conditioning_t conditioning = {.shift = 12'345.0, .low_pass = 1e5, .decimate = 3};
  const auto whole = conditioned(in, conditioning, 0, in.size());
  for (const std::size_t piece : {1U, 255U, 4097U}) {
    EXPECT_EQ(conditioned(in, conditioning, 0, piece), whole) << piece;
  }
}

TEST(Conditioning, OfNothingLeavesEveryBit) {
  const float nan = std::bit_cast<float>(0x7FC12345U);
  const std::vector<sample_t> in = {{-0.0F, 1e-45F}, {nan, std::numeric_limits<float>::infinity()}};
  const auto out = conditioned(in, {});
  ASSERT_EQ(out.size(), in.size());
  EXPECT_TRUE(std::equal(in.begin(), in.end(), out.begin(), [](sample_t a, sample_t b) {
    return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
  }));
}

TEST(Conditioning, TakesShortSegments) {
  for (const std::size_t count : {0U, 1U, 2U, 11U, 200U}) {
    for (const std::uint32_t decimate : {1U, 3U, 500U}) {
      for (const std::uint64_t first : {0U, 1U, 499U}) {
        const auto out = conditioned(std::vector<sample_t>(count, {1.0F, 0.0F}),
                                     {.low_pass = 1e3, .decimate = decimate}, first);
        EXPECT_EQ(out.size(), conditioned_count(first, count, decimate));
      }
    }
  }
}

TEST(Conditioning, RefusesWhatARateCannotHold) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const conditioning_t& wrong : {conditioning_t{.shift = 500'001.0},
                                      {.shift = nan},
                                      {.low_pass = 0.0},
                                      {.low_pass = nan},
                                      {.low_pass = 500'001.0},
                                      {.decimate = 0},
                                      {.decimate = 4097}}) {
    EXPECT_THROW(check(wrong, rate), input_error_t);
  }
  EXPECT_NO_THROW(check({.shift = -rate / 2, .low_pass = rate / 2, .decimate = 4096}, rate));
}

}  // namespace
}  // namespace orn::fmcw_host
