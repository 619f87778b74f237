#include "common/statistics/chirp_statistics.h"
#include "common/statistics/comparison.h"
#include "common/statistics/run_chart.h"

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace orn::fmcw_host;
using testing::HasSubstr;

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

statistics_t statistics_of(const std::vector<double>& values, double first_time = 0.0,
                           double period = 1.0) {
  accumulator_t accumulator;
  for (std::size_t i = 0; i < values.size(); ++i) {
    accumulator.add(first_time + period * static_cast<double>(i), values[i]);
  }
  return accumulator.result();
}

TEST(Accumulator, HasTheFiguresOfPaper) {
  // 2 4 4 4 5 5 7 9: mean 5, squares 32 over 7; slope over 0..7 is (174 - 8 3.5 5) over 42.
  const statistics_t s = statistics_of({2, 4, 4, 4, 5, 5, 7, 9});
  EXPECT_EQ(s.count, 8U);
  EXPECT_DOUBLE_EQ(s.mean, 5.0);
  EXPECT_DOUBLE_EQ(s.standard_deviation, std::sqrt(32.0 / 7.0));
  EXPECT_EQ(s.min, 2.0);
  EXPECT_EQ(s.max, 9.0);
  EXPECT_EQ(s.peak_to_peak, 7.0);
  EXPECT_NEAR(s.trend, 34.0 / 42.0, 1e-15);
}

TEST(Accumulator, KeepsASmallSpreadAboutALargeMean) {
  // Sums of squares would lose everything: 1e9 squared has no room for a millionth.
  std::vector<double> values;
  for (int i = 0; i < 100000; ++i) {
    values.push_back(1e9 + (i % 2 == 0 ? 1e-3 : -1e-3));
  }
  EXPECT_NEAR(statistics_of(values).standard_deviation, 1e-3, 1e-7);

  // A line of 1e-6 per second on top of 400, after a day of recording.
  for (std::size_t i = 0; i < values.size(); ++i) {
    values[i] = 400.0 + 1e-6 * 1e-4 * static_cast<double>(i);
  }
  EXPECT_NEAR(statistics_of(values, 86400.0, 1e-4).trend, 1e-6, 1e-9);
}

TEST(Accumulator, LeavesOutWhatIsNotFinite) {
  const statistics_t s = statistics_of({1, nan, 3, infinity, -infinity});
  EXPECT_EQ(s.count, 2U);
  EXPECT_EQ(s.left_out, 3U);
  EXPECT_EQ(s.mean, 2.0);
  EXPECT_EQ(s.trend, 1.0);  // (3 - 1) over 2 s
  EXPECT_TRUE(std::isnan(statistics_of({nan}).mean));
  EXPECT_TRUE(std::isnan(statistics_of({7}).standard_deviation));
  EXPECT_TRUE(std::isnan(statistics_of({7}).trend));
}

TEST(ChirpStatistics, KeepUpAndDownApart) {
  chirp_statistics_t statistics;
  for (int i = 0; i < 10; ++i) {
    chirp_t chirp;
    chirp.start = i;
    chirp.figures.slope = i % 2 == 0 ? 400.0 + i : -300.0;
    statistics.add(chirp);
  }
  const figure_t& slope = figure_named("slope_khz_per_us");
  EXPECT_EQ(statistics.count(), 10U);
  EXPECT_EQ(statistics.count(direction_t::up), 5U);
  EXPECT_EQ(statistics.of(direction_t::up, slope).mean, 404.0);
  EXPECT_NEAR(statistics.of(direction_t::up, slope).trend, 1.0, 1e-12);
  EXPECT_EQ(statistics.of(direction_t::down, slope).standard_deviation, 0.0);
  EXPECT_DOUBLE_EQ(statistics.of(slope).mean, 52.0);
  // Nobody told the centre, so there is no RF.
  EXPECT_EQ(statistics.of(figure_named("rf_freq_avg_hz")).count, 0U);
}

TEST(Comparison, HasWelchsStandardError) {
  // sa^2 / na = 1 / 3, sb^2 / nb = 4 / 3.
  const comparison_t c = compare(statistics_of({1, 2, 3}), statistics_of({2, 4, 6}));
  EXPECT_DOUBLE_EQ(c.difference, 2.0);
  EXPECT_DOUBLE_EQ(c.standard_error, std::sqrt(5.0 / 3.0));
  EXPECT_DOUBLE_EQ(c.in_errors, 2.0 / std::sqrt(5.0 / 3.0));
  EXPECT_TRUE(std::isnan(compare(statistics_of({1}), statistics_of({2, 4})).standard_error));
}

TEST(RunChart, DrawsEachChirpAtItsHeight) {
  run_chart_t chart(8);
  for (const double value : {0.0, 1.0, 2.0, 3.0, nan, 5.0}) {
    chart.add(0.0, value);
  }
  EXPECT_EQ(chart.draw(3, "Hz"),
            "   max 5 \u2502     \u2580\n"
            "mean 2.2 \u2502  \u2584\u2580\n"
            "   min 0 \u2502\u2584\u2580\n"
            "      Hz each column is a chirp\n");
}

TEST(RunChart, LosesNoOutlierOfManyChirps) {
  run_chart_t chart(10);
  for (int i = 0; i < 100000; ++i) {
    chart.add(i, i == 77777 ? 100.0 : 0.0);
  }
  const std::string text = chart.draw(4, "");
  EXPECT_THAT(text, HasSubstr("max 100 \u2502"));
  EXPECT_THAT(text, HasSubstr("\u2588"));  // from the lowest to the highest in one column
  EXPECT_THAT(text, HasSubstr("each column is 16384 chirps"));
}

TEST(RunChart, DrawsWhatHasNoRange) {
  run_chart_t same(4);
  same.add(0.0, 3.0);
  same.add(1.0, 3.0);
  EXPECT_THAT(same.draw(3, ""), HasSubstr("\u2584\u2584"));
  EXPECT_THAT(run_chart_t(4).draw(3, ""), HasSubstr("\u2502\n"));
}

}  // namespace
