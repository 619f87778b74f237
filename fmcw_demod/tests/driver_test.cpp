#include "synthetic.h"

#include <fmcw_demod/fmcw_demod.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orn::fmcw_demod_lib {
namespace {

using synthetic::engine_t;
using synthetic::sawtooth_t;
using testing::ElementsAre;
using testing::IsEmpty;

/// Five ramps of 2000 samples at 10 MHz between fly-backs of 100; the first has none before it.
const sawtooth_t sawtooth;

TEST(Analysis, MeasuresEveryChirpBetweenTwoFlybacks) {
  const auto result = engine_t(sawtooth.config(), sawtooth.stream()).analyze();
  ASSERT_EQ(result.chirp_results.size(), 4U);
  EXPECT_EQ(result.chirp_total, 4U);
  EXPECT_EQ(result.chirp_intervals, result.selected_intervals);
  EXPECT_EQ(result.chirp_intervals, result.stable_intervals);
  for (std::size_t i = 0; i < 4; ++i) {
    const auto& c = result.chirp_results[i];
    EXPECT_EQ(c.chirp_id, i + 1);
    EXPECT_NEAR(c.slope, sawtooth.slope() * 1e-9, 1e-5 * sawtooth.slope() * 1e-9);
    const auto [first, last] = result.chirp_intervals[i];
    const double ramp_start = 2100.0 * static_cast<double>(i + 1);
    if (i < 3) {
      // Smoothing over 256 samples spreads a fly-back by less than 128 into the ramps.
      EXPECT_NEAR(static_cast<double>(first), ramp_start + 64.0, 64.0);
      EXPECT_NEAR(static_cast<double>(last), ramp_start + 2000.0 - 64.0, 64.0);
    }
    EXPECT_EQ(c.start_time, static_cast<double>(result.time_axis[first] -
                                                result.time_axis[result.chirp_intervals[0].first]) +
                                result.chirp_results[0].start_time)
        << i;
    EXPECT_EQ(c.length, c.stop_time - c.start_time);
    EXPECT_EQ(c.switching_time,
              i == 0 ? 0.0 : c.start_time - result.chirp_results[i - 1].stop_time);
    EXPECT_FLOAT_EQ(static_cast<float>(c.power_avg), 10.0F);
  }
  EXPECT_NEAR(result.first_chirp_start, 216.4F, 6.4F);
  EXPECT_EQ(
      result.freq_avg,
      static_cast<float>((result.chirp_results[0].freq_avg + result.chirp_results[1].freq_avg +
                          result.chirp_results[2].freq_avg + result.chirp_results[3].freq_avg) /
                         4.0));
}

TEST(Analysis, FillsTheTracesOfTheWholeCapture) {
  const auto result = engine_t(sawtooth.config(), sawtooth.stream()).analyze();
  for (const auto* trace : {&result.time_axis, &result.instantaneous_freq,
                            &result.instantaneous_power, &result.spectrogram_phase_inst}) {
    ASSERT_EQ(trace->size(), sawtooth.count);
  }
  EXPECT_EQ(result.time_axis[7], static_cast<float>(7 / sawtooth.fs));
  EXPECT_EQ(result.spectrogram_wincfg.size(), (sawtooth.count - 64) / 4);
  EXPECT_NEAR(result.instantaneous_freq[3000], sawtooth.frequency(3000), 100.0);
  EXPECT_EQ(result.spectrogram_phase_inst[0], 0.0F);
  const auto [first, last] = result.chirp_intervals[0];
  EXPECT_EQ(result.spectrogram_phase_inst[first], 0.0F);
  EXPECT_NE(result.spectrogram_phase_inst[first + 1], 0.0F);
  EXPECT_EQ(result.spectrogram_phase_inst[last + 1], 0.0F);
  EXPECT_NEAR(result.instantaneous_power[5], 10.0F, 1e-5);
  EXPECT_EQ(result.frame_power.size(), sawtooth.count);
  EXPECT_EQ(result.frame_time_axis, result.time_axis);
  EXPECT_EQ(result.chirp_power.size(), result.chirp_time_axis.size());
  EXPECT_EQ(result.chirp_time_axis[0], 0.0F) << "re-based to the first candidate";
  EXPECT_GT(result.chirp_freq_fit.size(), 1000U);
  EXPECT_EQ(result.chirp_freq_fit.size(), result.chirp_phi_fit.size());
  EXPECT_TRUE(result.instantaneous_phase.empty());
}

TEST(Analysis, TimeAxisDividesInDouble) {
  auto config = sawtooth.config();
  config.fs = 1e7 / 3.0;  // no float
  const auto result = engine_t(config, sawtooth.stream()).analyze();
  ASSERT_EQ(result.time_axis.size(), sawtooth.count);
  for (std::size_t i = 0; i < sawtooth.count; ++i) {
    ASSERT_EQ(result.time_axis[i], static_cast<float>(static_cast<double>(i) / config.fs)) << i;
  }
}

TEST(Analysis, ResetsTheResultWhenTheRangeDoesNotFit) {
  fmcw_measure_result_t used = engine_t(sawtooth.config(), sawtooth.stream()).analyze();
  used.psd_freq = {1.0F};
  engine_t e(sawtooth.config(), sawtooth.stream());
  SignalStream shorter{{e.signal.samples.begin(), e.signal.samples.end() - 1}, 0.0F};
  e.engine.analyze(shorter, used);
  EXPECT_EQ(used.chirp_total, 0U);
  EXPECT_EQ(used.summary_valid, 0U);
  EXPECT_THAT(used.chirp_results, IsEmpty());
  EXPECT_THAT(used.time_axis, IsEmpty());
  EXPECT_THAT(used.psd_freq, IsEmpty());
  SignalStream longer = sawtooth.stream();
  longer.samples.resize(12000);
  e.engine.analyze(longer, used);
  EXPECT_EQ(used.time_axis.size(), 12000U) << "a longer capture is analysed in the planned range";
  EXPECT_EQ(used.frame_power.size(), 10000U);
}

TEST(Analysis, KeepsAndClearsWhatItShouldInAUsedRecord) {
  engine_t e(sawtooth.config(), sawtooth.stream());
  fmcw_measure_result_t used = e.analyze();
  const auto first = used;
  used.instantaneous_phase = {1.0F};
  used.spectrogram = {{1.0F}};
  used.spectrogram_peak_freq = {2.0F};
  used.psd_magnitude_dB = {3.0F};
  e.engine.analyze(e.signal, used);
  EXPECT_EQ(used.chirp_intervals, first.chirp_intervals);
  EXPECT_EQ(used.chirp_freq_fit, first.chirp_freq_fit);
  EXPECT_THAT(used.instantaneous_phase, ElementsAre(1.0F));
  EXPECT_EQ(used.spectrogram.size(), 1U);
  EXPECT_THAT(used.spectrogram_peak_freq, ElementsAre(2.0F));
  EXPECT_THAT(used.psd_magnitude_dB, ElementsAre(3.0F));

  // Silence has no candidate: first-frame and display traces stay, fits and intervals go.
  SignalStream silence{std::vector<sample_t>(sawtooth.count, 1.0F), 0.0F};
  e.engine.analyze(silence, used);
  EXPECT_THAT(used.chirp_results, IsEmpty());
  EXPECT_THAT(used.chirp_intervals, IsEmpty());
  EXPECT_THAT(used.stable_intervals, IsEmpty());
  EXPECT_THAT(used.chirp_freq_fit, IsEmpty());
  EXPECT_THAT(used.chirp_phi_fit, IsEmpty());
  EXPECT_EQ(used.chirp_freq_dev, first.chirp_freq_dev);
  EXPECT_EQ(used.frame_power, first.frame_power);
  EXPECT_EQ(used.chirp_time_axis, first.chirp_time_axis);
  EXPECT_EQ(used.summary_valid, 1U);
  EXPECT_EQ(used.power_peak, -300.0F);
  EXPECT_EQ(used.first_chirp_start, 0.0F);
  EXPECT_EQ(used.freq_avg, 0.0F);
  EXPECT_EQ(
      std::count(used.spectrogram_phase_inst.begin(), used.spectrogram_phase_inst.end(), 0.0F),
      static_cast<std::ptrdiff_t>(sawtooth.count));
}

struct selection_case_t {
  const char* name;
  std::uint32_t start, count;
  std::vector<std::uint32_t> selected;  // by chirp_no
};

TEST(Analysis, SelectsChirpsByPosition) {
  for (const auto& c : {
           selection_case_t{"the middle", 1, 2, {1, 2}},
           selection_case_t{"past the end", 2, 30, {2, 3}},
           selection_case_t{"beyond the last clamps to it", 9, 1, {3}},
           selection_case_t{"none", 1, 0, {}},
           selection_case_t{"zero of zero wraps to all", 0, 0, {0, 1, 2, 3}},
       }) {
    auto config = sawtooth.config();
    config.advanced.chirp_start = c.start;
    config.advanced.chirp_count = c.count;
    const auto result = engine_t(config, sawtooth.stream()).analyze();
    std::vector<interval_t> expected;
    for (const auto no : c.selected) {
      expected.push_back(result.chirp_intervals[no]);
    }
    EXPECT_EQ(result.selected_intervals, expected) << c.name;
  }
}

TEST(Analysis, CarriesTheSelectionPastSkippedChirps) {
  // Cut off by half at both ends, every candidate is left empty and skipped.
  auto config = sawtooth.config();
  config.advanced.st_config = fmcw_st_config_t::fixed_exclusion;
  config.advanced.analysis_exclude = 0.5;
  auto result = engine_t(config, sawtooth.stream()).analyze();
  EXPECT_THAT(result.chirp_results, IsEmpty());
  EXPECT_THAT(result.selected_intervals, IsEmpty());
  EXPECT_GT(result.chirp_power.size(), 1000U) << "shown before it was skipped";
  EXPECT_THAT(result.chirp_freq_fit, IsEmpty());
  EXPECT_NEAR(result.first_chirp_start, 216.4F, 6.4F);

  // The last candidate ends two samples before the frame's last one, which has no slope: it may be
  // widened by one sample, not by two.
  config.advanced.analysis_exclude = 0.0;
  result = engine_t(config, sawtooth.stream()).analyze();
  ASSERT_EQ(result.chirp_results.size(), 4U);
  const auto [first, last] = result.chirp_intervals[3];
  const auto length = static_cast<double>(last - first + 1);
  EXPECT_EQ(last, sawtooth.count - 3);
  config.advanced.analysis_exclude = -1.5 / length;
  EXPECT_EQ(engine_t(config, sawtooth.stream()).analyze().chirp_results.size(), 4U);
  config.advanced.analysis_exclude = -2.5 / length;
  EXPECT_EQ(engine_t(config, sawtooth.stream()).analyze().chirp_results.size(), 3U);

  // Widened by 8 %, all but the last candidate, whose end leaves the frame, are measured.
  config.advanced.analysis_exclude = -0.08;
  result = engine_t(config, sawtooth.stream()).analyze();
  ASSERT_EQ(result.chirp_results.size(), 3U);
  EXPECT_EQ(result.chirp_results[2].chirp_no, 2U);

  // Widened so far that the first candidate begins before the frame: it is skipped, its selection
  // passes to the next one that is measured, and that one's gap counts from the frame's start.
  auto wide = sawtooth;
  wide.ramp = 1000.0;
  wide.flyback = 400.0;
  config = wide.config();
  config.advanced.min_chirp_len = 80e-6;
  config.advanced.max_chirp_len = 115e-6;
  config.advanced.st_config = fmcw_st_config_t::fixed_exclusion;
  config.advanced.analysis_exclude = -1.6;
  config.advanced.chirp_start = 0;
  config.advanced.chirp_count = 1;
  result = engine_t(config, wide.stream()).analyze();
  ASSERT_GE(result.chirp_results.size(), 2U);
  EXPECT_EQ(result.chirp_results[0].chirp_no, 1U);
  EXPECT_EQ(result.chirp_results[0].chirp_id, 1U);
  EXPECT_EQ(result.chirp_results[0].switching_time, result.chirp_results[0].start_time);
  EXPECT_THAT(result.selected_intervals, ElementsAre(result.chirp_intervals[0]));
}

TEST(Analysis, ShowsTheDisplayChirpOfTheFirstFrame) {
  auto config = sawtooth.config();
  config.display_chirpNO = 2;
  auto result = engine_t(config, sawtooth.stream()).analyze();
  const auto third = result.chirp_time_axis;
  EXPECT_NEAR(third[0], 2 * 210e-6, 1e-6);
  config.display_chirpNO = 99;
  result = engine_t(config, sawtooth.stream()).analyze();
  EXPECT_NEAR(result.chirp_time_axis[0], 3 * 210e-6, 1e-6) << "beyond the last: the last";
}

TEST(Analysis, CutsTheCaptureIntoFrames) {
  auto config = sawtooth.config();
  config.advanced.time_gate_len = 450e-6;  // 4499 samples, two frames of the capture's 1 ms
  config.advanced.st_config = fmcw_st_config_t::fixed_exclusion;
  engine_t e(config, sawtooth.stream());
  EXPECT_EQ(e.parameters.analysis_range, (fmcw_analysis_range_t{0, 10000, 4499, 2}));
  const auto result = e.analyze();
  ASSERT_EQ(result.chirp_results.size(), 2U);
  // Each frame starts its own numbering and clock; identities run on.
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(result.chirp_results[i].chirp_no, 0U);
    EXPECT_EQ(result.chirp_results[i].chirp_id, i + 1);
    EXPECT_EQ(result.chirp_results[i].switching_time, 0.0);
    EXPECT_NEAR(result.chirp_results[i].start_time, 0.05 * 192e-6, 1e-6);
  }
  EXPECT_EQ(result.frame_power.size(), 4499U);
  EXPECT_THAT(result.stable_intervals, ElementsAre(result.chirp_intervals[0]));
  EXPECT_GE(result.chirp_intervals[1].first, 4499U);
}

TEST(Analysis, StoresTheMeasuredSlopeBandOnlyInItsParameters) {
  auto config = sawtooth.config();
  config.chirp_set = fmcw_chirp_set_t::automatic;
  engine_t e(config, sawtooth.stream());
  const auto result = e.analyze();
  EXPECT_NEAR(result.summary_slope_tol, 0.05 * sawtooth.slope() * 1e-9, 1e-4);
  EXPECT_NEAR(e.parameters.config.advanced.chirp.ref_slope, sawtooth.slope(), 1e7);
  EXPECT_EQ(config.advanced.chirp.slope_tol, 1.6e12);
}

TEST(Analysis, KeepsCandidatesStrictlyBetweenTheLimits) {
  const auto candidates = [&](double shortest, double longest) {
    auto config = sawtooth.config();
    config.advanced.min_chirp_len = shortest;
    config.advanced.max_chirp_len = longest;
    return engine_t(config, sawtooth.stream()).analyze().chirp_results.size();
  };
  auto shown = engine_t(sawtooth.config(), sawtooth.stream()).analyze();
  // The displayed part ends one sample before the last but one of the candidate.
  const auto samples = shown.chirp_time_axis.size();
  const auto first = static_cast<std::size_t>(std::lround(shown.first_chirp_start * 10.0F));
  const double duration = shown.time_axis[first + samples + 1] - shown.time_axis[first];
  EXPECT_GT(candidates(std::nextafter(duration, 0.0), 1.0), 0U);
  EXPECT_LT(candidates(duration, 1.0), candidates(std::nextafter(duration, 0.0), 1.0));
  EXPECT_LT(candidates(0.0, duration), candidates(0.0, std::nextafter(duration, 1.0)));
}

TEST(Analysis, SurvivesACandidateOfOneSampleOnDisplay) {
  // With a negative lower limit the last boundary and the frame's end may be neighbours.
  auto small = sawtooth;
  for (small.count = 2000; small.count < 2150; ++small.count) {
    auto config = small.config();
    config.advanced.min_chirp_len = -1.0;
    config.display_chirpNO = 99;
    engine_t e(config, small.stream());
    const auto result = e.analyze();
    ASSERT_EQ(result.summary_valid, 1U) << small.count;
    ASSERT_EQ(result.chirp_power.size(), result.chirp_time_axis.size()) << small.count;
  }
}

/// Records and samples that no host should pass, and every host might.
TEST(Analysis, EndsForAnyRecordAndSamples) {
  constexpr double values[] = {0.0,
                               -1.0,
                               1e-300,
                               1e300,
                               -1e300,
                               std::numeric_limits<double>::quiet_NaN(),
                               std::numeric_limits<double>::infinity()};
  using A = fmcw_advanced_config_t;
  constexpr double A::*settings[] = {
      &A::meas_time,           &A::time_gate_len, &A::min_chirp_len,
      &A::max_chirp_len,       &A::from_start,    &A::from_end,
      &A::analysis_exclude,    &A::devlength_len, &A::devlength_offset_begin,
      &A::devlength_offset_end};
  sawtooth_t small = sawtooth;
  small.ramp = 600.0;
  small.count = 3000;
  auto strange = small.stream();
  const float nan_value = std::numeric_limits<float>::quiet_NaN();
  const float infinity = std::numeric_limits<float>::infinity();
  strange.samples[100] = {nan_value, 1.0F};
  strange.samples[900] = {infinity, -infinity};
  strange.samples[1700] = {3e38F, 3e38F};
  strange.samples[2500] = {1e-45F, 0.0F};
  for (const auto& stream : {small.stream(), strange}) {
    for (const double A::*setting : settings) {
      for (const double value : values) {
        for (const std::uint32_t mode : {0U, 1U, 7U}) {
          auto config = small.config();
          config.advanced.*const_cast<double A::*>(setting) = value;
          config.advanced.time_auto_mode = static_cast<fmcw_auto_detect_t>(mode);
          config.advanced.st_config = static_cast<fmcw_st_config_t>(mode);
          config.advanced.devlength_ref = static_cast<fmcw_devlength_ref_t>(mode);
          engine_t e(config, stream);
          if (e.parameters.analysis_range.frame_count < 100000) {
            const auto result = e.analyze();
            EXPECT_EQ(result.chirp_results.size(), result.chirp_intervals.size());
          }
        }
      }
    }
    for (const double value : values) {
      auto config = small.config();
      config.fs = value;
      config.impedance = value;
      config.advanced.chirp.ref_slope = value;
      config.advanced.chirp.slope_tol = value;
      config.chirp_detect = fmcw_chirp_detect_t::configured;
      const auto result = engine_t(config, stream).analyze();
      EXPECT_EQ(result.chirp_total, result.chirp_results.size());
    }
  }
}

}  // namespace
}  // namespace orn::fmcw_demod_lib
