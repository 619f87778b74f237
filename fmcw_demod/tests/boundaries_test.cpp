#include "synthetic.h"

#include <fmcw_demod/fmcw_demod.h>

#include <cmath>
#include <limits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orn::fmcw_demod_lib {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const synthetic::engine_t& shared_engine() {
  static const synthetic::engine_t engine;
  return engine;
}

struct detection_t {
  std::vector<int> boundaries;
  std::vector<float> slope_raw = {-1.0F};
  std::vector<float> slope_smooth = {-2.0F};
};

detection_t detect(const std::vector<double>& freq, double dt = 1.0) {
  detection_t d;
  d.boundaries = shared_engine().engine.detect_chirp_boundaries(
      ArrayView<const double>(freq.data(), freq.size()), d.slope_raw, d.slope_smooth, dt);
  return d;
}

detection_t detect_vector(const std::vector<double>& freq, double dt = 1.0) {
  detection_t d;
  d.boundaries =
      shared_engine().engine.detect_chirp_boundaries(freq, d.slope_raw, d.slope_smooth, dt);
  return d;
}

/// Frequency of `before` per sample up to the turn, of `after` from there on.
std::vector<double> bent(std::size_t count, std::size_t turn, double before, double after) {
  std::vector<double> freq(count, 0.0);
  for (std::size_t i = 1; i < count; ++i) {
    freq[i] = freq[i - 1] + (i <= turn ? before : after);
  }
  return freq;
}

TEST(BoundaryDetection, ClosesEveryFrameAndLeavesTinyOnesAlone) {
  for (const std::size_t n : {0U, 1U}) {
    const std::vector<double> freq(n, 5.0);
    EXPECT_THAT(detect(freq).boundaries, IsEmpty());
    EXPECT_THAT(detect(freq).slope_raw, ElementsAre(-1.0F));
    EXPECT_THAT(detect(freq).slope_smooth, ElementsAre(-2.0F));
    EXPECT_THAT(detect_vector(freq).boundaries, IsEmpty());
    EXPECT_THAT(detect_vector(freq).slope_raw, ElementsAre(-1.0F));
  }
  EXPECT_THAT(detect({0.0, 1.0}).boundaries, ElementsAre(1));
  EXPECT_THAT(detect_vector({0.0, 1.0}).boundaries, ElementsAre(0, 1));
  const auto ramp = detect(bent(1000, 1000, 1e3, 0.0), 0.5);
  EXPECT_THAT(ramp.boundaries, ElementsAre(999));
  EXPECT_EQ(ramp.slope_raw.size(), 999U);
  EXPECT_EQ(ramp.slope_raw[500], 2e3F);
}

TEST(BoundaryDetection, FindsTheTurnWhereTheSmoothedSlopeChangesSign) {
  // Twice as steep after the turn: the smoothed slope crosses zero where the triangle's weight
  // after the turn is a third, 128 (1 - sqrt(2/3)) = 23.5 samples before the turn.
  const auto freq = bent(3000, 1500, 1e6, -2e6);
  EXPECT_THAT(detect(freq).boundaries, ElementsAre(1476, 2999));
  EXPECT_THAT(detect_vector(freq).boundaries, ElementsAre(0, 1476, 2999));
}

TEST(BoundaryDetection, WantsBothNeighboursClearlyOffZero) {
  // A symmetric turn smooths to exactly zero at its middle: the product is no sign change.
  EXPECT_THAT(detect(bent(3000, 1500, 1e6, -1e6)).boundaries, ElementsAre(2999));
  // Near the crossing the smoothed slope moves by a few percent of the slope per sample: in this
  // range either neighbour, both or none of them come closer to zero than 100 Hz/s.
  std::size_t only_left_clear = 0;
  std::size_t only_right_clear = 0;
  std::size_t found = 0;
  for (int step = 0; step < 200; ++step) {
    const double slope = 4e3 + 80.0 * step;
    const auto d = detect(bent(3000, 1500, slope, -slope * (1.5 + 0.5 * (step % 5))));
    std::size_t i = 1;
    while (d.slope_smooth[i] * d.slope_smooth[i - 1] >= 0) {
      ++i;
    }
    const bool left_clear = std::abs(d.slope_smooth[i - 1]) > 100.0F;
    const bool right_clear = std::abs(d.slope_smooth[i]) > 100.0F;
    ASSERT_EQ(d.boundaries.size(), left_clear && right_clear ? 2U : 1U) << slope;
    only_left_clear += left_clear && !right_clear ? 1 : 0;
    only_right_clear += right_clear && !left_clear ? 1 : 0;
    found += d.boundaries.size() - 1;
  }
  EXPECT_GT(only_left_clear, 0U);
  EXPECT_GT(only_right_clear, 0U);
  EXPECT_GT(found, 0U);
}

TEST(BoundaryDetection, SkipsNaN) {
  auto freq = bent(3000, 1500, 1e6, -2e6);
  freq[1480] = std::numeric_limits<double>::quiet_NaN();
  EXPECT_THAT(detect(freq).boundaries, ElementsAre(2999));
}

TEST(MergeSwitching, MergesWhatIsCloserThanAnEighthOfTheMeanGap) {
  struct merge_case_t {
    const char* name;
    std::vector<int> in, out;
  };
  const merge_case_t cases[] = {
      {"empty", {}, {}},
      {"single", {7}, {7}},
      {"pairs", {100, 101, 200, 201, 300, 301}, {101, 201, 301}},
      // Mean gap 80, distance 10: exactly 10 apart stays, 9 apart merges.
      {"exactly the distance apart", {0, 10, 160}, {0, 10, 160}},
      {"one less", {0, 9, 160}, {5, 160}},
      {"halves round away from zero", {10, 13, 1000}, {12, 1000}},
      // After the first pass the mean gap has grown and the next neighbour falls in.
      {"pass after pass", {1000, 1010, 1080, 2000, 3000}, {1043, 2000, 3000}},
      // Only the left pair merges in a pass; its right-hand neighbour waits for the next.
      {"three in a row", {100, 104, 108, 2000}, {105, 2000}},
      {"nothing close", {0, 100, 200}, {0, 100, 200}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(shared_engine().engine.MergeSwitching(c.in), c.out) << c.name;
  }
}

TEST(SlopeThreshold, IsAShareOfTheUpperMedian) {
  const auto threshold = [](const std::vector<float>& slope) {
    return shared_engine().engine.get_slope_threshold(slope);
  };
  const float nan_value = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(threshold({}), 0.0F);
  EXPECT_EQ(threshold({-4000.0F, 1000.0F, 3000.0F}), 3000.0F * 0.002F);
  EXPECT_EQ(threshold({-4000.0F, 1000.0F, 3000.0F, 2.0F}), 3000.0F * 0.002F);
  EXPECT_EQ(threshold({0.0F, 0.0F}), 0.001F);
  EXPECT_EQ(threshold({nan_value, 5000.0F, 1000.0F, nan_value, 2000.0F}), 5000.0F * 0.002F);
  EXPECT_TRUE(std::isnan(threshold({nan_value, nan_value, 1.0F})));
}

}  // namespace
}  // namespace orn::fmcw_demod_lib
