#include "synthetic.h"

#include <fmcw_demod/fmcw_demod.h>

#include <cmath>
#include <functional>
#include <limits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orn::fmcw_demod_lib {
namespace {

constexpr double nan_value = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr std::uint32_t all_ones = 0xFFFFFFFFU;

using plan_t = std::vector<std::uint32_t>;  // start, end, frame length, frame count

plan_t plan_of(const fmcw_demod_config_t& config, std::size_t samples, float fs) {
  std::vector<sample_t> capture(samples);
  const FMCWConfig parameters(config, &capture, fs);
  const auto& range = parameters.analysis_range;
  return {range.start_sample, range.end_sample, range.frame_length, range.frame_count};
}

struct plan_case_t {
  const char* name;
  std::function<void(fmcw_demod_config_t&)> change;
  plan_t expected;
  float fs = 1e6F;
  std::size_t samples = 10000;
};

/// Base of the cases: 10 ms at 1 MHz in frames of 2 ms.
fmcw_demod_config_t base_config() {
  fmcw_demod_config_t config;
  config.fs = 1e6;
  config.advanced.time_gate_len = 2e-3;
  return config;
}

TEST(FramePlan, FollowsTheSettings) {
  const plan_t nothing = {0, 0, 0, 0};
  const auto limited = [](fmcw_demod_config_t& c, double seconds) {
    c.advanced.time_auto_mode = fmcw_auto_detect_t::limited;
    c.advanced.meas_time = seconds;
  };
  const plan_case_t cases[] = {
      // The duration is a hair under 10 ms, so four whole frames fit, each a sample short.
      {"whole capture", [](auto&) {}, {0, 10000, 1999, 4}},
      {"rate from the record", [](auto&) {}, {0, 10000, 1999, 4}, 0.0F},
      {"gate longer than the span",
       [](auto& c) { c.advanced.time_gate_len = 1.0; },
       {0, 10000, 10000, 1}},
      {"infinite gate", [](auto& c) { c.advanced.time_gate_len = infinity; }, {0, 10000, 10000, 1}},
      {"gate of one sample",
       [](auto& c) { c.advanced.time_gate_len = 1e-6; },
       {0, 10000, 10000, 9999}},
      {"gate of zero", [](auto& c) { c.advanced.time_gate_len = 0.0; }, {0, 10000, all_ones, 1}},
      {"negative gate", [](auto& c) { c.advanced.time_gate_len = -1.0; }, nothing},
      {"gate that is no number", [](auto& c) { c.advanced.time_gate_len = nan_value; }, nothing},
      {"more frames than can be counted", [](auto& c) { c.advanced.time_gate_len = 1e-300; },
       nothing},
      {"both ends skipped",
       [](auto& c) {
         c.advanced.from_start = 0.25;
         c.advanced.from_end = 0.5;
       },
       {2500, 5000, 1999, 1}},
      {"everything skipped",
       [](auto& c) {
         c.advanced.from_start = 0.5;
         c.advanced.from_end = 0.5;
       },
       nothing},
      {"negative skip", [](auto& c) { c.advanced.from_start = -0.1; }, nothing},
      {"skip that is no number", [](auto& c) { c.advanced.from_end = nan_value; }, nothing},
      {"end beyond the capture", [](auto& c) { c.advanced.from_end = -0.5; }, {0, 15000, 1999, 7}},
      {"measuring time below the duration", [&](auto& c) { limited(c, 5e-3); }, {0, 5000, 1999, 2}},
      {"measuring time above the duration", [&](auto& c) { limited(c, 5.0); }, {0, 9999, 1999, 4}},
      {"measuring time that is no number",
       [&](auto& c) { limited(c, nan_value); },
       {0, 9999, 1999, 4}},
      {"negative measuring time", [&](auto& c) { limited(c, -1.0); }, nothing},
      {"negative rate, limited",
       [&](auto& c) { limited(c, 5e-3); },
       {0, 10000, 1999, all_ones - 4},
       -1e6F},
      {"no samples", [](auto&) {}, nothing, 1e6F, 0},
  };
  for (const auto& c : cases) {
    auto config = base_config();
    c.change(config);
    EXPECT_EQ(plan_of(config, c.samples, c.fs), c.expected) << c.name;
  }
  EXPECT_EQ(FMCWConfig(base_config(), nullptr, 1e6F).analysis_range, fmcw_analysis_range_t{});
}

TEST(FramePlan, CountsTheDocumentedExample) {
  fmcw_demod_config_t config;
  config.fs = 10e6;
  config.advanced.time_gate_len = 0.01;
  EXPECT_EQ(plan_of(config, 1000000, 10e6F), (plan_t{0, 1000000, 99999, 9}));
}

TEST(AnalysisParameters, DoubleTheImpedanceAndCacheTheWindows) {
  fmcw_demod_config_t config;
  config.impedance = 75.0;
  const FMCWConfig parameters(config, nullptr, 0.0F);
  EXPECT_EQ(parameters.config.impedance, 150.0);
  config.impedance = 150.0;
  EXPECT_EQ(parameters.config, config);
  for (const int n : {5, 37, 256}) {
    EXPECT_EQ(parameters.get_smoothing_window(n), basefunc::generate_triang_window(n)) << n;
    EXPECT_EQ(parameters.get_smoothing_window_double(n),
              basefunc::generate_triang_window_double(n));
  }
  EXPECT_EQ(parameters.get_smoothing_window(37), parameters.triang_37);
  EXPECT_EQ(parameters.get_smoothing_window(256), parameters.triang_256);
}

TEST(InstantaneousFreqSimple, MeasuresATone) {
  const auto tone = synthetic::from_frequency(50, 8e6, 1.0, [](double) { return -1e6; });
  std::vector<float> freq = {1.0F};
  FMCWConfig::compute_instantaneous_freq_simple(tone, 8e6F, freq);
  ASSERT_EQ(freq.size(), tone.size());
  EXPECT_THAT(freq, testing::Each(testing::FloatNear(-1e6F, 3.0F)));
  FMCWConfig::compute_instantaneous_freq_simple({tone[0], tone[1]}, 8e6F, freq);
  ASSERT_EQ(freq.size(), 2U);
  EXPECT_EQ(freq[0], freq[1]);
  for (const float fs : {0.0F, -1.0F}) {
    freq = {1.0F};
    FMCWConfig::compute_instantaneous_freq_simple(tone, fs, freq);
    EXPECT_TRUE(freq.empty()) << fs;
  }
  freq = {1.0F};
  FMCWConfig::compute_instantaneous_freq_simple({tone[0]}, 8e6F, freq);
  EXPECT_TRUE(freq.empty());
}

}  // namespace
}  // namespace orn::fmcw_demod_lib
