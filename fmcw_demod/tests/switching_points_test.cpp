#include "synthetic.h"

#include <fmcw_demod/fmcw_demod.h>

#include <functional>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

namespace orn::fmcw_demod_lib {
namespace {

constexpr double nan_value = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

struct points_t {
  int meas_start, meas_stop, dev_start, dev_stop;
  bool operator==(const points_t&) const = default;
};

std::ostream& operator<<(std::ostream& out, const points_t& p) {
  return out << "measured " << p.meas_start << " to " << p.meas_stop << ", deviation "
             << p.dev_start << " to " << p.dev_stop;
}

points_t find(const fmcw_demod_config_t& config, const std::vector<float>& slope, int start,
              int stop) {
  const synthetic::engine_t e(config);
  points_t p{-9, -9, -9, -9};
  e.engine.switch_point_para(slope, start, stop, 0, p.meas_start, p.meas_stop, p.dev_start,
                             p.dev_stop, e.parameters.config.advanced);
  return p;
}

TEST(FixedExclusion, CutsBothEndsAndWindowsWhatIsLeft) {
  // A candidate of 100 samples at 1000 in a frame at 1 MHz.
  struct cut_case_t {
    const char* name;
    std::function<void(fmcw_advanced_config_t&)> change;
    points_t expected;
  };
  const auto absolute = [](fmcw_advanced_config_t& a, double begin, double end) {
    a.devlength_ref = fmcw_devlength_ref_t::absolute;
    a.devlength_offset_begin = begin;
    a.devlength_offset_end = end;
  };
  const points_t skipped = {1000, 1099, 1000, 1000};
  const cut_case_t cases[] = {
      {"the defaults", [](auto&) {}, {1005, 1094, 1017, 1082}},
      {"fractions truncate",
       [](auto& a) { a.analysis_exclude = 0.0599; },
       {1005, 1094, 1017, 1082}},
      {"whole length", [](auto& a) { a.devlength_len = 1.0; }, {1005, 1094, 1005, 1094}},
      {"no length", [](auto& a) { a.devlength_len = 0.0; }, {1005, 1094, 1000, 1099}},
      {"more than the length", [](auto& a) { a.devlength_len = 1.06; }, {1005, 1094, 1002, 1097}},
      {"far more than the length",
       [](auto& a) { a.devlength_len = 1e300; },
       {1005, 1094, 1000, 1099}},
      {"half cut off", [](auto& a) { a.analysis_exclude = 0.5; }, {1050, 1049, 1000, 1099}},
      {"more than half cut off",
       [](auto& a) { a.analysis_exclude = 0.6; },
       {1060, 1039, 1000, 1099}},
      {"negative cut widens", [](auto& a) { a.analysis_exclude = -0.1; }, {990, 1109, 1002, 1097}},
      {"cut without a sample count", [](auto& a) { a.analysis_exclude = nan_value; }, skipped},
      {"cut beyond an int", [](auto& a) { a.analysis_exclude = 1e9; }, skipped},
      {"length without a sample count",
       [](auto& a) { a.devlength_len = nan_value; },
       {1005, 1094, 1000, 1000}},
      {"offsets", [&](auto& a) { absolute(a, 10e-6, 20.9e-6); }, {1005, 1094, 1015, 1074}},
      {"negative offsets stop at the candidate",
       [&](auto& a) { absolute(a, -3e-6, -1.0); },
       {1005, 1094, 1002, 1099}},
      {"offsets that meet", [&](auto& a) { absolute(a, 44e-6, 45e-6); }, {1005, 1094, 1000, 1099}},
      {"offset beyond 32 bits",
       [&](auto& a) { absolute(a, 100e3, 0.0); },
       {1005, 1094, 1000, 1099}},
      {"negative beyond 64 bits",
       [&](auto& a) { absolute(a, -1e300, -infinity); },
       {1005, 1094, 1000, 1099}},
      {"offset that is no number",
       [&](auto& a) { absolute(a, 0.0, nan_value); },
       {1005, 1094, 1000, 1000}},
  };
  for (const auto& c : cases) {
    fmcw_demod_config_t config;
    config.fs = 1e6;
    config.advanced.st_config = fmcw_st_config_t::fixed_exclusion;
    c.change(config.advanced);
    auto expected = c.expected;
    const auto found = find(config, {}, 1000, 1099);
    if (expected.dev_start == expected.dev_stop) {  // skipped: only that matters
      EXPECT_GE(found.dev_start, found.dev_stop) << c.name;
    } else {
      EXPECT_EQ(found, expected) << c.name;
    }
  }
}

/// Slopes of a segment: runs of (length, value).
std::vector<float> runs(const std::vector<std::pair<int, float>>& parts) {
  std::vector<float> slope;
  for (const auto& [length, value] : parts) {
    slope.insert(slope.end(), static_cast<std::size_t>(length), value);
  }
  return slope;
}

TEST(SlopeBand, KeepsFromTheFirstRiseToTheLastFall) {
  constexpr float in = 100.0F;
  constexpr float out = 150.0F;
  struct band_case_t {
    const char* name;
    std::vector<float> slope;
    int meas_start, meas_stop;
  };
  const float nan_slope = std::numeric_limits<float>::quiet_NaN();
  const band_case_t cases[] = {
      {"transients at both ends", runs({{10, out}, {82, in}, {8, out}}), 10, 91},
      {"in band throughout", runs({{100, in}}), 0, 99},
      {"out of band throughout", runs({{100, out}}), 0, 99},
      {"no rise", runs({{92, in}, {8, out}}), 0, 99},
      {"no fall", runs({{10, out}, {90, in}}), 0, 99},
      {"fall before rise", runs({{10, in}, {10, out}, {80, in}}), 0, 99},
      {"a blip counts as the first rise", runs({{10, out}, {2, in}, {8, out}, {70, in}, {10, out}}),
       10, 89},
      {"a lone blip of one sample is no interval", runs({{10, out}, {1, in}, {89, out}}), 0, 99},
      {"NaN is out of band", runs({{10, nan_slope}, {80, in}, {10, nan_slope}}), 10, 89},
      {"bounds belong to the band", runs({{10, 110.5F}, {40, 110.0F}, {40, 90.0F}, {10, 89.5F}}),
       10, 89},
  };
  for (const auto& c : cases) {
    fmcw_demod_config_t config;
    config.chirp_detect = fmcw_chirp_detect_t::configured;
    config.advanced.chirp = {100.0, 10.0, 0};
    config.advanced.devlength_len = 1.0;
    auto padded = runs({{5, in}});
    padded.insert(padded.end(), c.slope.begin(), c.slope.end());
    const auto found = find(config, padded, 5, 104);
    EXPECT_EQ(found.meas_start, c.meas_start + 5) << c.name;
    EXPECT_EQ(found.meas_stop, c.meas_stop + 5) << c.name;
  }
}

TEST(SlopeBand, MayEndBetweenFloats) {
  // 90 and 110 lie outside by less than half of their spacing, which is 7.6e-6.
  fmcw_demod_config_t config;
  config.chirp_detect = fmcw_chirp_detect_t::configured;
  config.advanced.chirp = {100.0, 10.0 - 2e-6, 0};
  const auto found = find(config, runs({{10, 90.0F}, {80, 100.0F}, {10, 110.0F}}), 0, 99);
  EXPECT_EQ(found.meas_start, 10);
  EXPECT_EQ(found.meas_stop, 89);
}

TEST(SlopeBand, ComesFromTheSettingsOrTheMedian) {
  // 60 samples of 100, 40 of 106: the median is 100, 106 lies outside 5 % of it.
  const auto slope = runs({{5, 500.0F}, {55, 100.0F}, {35, 106.0F}, {5, 500.0F}});
  struct mode_case_t {
    const char* name;
    fmcw_chirp_set_t set;
    fmcw_chirp_detect_t detect;
    int meas_start, meas_stop;
    double ref_slope, slope_tol;  // in the parameters afterwards
  };
  using set = fmcw_chirp_set_t;
  using detect = fmcw_chirp_detect_t;
  for (const auto& c : {
           mode_case_t{"both automatic", set::automatic, detect::automatic, 5, 59, 100.0, 5.0},
           mode_case_t{"configured width", set::configured, detect::automatic, 5, 94, 500.0, 8.0},
           mode_case_t{"all configured", set::configured, detect::configured, 0, 99, 500.0, 8.0},
           mode_case_t{"no centre found", set::automatic, detect::configured, 0, 99, 500.0, 8.0},
       }) {
    fmcw_demod_config_t config;
    config.chirp_set = c.set;
    config.chirp_detect = c.detect;
    config.advanced.chirp = {500.0, 8.0, 0};
    const synthetic::engine_t e(config);
    points_t p{};
    e.engine.switch_point_para(slope, 0, 99, 0, p.meas_start, p.meas_stop, p.dev_start, p.dev_stop,
                               e.parameters.config.advanced);
    EXPECT_EQ(p.meas_start, c.meas_start) << c.name;
    EXPECT_EQ(p.meas_stop, c.meas_stop) << c.name;
    EXPECT_EQ(e.parameters.config.advanced.chirp.ref_slope, c.ref_slope) << c.name;
    EXPECT_EQ(e.parameters.config.advanced.chirp.slope_tol, c.slope_tol) << c.name;
  }
}

TEST(SlopeBand, TakesTinyAndForeignCandidatesWhole) {
  const std::vector<float> slope(10, 1.0F);
  EXPECT_EQ(find({}, slope, 4, 4), (points_t{4, 4, 4, 4}));
  EXPECT_EQ(find({}, slope, 4, 3), (points_t{4, 3, 4, 3}));
  EXPECT_EQ(find({}, slope, -3, 5).meas_start, -3);
  EXPECT_EQ(find({}, slope, 5, 10).meas_stop, 10);
  constexpr int lowest = std::numeric_limits<int>::min();
  constexpr int highest = std::numeric_limits<int>::max();
  EXPECT_EQ(find({}, slope, lowest, highest).meas_start, lowest);
}

}  // namespace
}  // namespace orn::fmcw_demod_lib
