#include "synthetic.h"

#include <fmcw_demod/fmcw_demod.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orn::fmcw_demod_lib {
namespace {

using testing::Each;
using testing::IsEmpty;

constexpr double nan_value = std::numeric_limits<double>::quiet_NaN();

/// A frame of 200 samples at 1 MHz with everything the measurement reads, and the two intervals.
struct frame_data_t {
  static constexpr std::size_t size = 200;
  static constexpr double slope = 3e9;  // Hz/s
  std::vector<double> freq;
  std::vector<float> time, slope_raw;
  std::vector<sample_t> samples;
  int dev_start = 40, dev_stop = 160, meas_start = 20, meas_stop = 180;

  /// An exact line of frequency at 1 V.
  frame_data_t()
      : freq(size),
        time(size),
        slope_raw(size - 1, static_cast<float>(slope)),
        samples(size, 1.0F) {
    for (std::size_t i = 0; i < size; ++i) {
      time[i] = static_cast<float>(static_cast<double>(i) / 1048576.0);  // exact in float
      freq[i] = 1e5 + slope * time[i];
    }
  }
};

struct measured_t {
  fmcw_chirp_result_t chirp;
  fmcw_measure_result_t result;
  std::vector<float> phi_fit = {-7.0F}, freq_fit = {-7.0F};
};

synthetic::engine_t make_engine() {
  fmcw_demod_config_t config;
  config.fs = 1048576.0;
  return synthetic::engine_t(config);
}

measured_t measure(const frame_data_t& f, bool display = false) {
  const auto e = make_engine();
  measured_t m;
  e.engine.extract_chirp_parameters({f.freq.data(), f.freq.size()}, f.time, f.slope_raw, m.phi_fit,
                                    m.freq_fit, f.dev_start, f.dev_stop, f.meas_start, f.meas_stop,
                                    {}, {f.samples.data(), f.samples.size()}, m.chirp, m.result,
                                    display);
  return m;
}

measured_t measure_vector_form(const frame_data_t& f, bool display = false) {
  const auto e = make_engine();
  measured_t m;
  e.engine.extract_chirp_parameters(f.freq, f.time, f.slope_raw, f.dev_start, f.dev_stop,
                                    f.meas_start, f.meas_stop, {}, f.samples, m.chirp, m.result,
                                    display);
  return m;
}

bool untouched(const fmcw_chirp_result_t& chirp) {
  const fmcw_chirp_result_t fresh;
  return std::memcmp(&chirp, &fresh, sizeof(chirp)) == 0;
}

TEST(ChirpMeasurement, MeasuresAPerfectChirp) {
  for (const auto& m : {measure({}), measure_vector_form({})}) {
    const auto& c = m.chirp;
    EXPECT_NEAR(c.slope, 3.0, 1e-5);
    EXPECT_NEAR(c.bandwidth, 3e9 * 159 / 1048576.0, 0.1);
    EXPECT_NEAR(c.freq_avg, 1e5 + 3e9 * 100 / 1048576.0, 0.1);
    EXPECT_LT(c.freq_dev_peak, 1.0);
    EXPECT_LT(c.inl_peak, 2e-6);
    EXPECT_LT(c.phase_dev_peak, 1e-3);
    EXPECT_LT(c.slope_dev_peak, 1e-5);
    EXPECT_FLOAT_EQ(static_cast<float>(c.power_avg), 10.0F);
    EXPECT_EQ(c.power_peak, c.power_min);
    EXPECT_EQ(c.power_pk_dev, 0.0);
    const double t0 = 21 / 1048576.0;
    const double t1 = 180 / 1048576.0;
    EXPECT_FLOAT_EQ(static_cast<float>(c.fm_settling_point), static_cast<float>(t0));
    EXPECT_EQ(c.fm_settling_time, 0.0);
    EXPECT_FLOAT_EQ(static_cast<float>(c.pm_settling_length), static_cast<float>(t1 - t0));
    EXPECT_EQ(c.chirp_id, 0U);
    EXPECT_EQ(c.start_time, 0.0) << "numbering and timing are the driver's";
    EXPECT_THAT(m.phi_fit, Each(-7.0F));
  }
}

TEST(ChirpMeasurement, MeasuresKnownDeviations) {
  frame_data_t f;
  // Three whole periods of a cosine about the middle of the deviation interval: amplitude a, RMS
  // a / sqrt(2), no mean and no tilt.
  constexpr double amplitude = 2e4;
  constexpr double turns_per_sample = 3.0 / 119.0;
  for (std::size_t i = 0; i < frame_data_t::size; ++i) {
    f.freq[i] += amplitude *
                 std::cos(synthetic::two_pi * turns_per_sample * (static_cast<double>(i) - 100.0));
  }
  // Slopes over the measured interval alternate 10 % above and 30 % below the line.
  for (std::size_t i = 0; i < f.slope_raw.size(); ++i) {
    f.slope_raw[i] = static_cast<float>(frame_data_t::slope * (i % 2 == 0 ? 1.1 : 0.7));
  }
  f.samples.assign(frame_data_t::size, {0.0F, 1.0F});
  f.samples[70] = 2.0F;
  f.samples[90] = 0.5F;
  for (const auto& m : {measure(f), measure_vector_form(f)}) {
    const auto& c = m.chirp;
    EXPECT_NEAR(c.slope, 3.0, 1e-3) << "a cosine about the middle does not tilt the fit";
    EXPECT_NEAR(c.freq_dev_rms, amplitude / std::sqrt(2.0), 0.01 * amplitude);
    EXPECT_NEAR(c.freq_dev_peak, amplitude, 0.02 * amplitude);
    EXPECT_NEAR(c.freq_dev_avg, 0.0, 0.01);
    EXPECT_NEAR(c.inl_rms, c.freq_dev_rms / c.bandwidth, 1e-12);
    EXPECT_NEAR(c.inl_peak, c.freq_dev_peak / c.bandwidth, 1e-12);
    // The integral of the cosine has amplitude a / (turns per second).
    const double phase = amplitude / (turns_per_sample * 1048576.0);
    // It starts from 0 at the interval's first sample, which offsets the whole sine.
    const double offset = phase * std::sin(synthetic::two_pi * turns_per_sample * 59.0);
    EXPECT_NEAR(c.phase_dev_peak, phase + offset, 0.01 * phase);
    EXPECT_NEAR(c.phase_dev_rms, std::hypot(phase / std::sqrt(2.0), offset), 0.01 * phase);
    EXPECT_NEAR(c.phase_dev_avg, offset, 0.01 * phase);
    // 160 slopes from index 21: half of each kind.
    EXPECT_NEAR(c.slope_dev_avg, 3.0 * (0.5 * 0.1 - 0.5 * 0.3), 2e-3);
    EXPECT_NEAR(c.slope_dev_mean, c.slope_dev_avg, 1e-6);
    EXPECT_NEAR(c.slope_dev_rms, 3.0 * std::sqrt(0.5 * 0.01 + 0.5 * 0.09), 1e-3);
    EXPECT_NEAR(c.slope_dev_peak, 0.9, 1e-3);
    EXPECT_NEAR(c.power_peak, 10.0 + 20 * std::log10(2.0), 1e-5);
    EXPECT_NEAR(c.power_min, 10.0 - 20 * std::log10(2.0), 1e-5);
    EXPECT_NEAR(c.power_pk_dev, 40 * std::log10(2.0), 1e-5);
    EXPECT_NEAR(c.power_avg, 10.0 + 10 * std::log10((117 + 4 + 0.25) / 119.0), 1e-5);
  }
  EXPECT_EQ(measure(f).chirp.freq_dev_rms, measure_vector_form(f).chirp.freq_dev_rms);
}

TEST(ChirpMeasurement, ReadsExactlyItsIntervals) {
  frame_data_t f;
  for (int i = 0; i < static_cast<int>(frame_data_t::size); ++i) {
    const auto at = static_cast<std::size_t>(i);
    const bool in_deviation = i > f.dev_start && i < f.dev_stop;
    const bool in_measured = i > f.meas_start && i <= f.meas_stop;
    if (!in_deviation) {
      f.samples[at] = {static_cast<float>(nan_value), 0.0F};
    }
    if (!in_measured) {
      f.freq[at] = nan_value;
      f.slope_raw[std::min(at, f.slope_raw.size() - 1)] = static_cast<float>(nan_value);
    }
  }
  // The ends of the measured interval carry its highest and lowest frequency, an extra on each.
  f.freq[21] -= 5e3;
  f.freq[180] += 7e3;
  for (const auto& m : {measure(f), measure_vector_form(f)}) {
    EXPECT_NEAR(m.chirp.bandwidth, 3e9 * 159 / 1048576.0 + 12e3, 0.1);
    EXPECT_FALSE(std::isnan(m.chirp.power_avg) || std::isnan(m.chirp.slope_dev_rms) ||
                 std::isnan(m.chirp.phase_dev_rms) || std::isnan(m.chirp.freq_avg));
  }
}

TEST(ChirpMeasurement, LeavesTheChirpAloneWhenThereIsNothingToMeasure) {
  struct short_case_t {
    const char* name;
    int dev_start, dev_stop, meas_start, meas_stop;
    bool written;
  };
  constexpr int highest = std::numeric_limits<int>::max();
  for (const auto& c : {
           short_case_t{"shortest of both", 10, 13, 10, 12, true},
           short_case_t{"deviation window of one sample", 10, 12, 10, 60, false},
           short_case_t{"measured interval of one sample", 10, 60, 10, 11, false},
           short_case_t{"reversed", 60, 10, 60, 10, false},
           short_case_t{"starts before the frame", -2, 60, 10, 60, false},
           short_case_t{"measured before the frame", 10, 60, -2, 60, false},
           short_case_t{"last slope of the frame", 10, 60, 10, 198, true},
           short_case_t{"past the last slope", 10, 60, 10, 199, false},
           short_case_t{"past the last sample", 10, 201, 10, 60, false},
           short_case_t{"far out", highest, highest, highest, highest, false},
       }) {
    frame_data_t f;
    f.dev_start = c.dev_start;
    f.dev_stop = c.dev_stop;
    f.meas_start = c.meas_start;
    f.meas_stop = c.meas_stop;
    EXPECT_EQ(untouched(measure(f, true).chirp), !c.written) << c.name;
    EXPECT_EQ(untouched(measure_vector_form(f, true).chirp), !c.written) << c.name;
    EXPECT_EQ(measure(f, true).result.chirp_freq_dev.empty(), !c.written) << c.name;
  }
  frame_data_t standing_clock;
  standing_clock.time.assign(frame_data_t::size, 0.5F);
  EXPECT_TRUE(untouched(measure(standing_clock).chirp));
}

TEST(ChirpMeasurement, JudgesSettlingByTheNumberOfSamples) {
  // Three samples of deviation, fifty measured: the two forms count different intervals.
  frame_data_t f;
  f.dev_start = 50;
  f.dev_stop = 54;
  f.meas_start = 20;
  f.meas_stop = 70;
  const auto late = measure(f).chirp;
  EXPECT_EQ(late.fm_settling_point, static_cast<double>(f.time[70]));
  EXPECT_EQ(late.pm_settling_time, static_cast<double>(f.time[70] - f.time[21]));
  EXPECT_EQ(late.fm_settling_length, 0.0);
  EXPECT_EQ(measure_vector_form(f).chirp.fm_settling_time, 0.0);
  f.dev_stop = 55;
  EXPECT_EQ(measure(f).chirp.fm_settling_time, 0.0);
  f.meas_stop = 23;
  EXPECT_GT(measure_vector_form(f).chirp.fm_settling_time, 0.0);
}

TEST(ChirpMeasurement, SurvivesSilenceAndStandingFrequency) {
  frame_data_t f;
  f.samples[100] = 0.0F;
  auto c = measure(f).chirp;
  EXPECT_EQ(c.power_min, -std::numeric_limits<double>::infinity());
  EXPECT_EQ(c.power_pk_dev, std::numeric_limits<double>::infinity());
  EXPECT_TRUE(std::isfinite(c.power_avg));
  f.freq.assign(frame_data_t::size, 12345.0);
  c = measure(f).chirp;
  EXPECT_EQ(c.bandwidth, 0.0);
  EXPECT_EQ(c.inl_rms, 0.0);
  f.freq[21] = nan_value;  // first of the measured interval: the bandwidth is no number
  c = measure(f).chirp;
  EXPECT_TRUE(std::isnan(c.bandwidth));
  EXPECT_EQ(c.inl_peak, 0.0);
}

TEST(ChirpMeasurement, ShowsItsTracesOnRequestOnly) {
  const frame_data_t f;
  EXPECT_THAT(measure(f).result.chirp_freq_dev, IsEmpty());
  const auto shown = measure(f, true);
  const auto& r = shown.result;
  ASSERT_EQ(r.chirp_freq_dev.size(), 119U);
  EXPECT_EQ(r.chirp_phi_dev.size(), 119U);
  EXPECT_EQ(r.chirp_phi_dev_time_axis.front(), f.time[41]);
  EXPECT_EQ(r.chirp_phi_dev_time_axis.back(), f.time[159]);
  EXPECT_EQ(r.chirp_freq_dev_time_axis, r.chirp_phi_dev_time_axis);
  ASSERT_EQ(shown.freq_fit.size(), 119U);
  EXPECT_NEAR(shown.freq_fit[0], f.freq[41], 1.0);
  EXPECT_EQ(shown.phi_fit[0], 0.0F);
  EXPECT_NEAR(shown.phi_fit[118], synthetic::two_pi * f.freq[100] * 118 / 1048576.0, 1e-2);
  const auto vector_form = measure_vector_form(f, true);
  EXPECT_EQ(vector_form.result.chirp_freq_dev, r.chirp_freq_dev);
  EXPECT_EQ(vector_form.result.chirp_phi_dev.size(), 119U);
}

}  // namespace
}  // namespace orn::fmcw_demod_lib
