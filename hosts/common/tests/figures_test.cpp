#include "common/diagnosis/neighbours.h"
#include "common/errors.h"
#include "common/figures/figure_table.h"
#include "common/figures/flags.h"
#include "common/figures/settling.h"
#include "common/figures/summary.h"
#include "common/spans/recording_analysis.h"
#include "common/synth/synthesizer.h"
#include "own_folder.h"
#include "signals.h"

#include <cmath>
#include <limits>
#include <numbers>
#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace orn::fmcw_host {
namespace {

using testing::HasSubstr;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST(Settling, ReadsTolerances) {
  struct text_case_t {
    const char* text;
    double share, hz, degrees;  // 0 Hz: none
  };
  for (const auto& c : {text_case_t{"0.1%", 0.001, 0, 5}, text_case_t{"50kHz", 0.01, 50e3, 5},
                        text_case_t{"2deg", 0.01, 0, 2}, text_case_t{"0.5%,20deg", 0.005, 0, 20},
                        text_case_t{"1e3,0.1deg", 0.01, 1e3, 0.1}}) {
    const settling_tolerance_t tolerance = parse_settling(c.text, "--settling");
    EXPECT_DOUBLE_EQ(tolerance.share, c.share) << c.text;
    EXPECT_DOUBLE_EQ(tolerance.frequency.value_or(0.0), c.hz) << c.text;
    EXPECT_DOUBLE_EQ(tolerance.phase, c.degrees * std::numbers::pi / 180.0) << c.text;
  }
  for (const char* const text : {"", ",", "0", "-1%", "nan", "1%,", "1%,2", "2deg,1%", "1%,0deg",
                                 "1%,2deg,3deg", "5us", "deg"}) {
    const auto message = message_of<input_error_t>([&] { parse_settling(text, "--settling"); });
    EXPECT_THAT(message, HasSubstr("--settling cannot be '" + std::string(text) + "'")) << text;
    EXPECT_THAT(message, HasSubstr("such as 0.1%, 50kHz"));
  }
}

/// A ramp of 10000 samples at 100 MS/s and 4 kHz per sample, 40 MHz in all, with a transient of 5 %
/// that falls by 1/e in 500 samples (5 us).
std::vector<float> settling_ramp(double overshoot = 2e6) {
  std::vector<float> frequency(10000);
  for (std::size_t i = 0; i < frequency.size(); ++i) {
    const auto t = static_cast<double>(i);
    frequency[i] = static_cast<float>(-20e6 + 4e3 * t + overshoot * std::exp(-t / 500.0));
  }
  return frequency;
}

TEST(Settling, IsThatOfAnExponential) {
  constexpr double rate = 100e6;
  constexpr double tau = 5e-6;
  const settling_t settling =
      settling_of(settling_ramp(), 1.0, rate, 40e6, parse_settling("0.1%,30deg", ""));
  // 2 MHz exp(-t / tau) falls to 40 kHz, and the phase still to come, 2 pi 2 MHz tau exp(-t / tau),
  // to 30 degrees. What is left of the transient in the second half turns the line by little.
  EXPECT_NEAR(settling.frequency_time, tau * std::log(2e6 / 40e3), 0.05e-6);
  const double all_phase = 2 * std::numbers::pi * 2e6 * tau;
  EXPECT_NEAR(settling.phase_time, tau * std::log(all_phase / (std::numbers::pi / 6)), 0.2e-6);
  EXPECT_NEAR(settling.overshoot, 2e6, 2e3);
  EXPECT_NEAR(settling_of(settling_ramp(-2e6), 1.0, rate, 40e6, {}).overshoot, -2e6, 2e3);
  // The same with frequencies told four times as high.
  auto scaled = settling_ramp();
  for (float& value : scaled) {
    value *= 4.0F;
  }
  const settling_t same = settling_of(scaled, 0.25, rate, 40e6, parse_settling("0.1%,30deg", ""));
  EXPECT_EQ(same.frequency_time, settling.frequency_time);
  EXPECT_EQ(same.phase_time, settling.phase_time);
  EXPECT_EQ(same.overshoot, settling.overshoot);
}

TEST(Settling, OfThePhaseIsThatOfTheIntegral) {
  // 1 MHz up for 100 samples, as far down for 100 more: one turn and back.
  auto frequency = settling_ramp(0.0);
  for (std::size_t i = 0; i < 200; ++i) {
    frequency[i] += i < 100 ? 1e6F : -1e6F;
  }
  const auto phase_time = [&](const char* tolerance) {
    return settling_of(frequency, 1.0, 100e6, 40e6, parse_settling(tolerance, "")).phase_time;
  };
  EXPECT_EQ(phase_time("361deg"), 0.0);
  EXPECT_NEAR(phase_time("359deg"), 100.0 / 100e6, 2.0 / 100e6);
  EXPECT_NEAR(phase_time("90deg"), 175.0 / 100e6, 2.0 / 100e6);
}

TEST(Settling, OfWhatNeverSettlesAndOfNothing) {
  EXPECT_EQ(settling_of(settling_ramp(0.0), 1.0, 100e6, 40e6, {}).frequency_time, 0.0);
  auto late = settling_ramp(0.0);
  late[8000] += 1e6F;
  EXPECT_TRUE(std::isnan(settling_of(late, 1.0, 100e6, 40e6, {}).frequency_time));
  late = settling_ramp(0.0);
  late[9990] += 1e6F;  // the smoothing reaches over the chirp's end there
  EXPECT_EQ(settling_of(late, 1.0, 100e6, 40e6, {}).frequency_time, 0.0);
  late = settling_ramp(0.0);
  late[300] = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(settling_of(late, 1.0, 100e6, 40e6, {}).frequency_time, 301.0 / 100e6);
  late[9000] = late[300];
  EXPECT_TRUE(std::isnan(settling_of(late, 1.0, 100e6, 40e6, {}).frequency_time));
  for (const std::size_t n : {0U, 1U, 39U, 40U}) {
    const std::vector<float> few(n, 1.0F);
    EXPECT_EQ(std::isnan(settling_of(few, 1.0, 1.0, 1.0, {}).overshoot), n < 40) << n;
  }
}

/// The rows of a transmitter's signal, with settings as a user would give them.
std::vector<chirp_t> measured(const transmitter_t& transmitter, const std::string& limits,
                              const measure_options_t& options = {}) {
  synthesizer_t synthesizer(transmitter);
  std::vector<sample_t> samples(static_cast<std::size_t>(sample_count_of(transmitter)));
  synthesizer.read(samples);
  settings_t settings;
  settings.manager.set_fs(transmitter.sample_rate);
  apply_settings({"",
                  {"max_chirp_len=" + limits, "min_chirp_len=40us", "slope_tol=200kHz/us",
                   "devlength_ref=0", "devlength_offset_begin=10us", "devlength_offset_end=10us"}},
                 settings);
  std::vector<chirp_t> rows;
  recording_analysis_t analysis(settings, 1, {[&](const chirp_t& chirp) { rows.push_back(chirp); }},
                                {}, 0.0, options);
  segment_t segment;
  segment.sample_count = samples.size();
  vector_source_t source(samples);
  analysis.analyze(segment, source);
  return rows;
}

/// The middle frequency of the parabola nearest in phase: its line takes from the cubic phase of a
/// parabolic deviation what is left of it over the window, 3/5 of the way from the middle's to that
/// at the ends.
double fitted_middle(const transmitter_t& transmitter, double time, double share) {
  const double bow = transmitter.quadratic * transmitter.bandwidth * share * share;
  return frequency_at(transmitter, time) - (transmitter.falling ? -1.0 : 1.0) * bow / 5.0;
}

TEST(Figures, OfTheFitAreTheTransmitters) {
  transmitter_t transmitter;
  transmitter.idle = 10e-6;
  transmitter.snr = 20.0;
  transmitter.quadratic = 0.01;
  transmitter.offset = 3e6;
  for (const bool falling : {false, true}) {
    transmitter.falling = falling;
    const double sign = falling ? -1.0 : 1.0;
    const auto rows = measured(transmitter, "150us");
    ASSERT_GE(rows.size(), 9U);
    for (const chirp_t& row : rows) {
      const phase_fit_t& fit = row.fit;
      EXPECT_LT(fit.slope_u, 3.3e5);
      // The parabola of 1 % of 40 MHz and what of it n samples see.
      const double share = (row.figures.length - 64.0 / 125e6) / 100e-6;
      EXPECT_NEAR(fit.curvature, sign * 0.4e6 * share * share, 5.0 * fit.curvature_u);
      const double middle = 0.5 * (row.start + row.stop);
      const double aside = 40e-6;
      const double rise =
          frequency_at(transmitter, middle + aside) - frequency_at(transmitter, middle - aside);
      EXPECT_NEAR(fit.slope, rise / (2.0 * aside), 5.0 * fit.slope_u + 2e6);  // half a sample aside
      EXPECT_NEAR(fit.freq_centre, fitted_middle(transmitter, middle, share),
                  5.0 * fit.freq_centre_u + 0.001 * 0.4e6);  // a remainder of the samples
      EXPECT_EQ(row.flags & chirp_flag_t::slip, 0U);
      if ((row.flags & chirp_flag_t::edge) == 0 && row.number > 1) {
        const double period = period_of(transmitter);
        const double start = std::nearbyint(row.start / period) * period;
        const double sample = 1.0 / transmitter.sample_rate;
        EXPECT_NEAR(row.turns.stop.place, start + transmitter.ramp, 0.3 * sample);
        EXPECT_LT(row.turns.stop.u, 0.1 * sample);
        EXPECT_NEAR(row.turns.start.place, start, 5.0 * row.turns.start.u);
        EXPECT_LT(row.turns.start.u, 1.5 * sample);  // of a rest, not of a way back
      }
    }
  }
}

TEST(Figures, AreThoseOnPaper) {
  transmitter_t transmitter;  // 40 MHz in 100 us up, 5 us back
  transmitter.idle = 10e-6;
  transmitter.snr = 60.0;
  transmitter.overshoot = 0.02;
  transmitter.settling = 5e-6;
  const auto rows =
      measured(transmitter, "150us", {parse_settling("0.25%,90deg", ""), std::nullopt});
  ASSERT_EQ(rows.size(), 9U);
  EXPECT_TRUE(std::isnan(rows[0].idle));
  EXPECT_TRUE(std::isnan(rows[0].period));
  summary_t summary;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const chirp_t& row = rows[i];
    summary.add(row);
    EXPECT_NEAR(sweep_of(row), 0.4e12 * row.figures.length, 0.4e6) << i;  // the transient bends it
    if (i > 0) {
      EXPECT_NEAR(row.period, 115e-6, 0.1e-6) << i;
      EXPECT_NEAR(row.idle, 115e-6 - rows[i - 1].figures.length, 0.1e-6) << i;
      EXPECT_EQ(row.idle, row.figures.switching_time) << i;
    }
    // The transient is 0.8 MHz exp(-t / 5 us) from the ramp's start on, which is 115 us times the
    // number of the ramp; the smoothed frequency lags and leads it alike.
    const double ramp_start = 115e-6 * std::round(row.start / 115e-6);
    const double settled_at = row.start + row.settling.frequency_time - ramp_start;
    EXPECT_NEAR(settled_at, 5e-6 * std::log(0.8e6 / (0.0025 * sweep_of(row))), 0.3e-6) << i;
    const double phase_settled_at = row.start + row.settling.phase_time - ramp_start;
    EXPECT_NEAR(phase_settled_at, 5e-6 * std::log(4 * 0.8e6 * 5e-6), 1e-6) << i;
    EXPECT_NEAR(row.settling.overshoot, 0.8e6, 40e3) << i;  // less what 37 samples smooth away
    EXPECT_EQ(row.flags, 0U) << i;
  }
  // The record's deviation holds the zero of the first row; the gaps are alike to a sample or so.
  EXPECT_GT(summary.switching_time_std(), 4e-6);
  EXPECT_LT(summary.gap_std(), 0.1e-6);
  EXPECT_EQ(summary.uneven_count(), 0U);
}

TEST(Figures, TellNoiseAndMergedRampsByTheirBandwidth) {
  transmitter_t transmitter;
  transmitter.snr = 12.0;
  summary_t summary;
  for (const chirp_t& row : measured(transmitter, "150us")) {
    summary.add(row);
    EXPECT_NEAR(sweep_of(row), 39.3e6, 0.3e6);
    EXPECT_GT(row.figures.bandwidth, 45e6);
    EXPECT_EQ(flag_words(row), "merged") << "noise makes the peak non-linearity 20 %";
  }
  EXPECT_GE(summary.chirp_count(), 8U);
  EXPECT_EQ(summary.uneven_count(), summary.chirp_count());
  EXPECT_EQ(summary.flag_counts()[1], summary.chirp_count());
}

TEST(Figures, FlagClippedSamplesInside) {
  transmitter_t transmitter;
  transmitter.chirps = 4;
  // 0 dBm into 50 ohm is 0.316 V peak: one bound touches every chirp, the other none.
  const clip_levels_t low{-0.316F, 0.316F};
  const clip_levels_t high{-0.33F, 0.33F};
  for (const chirp_t& row : measured(transmitter, "150us", {{}, low})) {
    EXPECT_EQ(flag_words(row), "clipped");
  }
  for (const chirp_t& row : measured(transmitter, "150us", {{}, high})) {
    EXPECT_EQ(flag_words(row), "");
  }
}

chirp_t row_of(std::uint64_t number, double length, double slope) {
  chirp_t chirp;
  chirp.number = number;
  chirp.figures.length = length;
  chirp.figures.slope = slope;
  return chirp;
}

/// Numbers of the rows that are flagged; checks order and how many are held.
std::vector<std::uint64_t> unlike_among(const std::vector<chirp_t>& rows) {
  std::vector<std::uint64_t> flagged;
  std::uint64_t taken = 0;
  neighbour_check_t check([&](const chirp_t& chirp) {
    EXPECT_EQ(chirp.number, ++taken);
    if ((chirp.flags & chirp_flag_t::unlike) != 0) {
      flagged.push_back(chirp.number);
    }
  });
  std::uint64_t added = 0;
  for (const chirp_t& row : rows) {
    check.add(row);
    EXPECT_LT(++added - taken, 64U);
  }
  check.flush();
  EXPECT_EQ(taken, rows.size());
  return flagged;
}

TEST(Neighbours, FlagTheRareOddRow) {
  struct table_case_t {
    const char* name;
    chirp_t (*row)(std::uint64_t);
    std::uint64_t count;
    std::vector<std::uint64_t> flagged;
  };
  for (const auto& c : std::initializer_list<table_case_t>{
           {"none", [](std::uint64_t i) { return row_of(i, 1, 1); }, 0, {}},
           {"four rows are too few to judge by",
            [](std::uint64_t i) { return row_of(i, i == 2 ? 9.0 : 1.0, 1); },
            4,
            {}},
           {"five are enough",
            [](std::uint64_t i) { return row_of(i, i == 5 ? 1.06 : 1.0, 1); },
            5,
            {5}},
           {"less than 5 % is like",
            [](std::uint64_t i) { return row_of(i, i == 3 ? 1.04 : 1.0, 1); },
            9,
            {}},
           {"a slope",
            [](std::uint64_t i) { return row_of(i, 1, i == 100 ? 1.2 : 1.0); },
            200,
            {100}},
           {"the first and the last",
            [](std::uint64_t i) { return row_of(i, i == 1 || i == 200 ? 0.5 : 1.0, 1); },
            200,
            {1, 200}},
           {"two kinds in turn",
            [](std::uint64_t i) { return row_of(i, i % 2 == 0 ? 1.0 : 0.5, 1); },
            151,
            {}},
           {"a triangle whose directions differ",
            [](std::uint64_t i) {
              return row_of(i, i % 2 == 0 ? 1.0 : 0.5, i % 2 == 0 ? 1.0 : -2.0);
            },
            151,
            {}},
           {"a drift",
            [](std::uint64_t i) { return row_of(i, 1.0 + 0.02 * double(i), 1); },
            300,
            {}},
           {"a wide spread",
            [](std::uint64_t i) { return row_of(i, 1.0 + 0.1 * double(i * 7 % 5), 1); },
            100,
            {}},
           {"not a number is like nothing",
            [](std::uint64_t i) { return row_of(i, 1, i == 50 ? nan : 1.0); },
            100,
            {}},
       }) {
    std::vector<chirp_t> rows;
    for (std::uint64_t i = 1; i <= c.count; ++i) {
      rows.push_back(c.row(i));
    }
    EXPECT_EQ(unlike_among(rows), c.flagged) << c.name;
  }
}

}  // namespace
}  // namespace orn::fmcw_host
