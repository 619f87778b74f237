#include "common/errors.h"
#include "common/spectrum/channel_power.h"
#include "common/spectrum/fixed_spectrogram.h"
#include "signals.h"

#include <cmath>
#include <numbers>
#include <vector>

#include <gtest/gtest.h>

namespace orn::fmcw_host {
namespace {

using namespace fmcw_demod_lib;

TEST(FixedSpectrogram, HasTheRowsOfTheWholeAtOnce) {
  const double rate = 10e6;
  constexpr std::size_t piece = 4095 * 6 + 256;  // that it reads at once
  for (const std::size_t count : {piece, piece + 5, piece + 6, 2 * piece, std::size_t{60'000},
                                  std::size_t{256}, std::size_t{255}, std::size_t{0}}) {
    const auto samples = samples_of({rate, 200e-6, 10e-6, 2e6, false, 0.1}, count);
    const FMCWConfig parameters({}, nullptr, static_cast<float>(rate));
    fmcw_measure_result_t whole;
    FMCWAnalyze(parameters).compute_spectrogram(samples, static_cast<float>(rate), whole);
    vector_source_t source(samples);
    fixed_spectrogram_t rows(source, 1'000'000, rate);
    std::size_t done = 0;
    double phase = 0.0;
    while (rows.next()) {
      EXPECT_EQ(rows.frequencies(), whole.spectrogram_freq_axis);
      for (std::size_t i = 0; i < rows.row_count(); ++i, ++done) {
        ASSERT_LT(done, whole.spectrogram.size()) << count;
        ASSERT_EQ(rows.levels(i), whole.spectrogram[done]) << count << ' ' << done;
        ASSERT_EQ(rows.peak_freq(i), whole.spectrogram_peak_freq[done]);
        ASSERT_EQ(rows.time(i), (1'000'128.0 + 6.0 * static_cast<double>(done)) / rate);
        if (done > 0) {
          phase += std::numbers::pi * 6.0 / rate *
                   (static_cast<double>(whole.spectrogram_peak_freq[done - 1]) +
                    static_cast<double>(whole.spectrogram_peak_freq[done]));
        }
        ASSERT_NEAR(rows.phase(i), phase, 1e-9);
        // The library's times are single precision.
        ASSERT_NEAR(rows.phase(i), whole.spectrogram_phase_inst[done], 0.5);
      }
    }
    EXPECT_EQ(done, whole.spectrogram.size()) << count;
  }
}

TEST(ChannelPower, IsTheSameFromAPipe) {
  const auto samples = samples_of({10e6, 200e-6, 10e-6, 2e6, false, 0.1}, 1'300'000);
  vector_source_t file(samples);
  vector_source_t pipe(samples);
  const auto known = channel_power_of(file, samples.size(), 10e6, 50.0);
  const auto unknown = channel_power_of(pipe, {}, 10e6, 50.0);
  EXPECT_EQ(known.powers, unknown.powers);
  EXPECT_EQ(known.frequencies, unknown.frequencies);
  EXPECT_EQ(known.total, unknown.total);
  ASSERT_EQ(known.powers.size(), samples.size());
  EXPECT_THROW(channel_power_of(file, std::uint64_t{1} << 50U, 10e6, 50.0), input_error_t);
}

}  // namespace
}  // namespace orn::fmcw_host
