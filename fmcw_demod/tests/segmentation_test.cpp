#include "synthetic.h"

#include <fmcw_demod/fmcw_demod.h>

#include <limits>
#include <new>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orn::fmcw_demod_lib {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(StableIntervals, AreClippedToTheFrame) {
  const synthetic::engine_t e;
  const std::vector<interval_t> intervals = {
      {50, 99}, {50, 100}, {150, 250}, {200, 300}, {120, 130}};
  EXPECT_THAT(e.engine.extract_frame_stable_intervals(intervals, 100, 200),
              ElementsAre(interval_t(0, 0), interval_t(50, 99), interval_t(20, 30)));
  EXPECT_THAT(e.engine.extract_frame_stable_intervals(intervals, 100, 100), IsEmpty());
  EXPECT_THAT(e.engine.extract_frame_stable_intervals(intervals, 100, 0), IsEmpty());
  EXPECT_THAT(e.engine.extract_frame_stable_intervals({}, 0, 10), IsEmpty());
}

TEST(FillInstantaneous, IntegratesEachIntervalFromZero) {
  const synthetic::engine_t e;
  std::vector<float> time(50);
  for (std::size_t i = 0; i < time.size(); ++i) {
    time[i] = static_cast<float>(i) * 0.125F;
  }
  const std::vector<double> freq(50, 2.0);
  std::vector<float> phase(3, 9.0F);
  std::vector<float> freq_out(3, 9.0F);
  e.engine.fill_instantaneous(50, {{10, 30}, {20, 40}, {45, 45}, {46, 50}, {48, 49}}, time, freq,
                              phase, freq_out);
  ASSERT_EQ(phase.size(), 50U);
  EXPECT_EQ(freq_out, std::vector<float>(50, 2.0F));
  const auto per_sample = static_cast<float>(synthetic::two_pi * 2.0 * 0.125);
  EXPECT_EQ(phase[9], 0.0F);
  EXPECT_FLOAT_EQ(phase[19], 9 * per_sample);
  EXPECT_EQ(phase[20], 0.0F) << "the later interval wins and starts again";
  EXPECT_FLOAT_EQ(phase[40], 20 * per_sample);
  EXPECT_EQ(phase[45], 0.0F);
  EXPECT_EQ(phase[47], 0.0F) << "reaches past the capture: left out whole";
  EXPECT_FLOAT_EQ(phase[49], per_sample);

  e.engine.fill_instantaneous(0, {{0, 5}}, time, freq, phase, freq_out);
  EXPECT_THAT(phase, IsEmpty());
  EXPECT_EQ(freq_out.size(), 50U);
  // Traces shorter than the count leave out what they do not cover.
  e.engine.fill_instantaneous(60, {{40, 55}}, time, freq, phase, freq_out);
  EXPECT_EQ(phase.size(), 60U);
  EXPECT_THAT(phase, Each(0.0F));
  EXPECT_THROW(e.engine.fill_instantaneous(1ULL << 63, {}, time, freq, phase, freq_out),
               std::bad_alloc);
}

fmcw_measure_result_t summarize(fmcw_measure_result_t result, float first_start,
                                const std::vector<double>& switching, std::uint32_t count,
                                double frequency_sum) {
  synthetic::engine_t().engine.get_summary_info({{1.0F, 0.0F}}, result, first_start, switching,
                                                count, frequency_sum);
  return result;
}

TEST(Summary, FallsBackWithoutChirps) {
  fmcw_measure_result_t input;
  input.instantaneous_freq = {5.0F, 1.0F, 3.0F, 2.0F};
  const auto result = summarize(input, 0.0F, {}, 0, 0.0);
  EXPECT_EQ(result.chirp_total, 0U);
  EXPECT_EQ(result.chirps_valid, 1U);
  EXPECT_EQ(result.summary_valid, 1U);
  EXPECT_EQ(result.power_peak, -300.0F);
  EXPECT_EQ(result.power_avg, 10.0F);
  EXPECT_EQ(result.freq_avg, 3.0F);
  EXPECT_EQ(result.switching_time_std, 0.0F);
  EXPECT_EQ(result.summary_slope_tol, 1600.0F);
  EXPECT_EQ(input.instantaneous_freq, result.instantaneous_freq);
  EXPECT_EQ(summarize({}, 0.0F, {}, 0, 0.0).freq_avg, 0.0F);
}

TEST(Summary, CondensesTheChirps) {
  fmcw_measure_result_t input;
  input.chirp_results.resize(3);
  input.chirp_results[0].power_peak = -12.5;
  input.chirp_results[1].power_peak = std::numeric_limits<double>::quiet_NaN();
  input.chirp_results[2].power_peak = -13.0;
  input.instantaneous_freq = {1.0F};
  const auto result = summarize(input, 0.0025F, {0.0, 10e-6, 20e-6}, 3, 600.0);
  EXPECT_EQ(result.chirp_total, 3U);
  EXPECT_EQ(result.power_peak, -12.5F);
  EXPECT_EQ(result.first_chirp_start, 2500.0F);
  EXPECT_FLOAT_EQ(result.switching_time_std, 8.1649658F);
  EXPECT_EQ(result.freq_avg, 200.0F);
  EXPECT_EQ(summarize(input, 0.0F, {5e-6}, 1, 1.0).switching_time_std, 0.0F);
}

}  // namespace
}  // namespace orn::fmcw_demod_lib
