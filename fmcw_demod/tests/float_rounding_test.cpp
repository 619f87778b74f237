#include "synthetic.h"

#include <fmcw_demod/fmcw_demod.h>

#include <random>
#include <vector>

#include <gtest/gtest.h>

// gcc 12.2's SLP vectoriser forgets the rounding of double(float(x)) where two such values are
// stored side by side. These tests fail when the library is built with it.
namespace orn::fmcw_demod_lib {
namespace {

struct rounded_t {
  double first, second;
};

// Values in registers, results side by side: the pattern that loses the rounding.
[[gnu::noinline]] void round_side_by_side(double first, double second, rounded_t& out) {
  out.first = static_cast<double>(static_cast<float>(first));
  out.second = static_cast<double>(static_cast<float>(second));
}

TEST(FloatRounding, SurvivesStoresSideBySide) {
  volatile double first = 0.1;
  volatile double second = 0.2;
  rounded_t out{};
  round_side_by_side(first, second, out);
  EXPECT_EQ(out.first, static_cast<double>(0.1F));
  EXPECT_EQ(out.second, static_cast<double>(0.2F));
}

TEST(FloatRounding, HoldsForEveryFigureThatHasIt) {
  const synthetic::sawtooth_t sawtooth;
  auto stream = sawtooth.stream();
  std::mt19937 random(3);
  std::normal_distribution<float> noise(0.0F, 0.01F);
  for (auto& z : stream.samples) {
    z += sample_t(noise(random), noise(random));
  }
  const auto result = synthetic::engine_t(sawtooth.config(), stream).analyze();
  ASSERT_GE(result.chirp_results.size(), 3U);
  using C = fmcw_chirp_result_t;
  constexpr double C::*rounded[] = {
      &C::slope_dev_mean,    &C::slope_dev_rms,     &C::slope_dev_avg,      &C::slope_dev_peak,
      &C::bandwidth,         &C::freq_dev_peak,     &C::phase_dev_peak,     &C::phase_dev_rms,
      &C::phase_dev_avg,     &C::fm_settling_point, &C::fm_settling_time,   &C::fm_settling_length,
      &C::pm_settling_point, &C::pm_settling_time,  &C::pm_settling_length, &C::power_avg,
      &C::power_peak,        &C::power_min,         &C::power_pk_dev};
  for (const C& chirp : result.chirp_results) {
    for (std::size_t i = 0; i < std::size(rounded); ++i) {
      const double value = chirp.*rounded[i];
      EXPECT_EQ(value, static_cast<double>(static_cast<float>(value))) << "figure " << i;
    }
    EXPECT_NE(chirp.freq_dev_rms, static_cast<double>(static_cast<float>(chirp.freq_dev_rms)));
  }
}

}  // namespace
}  // namespace orn::fmcw_demod_lib
