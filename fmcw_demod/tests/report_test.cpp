#include <fmcw_demod/fmcw_demod.h>

#include <iomanip>
#include <limits>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orn::fmcw_demod_lib {
namespace {

using testing::HasSubstr;
using testing::Not;

template <class Record>
std::string text(const Record& record) {
  std::ostringstream out;
  out << record;
  return out.str();
}

/// A chirp whose fields are all different.
fmcw_chirp_result_t numbered_chirp() {
  fmcw_chirp_result_t c;
  c.chirp_id = 1;
  c.chirp_no = 2;
  double value = 0.5;
  for (double* field = &c.start_time; field <= &c.power_pk_dev; ++field) {
    *field = value;
    value += 1.0;
  }
  return c;
}

TEST(ChirpText, IsExactlyTwelveLines) {
  EXPECT_EQ(text(numbered_chirp()),
            "  Chirp #1 (No.2):\n"
            "    Time: [0.5, 1.5] s, length = 2.5 s\n"
            "    Switching time = 3.5 s\n"
            "    Slope = 4.5 kHz/\xCE\xBCs, Bandwidth = 9.5 Hz\n"
            "    Slope deviation: avg = 7.5, rms = 6.5, peak = 8.5 kHz/\xCE\xBCs\n"
            "    Frequency avg = 10.5 Hz\n"
            "    Frequency deviation: avg = 13.5, rms = 12.5, peak = 11.5 Hz\n"
            "    Phase deviation: avg = 16.5, rms = 15.5, peak = 14.5 rad\n"
            "    INL: avg = 17.5, rms = 19.5, peak = 18.5\n"
            "    FM settling: point = 20.5 s, time = 21.5 s, length = 22.5 s\n"
            "    PM settling: point = 23.5 s, time = 24.5 s, length = 25.5 s\n"
            "    Power: avg = 26.5 dBm, peak = 27.5 dBm, min = 28.5 dBm, pk-dev = 29.5 dB\n");
}

TEST(VectorText, ShowsSizeAndFirstElements) {
  const auto summary = [](const std::vector<float>& v, unsigned long long count) {
    std::ostringstream out;
    print_vector_summary(out, v, "trace", count);
    return out.str();
  };
  EXPECT_EQ(summary({}, 5), "    trace size = 0\n");
  EXPECT_EQ(summary({1.5F, -2.0F, 3.0F}, 5),
            "    trace size = 3, first 3 elements: [1.5, -2, 3]\n");
  EXPECT_EQ(summary({1.0F, 2.0F, 3.0F}, 2), "    trace size = 3, first 2 elements: [1, 2]\n");
  EXPECT_EQ(summary({1.0F}, 0), "    trace size = 1, first 0 elements: []\n");
}

TEST(SpectrogramText, ShowsSizeAndRange) {
  const auto summary = [](const std::vector<std::vector<float>>& s) {
    std::ostringstream out;
    print_spectrogram_summary(out, s, "map");
    return out.str();
  };
  const std::string head = "    map size = ";
  const std::string axes = " (time \xC3\x97 freq)";
  EXPECT_EQ(summary({}), head + "0 x 0" + axes + "\n");
  EXPECT_EQ(summary({{}, {1.0F}}), head + "2 x 0" + axes + "\n");
  EXPECT_EQ(summary({{2.0F, -3.5F}, {}, {7.0F}}), head + "3 x 2" + axes + ", range [-3.5, 7] dB\n");
}

TEST(ResultText, ListsFiveChirpsAtMost) {
  fmcw_measure_result_t result;
  EXPECT_THAT(text(result),
              HasSubstr("  Chirp Results (0 entries):\n    (none)\n  Time-series data:\n"
                        "    time_axis size = 0\n"));
  const std::string chirp = text(numbered_chirp());
  result.chirp_results.assign(5, numbered_chirp());
  EXPECT_THAT(text(result), HasSubstr("(5 entries):\n" + chirp + "\n" + chirp + "\n" + chirp +
                                      "\n" + chirp + "\n" + chirp + "  Time-series data:\n"));
  EXPECT_THAT(text(result), Not(HasSubstr("more chirps")));
  result.chirp_results.assign(7, numbered_chirp());
  EXPECT_THAT(text(result), HasSubstr(chirp + "    ... and 2 more chirps\n  Time-series data:\n"));
}

TEST(ResultText, NamesEveryTraceInOrder) {
  const std::string all = text(fmcw_measure_result_t());
  EXPECT_TRUE(all.starts_with("========== FMCW Measurement Result ==========\n"));
  EXPECT_TRUE(all.ends_with("\n=============================================\n"));
  std::size_t at = 0;
  for (const char* line : {"  Time-series data:",
                           "    time_axis ",
                           "    instantaneous_freq ",
                           "    instantaneous_power ",
                           "    instantaneous_phase ",
                           "  Spectrogram (window 256):",
                           "    spectrogram size = 0 x 0",
                           "    spectrogram_freq_axis ",
                           "    spectrogram_time_axis ",
                           "    spectrogram_peak_freq ",
                           "    spectrogram_phase_inst ",
                           "  Spectrogram (window 64):",
                           "    spectrogram_wincfg ",
                           "    spectrogram_freq_axis_wincfg ",
                           "    spectrogram_time_axis_wincfg ",
                           "  Power Spectral Density:",
                           "    psd_freq ",
                           "    psd_magnitude_dB ",
                           "  singal frame time domain:",
                           "    frame_power ",
                           "    frame_time_axis ",
                           "  singal chirp time domain:",
                           "    chirp_power ",
                           "    chirp_time_axis ",
                           "  singal chirp phase_dev :",
                           "    chirp_phi_dev ",
                           "    chirp_phi_dev_time_axis ",
                           "  singal chirp freq_dev:",
                           "    chirp_freq_dev ",
                           "    chirp_freq_dev_time_axis "}) {
    const std::size_t found = all.find(std::string("\n") + line, at);
    ASSERT_NE(found, std::string::npos) << line;
    at = found + 1;
  }
}

TEST(ResultText, KeepsTheFormatOfTheStream) {
  std::ostringstream out;
  out << std::fixed << std::setprecision(2) << numbered_chirp();
  EXPECT_THAT(out.str(), HasSubstr("length = 2.50 s"));
  out << 1.0 / 3.0;
  EXPECT_TRUE(out.str().ends_with("0.33"));
}

}  // namespace
}  // namespace orn::fmcw_demod_lib
