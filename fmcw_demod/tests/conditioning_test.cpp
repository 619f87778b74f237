#include "synthetic.h"

#include <fmcw_demod/fmcw_demod.h>

#include <cmath>
#include <limits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orn::fmcw_demod_lib {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(InstantaneousFreq, FollowsAToneAndItsPhase) {
  const synthetic::engine_t e;
  std::vector<double> freq;
  std::vector<double> phase;
  for (const double f0 : {1e6, -1e6}) {
    const auto tone = synthetic::from_frequency(500, 10e6, 0.5, [f0](double) { return f0; });
    e.engine.compute_instantaneous_freq(tone, 10e6F, freq, phase);
    ASSERT_EQ(freq.size(), tone.size());
    EXPECT_THAT(freq, Each(testing::DoubleNear(f0, 1.0)));
    EXPECT_NEAR(phase[499], 499 * synthetic::two_pi * f0 / 10e6, 1e-6);
    e.engine.compute_instantaneous_freq(tone, 0.0F, freq, phase);
    EXPECT_THAT(freq, Each(0.0));
    e.engine.compute_instantaneous_freq(tone, -10e6F, freq, phase);
    EXPECT_NEAR(freq[10], -f0, 1.0);
  }
}

TEST(InstantaneousFreq, HandlesShortCaptures) {
  const synthetic::engine_t e;
  std::vector<double> freq = {7.0};
  std::vector<double> phase = {7.0};
  e.engine.compute_instantaneous_freq({{0.0F, 1.0F}}, 1.0F, freq, phase);
  EXPECT_THAT(freq, ElementsAre(0.0));
  EXPECT_THAT(phase, ElementsAre(static_cast<double>(std::atan2(1.0F, 0.0F))));
  e.engine.compute_instantaneous_freq({}, 1.0F, freq, phase);
  EXPECT_THAT(freq, IsEmpty());
  EXPECT_THAT(phase, IsEmpty());
}

TEST(SmoothWithTriang, AveragesInsideAndFadesAtTheEnds) {
  const synthetic::engine_t e;
  std::vector<float> trace(600, 2.0F);
  e.engine.smooth_with_triang(trace, 256);
  ASSERT_EQ(trace.size(), 600U);
  EXPECT_FLOAT_EQ(trace[300], 2.0F);
  EXPECT_NEAR(trace[0], 1.0F, 0.02F);
  std::vector<double> short_trace(5, 1.0);
  e.engine.smooth_with_triang(short_trace, 37);
  ASSERT_EQ(short_trace.size(), 5U);
  EXPECT_NEAR(short_trace[2], (19.0 + 2 * 18 + 2 * 17) / (19.0 * 19.0), 1e-7);
}

TEST(PowerDbm, AveragesSquaredMagnitudes) {
  const synthetic::engine_t e;
  EXPECT_EQ(e.engine.compute_power_dbm({}, 100.0F), -300.0);
  EXPECT_DOUBLE_EQ(e.engine.compute_power_dbm({{0.6F, 0.8F}, {0.0F, -1.0F}}, 100.0F), 10.0);
  EXPECT_NEAR(e.engine.compute_power_dbm({{2.0F, 0.0F}, {0.0F, 0.0F}}, 50.0F),
              10 * std::log10(2.0 / 50 * 1000), 1e-12);
  EXPECT_EQ(e.engine.compute_power_dbm({{0.0F, 0.0F}}, 100.0F),
            -std::numeric_limits<double>::infinity());
}

}  // namespace
}  // namespace orn::fmcw_demod_lib
