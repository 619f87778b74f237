#include "synthetic.h"

#include <common_lib/fourier_transform.h>
#include <common_lib/window_function.h>
#include <fmcw_demod/fmcw_demod.h>

#include <algorithm>
#include <cmath>
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

TEST(ConfigurableSpectrogram, MeasuresSilenceAndOneSegmentLikeTheTransform) {
  for (const auto& row : stft(std::vector<sample_t>(200), 64, 0).spectrogram_wincfg) {
    EXPECT_THAT(row, testing::Each(20.0F * static_cast<float>(std::log10(double{1e-12F}))));
  }
  // The second row of an odd window, step by step through the exported transform.
  const auto sweep = synthetic::from_frequency(300, 1e6, 0.3, [](double i) { return 1e3 * i; });
  const auto result = stft(sweep, 51, 11);
  std::vector<sample_t> window;
  common_lib::lib_window_function_t::generate_hamming_window(window, 51, true);
  std::vector<sample_t> bins(sweep.begin() + 40, sweep.begin() + 91);
  for (std::size_t i = 0; i < bins.size(); ++i) {
    bins[i] *= window[i].real();
  }
  common_lib::lib_fourier_transform_t::deal_fft(bins, 0);
  common_lib::lib_fourier_transform_t::fft_shift(bins);
  for (std::size_t i = 0; i < bins.size(); ++i) {
    const double magnitude = std::abs(std::complex<double>(bins[i]));
    EXPECT_NEAR(result.spectrogram_wincfg[1][i], 20 * std::log10(magnitude + 1e-12), 1e-5) << i;
  }
}

}  // namespace
}  // namespace orn::fmcw_demod_lib
