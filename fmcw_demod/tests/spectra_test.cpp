#include "synthetic.h"

#include <fmcw_demod/fmcw_demod.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orn::fmcw_demod_lib {
namespace {

fmcw_measure_result_t stft(const std::vector<sample_t>& signal, std::uint32_t length,
                           std::uint32_t overlap, fmcw_measure_result_t result = {}) {
  synthetic::engine_t().engine.compute_stft_wincfg(signal, 1e6F, {length, overlap}, result);
  return result;
}

TEST(ConfigurableSpectrogram, CountsItsRows) {
  struct rows_case_t {
    std::size_t samples;
    std::uint32_t length, overlap;
    std::size_t rows;
  };
  for (const auto& c :
       {rows_case_t{63, 64, 60, 0}, rows_case_t{64, 64, 60, 0}, rows_case_t{67, 64, 60, 0},
        rows_case_t{68, 64, 60, 1}, rows_case_t{1000, 64, 60, 234}, rows_case_t{1000, 64, 64, 0},
        rows_case_t{1000, 64, 65, 0}, rows_case_t{1000, 64, 0xFFFFFFFF, 0},
        rows_case_t{1000, 0, 0, 0}, rows_case_t{10, 1, 0, 9}, rows_case_t{1000, 257, 100, 4},
        rows_case_t{0, 64, 60, 0}}) {
    fmcw_measure_result_t used;
    used.spectrogram_wincfg.assign(5, std::vector<float>(3, 1.0F));
    used.spectrogram_freq_axis_wincfg.assign(3, 1.0F);
    used.spectrogram_time_axis_wincfg.assign(5, 1.0F);
    const auto result = stft(std::vector<sample_t>(c.samples, 1.0F), c.length, c.overlap, used);
    EXPECT_EQ(result.spectrogram_wincfg.size(), c.rows) << c.samples << ' ' << c.length;
    EXPECT_EQ(result.spectrogram_time_axis_wincfg.size(), c.rows);
    EXPECT_EQ(result.spectrogram_freq_axis_wincfg.size(), c.rows == 0 ? 0 : c.length);
    for (const auto& row : result.spectrogram_wincfg) {
      EXPECT_EQ(row.size(), c.length);
    }
  }
}

TEST(ConfigurableSpectrogram, PutsAToneAndItsAxesInPlace) {
  const auto tone = synthetic::from_frequency(400, 1e6, 1.0, [](double) { return 125e3; });
  const auto result = stft(tone, 64, 60);
  EXPECT_EQ(result.spectrogram_freq_axis_wincfg[0], -500e3F);
  EXPECT_EQ(result.spectrogram_freq_axis_wincfg[40], 125e3F);
  EXPECT_FLOAT_EQ(result.spectrogram_time_axis_wincfg[0], 31.5e-6F);
  EXPECT_FLOAT_EQ(result.spectrogram_time_axis_wincfg[10], 71.5e-6F);
  float window_sum = 0.0F;
  for (int i = 0; i < 64; ++i) {
    window_sum += 0.54F - 0.46F * static_cast<float>(std::cos(synthetic::two_pi * i / 63.0));
  }
  for (const auto& row : result.spectrogram_wincfg) {
    EXPECT_EQ(std::max_element(row.begin(), row.end()) - row.begin(), 40);
    EXPECT_NEAR(row[40], 20 * std::log10(window_sum), 1e-4);
  }
}

TEST(ConfigurableSpectrogram, MeasuresSilence) {
  for (const auto& row : stft(std::vector<sample_t>(200), 64, 0).spectrogram_wincfg) {
    EXPECT_THAT(row, testing::Each(20.0F * static_cast<float>(std::log10(double{1e-12F}))));
  }
}

TEST(FixedSpectrogram, TracksTheStrongestFrequency) {
  const synthetic::engine_t e;
  const auto tone = synthetic::from_frequency(400, 1e6, 1.0, [](double) { return -250e3; });
  fmcw_measure_result_t result;
  e.engine.compute_spectrogram(tone, 1e6F, result);
  ASSERT_EQ(result.spectrogram.size(), 25U);
  EXPECT_EQ(result.spectrogram[24].size(), 256U);
  EXPECT_EQ(result.spectrogram_freq_axis[0], -500e3F);
  EXPECT_FLOAT_EQ(result.spectrogram_time_axis[0], 128e-6F);
  EXPECT_FLOAT_EQ(result.spectrogram_time_axis[2], 140e-6F);
  EXPECT_THAT(result.spectrogram_peak_freq, testing::Each(-250e3F));
  EXPECT_EQ(result.spectrogram_phase_inst[0], 0.0F);
  EXPECT_NEAR(result.spectrogram_phase_inst[24], -synthetic::two_pi * 250e3 * 24 * 6e-6, 1e-3);
}

TEST(FixedSpectrogram, CountsItsRowsAndKeepsItsTracks) {
  const synthetic::engine_t e;
  for (const auto& [samples, rows] :
       {std::pair(256U, 1U), std::pair(261U, 1U), std::pair(262U, 2U)}) {
    fmcw_measure_result_t result;
    e.engine.compute_spectrogram(std::vector<sample_t>(samples), 1e6F, result);
    EXPECT_EQ(result.spectrogram.size(), rows) << samples;
    EXPECT_EQ(result.spectrogram_peak_freq.back(), -500e3F) << "silence: the lowest bin of the tie";
  }
  fmcw_measure_result_t used;
  used.spectrogram = {{1.0F}};
  used.spectrogram_freq_axis = used.spectrogram_time_axis = {1.0F};
  used.spectrogram_peak_freq = used.spectrogram_phase_inst = {2.0F};
  e.engine.compute_spectrogram(std::vector<sample_t>(255), 1e6F, used);
  EXPECT_TRUE(used.spectrogram.empty() && used.spectrogram_freq_axis.empty() &&
              used.spectrogram_time_axis.empty());
  EXPECT_EQ(used.spectrogram_peak_freq.size() + used.spectrogram_phase_inst.size(), 2U);
}

TEST(SingleSpectrum, CoversTheStartOfTheCapture) {
  const synthetic::engine_t e;
  auto tone = synthetic::from_frequency(5000, 1e6, 1.0, [](double) { return 125e3; });
  std::fill(tone.begin() + 1024, tone.end(), 1e6F);  // not looked at
  std::vector<float> freq;
  std::vector<float> level;
  e.engine.compute_psd(tone, 1e6F, freq, level);
  ASSERT_EQ(level.size(), 1024U);
  EXPECT_EQ(freq[640], 125e3F);
  EXPECT_EQ(std::max_element(level.begin(), level.end()) - level.begin(), 640);
  tone.resize(100);
  e.engine.compute_psd(tone, 1e6F, freq, level);
  ASSERT_EQ(freq.size(), 100U);
  EXPECT_EQ(freq[0], -500e3F);
  EXPECT_EQ(freq[1], -490e3F);
  e.engine.compute_psd({}, 1e6F, freq, level);
  EXPECT_EQ(freq.size() + level.size(), 200U);
}

TEST(ChannelPower, AddsUpToTheMeanPower) {
  constexpr float infinity = std::numeric_limits<float>::infinity();
  std::vector<float> freq = {5.0F};
  std::vector<float> power = {5.0F};
  EXPECT_EQ(basefunc::calculate_channel_power_db({}, freq, power, 8.0F, 50.0F), -infinity);
  EXPECT_EQ(freq.size() + power.size(), 2U);
  const std::vector<sample_t> constant(8, 1.0F);
  EXPECT_EQ(basefunc::calculate_channel_power_db(constant, freq, power, 8.0F, 0.0F), 30.0F);
  EXPECT_THAT(freq, testing::ElementsAre(-4, -3, -2, -1, 0, 1, 2, 3));
  EXPECT_THAT(power, testing::ElementsAre(-infinity, -infinity, -infinity, -infinity, 30.0F,
                                          -infinity, -infinity, -infinity));
  EXPECT_FLOAT_EQ(basefunc::calculate_channel_power_db(constant, freq, power, 8.0F, 50.0F),
                  13.0103F);
  EXPECT_FLOAT_EQ(power[4], 13.0103F);
  EXPECT_EQ(basefunc::calculate_channel_power_db({0.0F, 0.0F}, freq, power, 8.0F, 50.0F),
            -infinity);

  const auto sweep = synthetic::from_frequency(1001, 1e6, 0.3, [](double i) { return 400.0 * i; });
  const float total = basefunc::calculate_channel_power_db(sweep, freq, power, 1e6F, 75.0F);
  EXPECT_NEAR(total, 10 * std::log10(0.09 / 75 * 1000), 1e-5);
  EXPECT_NEAR(freq[500], -0.5 * 1e6 / 1001, 0.01) << "no bin of an odd length sits at zero";
  double sum = 0.0;
  for (const float level : power) {
    sum += std::pow(10.0, level / 10.0);
  }
  EXPECT_NEAR(10 * std::log10(sum), total, 1e-4);
}

}  // namespace
}  // namespace orn::fmcw_demod_lib
