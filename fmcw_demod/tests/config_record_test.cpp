#include <fmcw_demod/fmcw_demod.h>

#include <cstddef>
#include <cstring>
#include <limits>
#include <set>
#include <type_traits>

#include <gtest/gtest.h>

namespace orn::fmcw_demod_lib {
namespace {

// The layout that hosts were built against: compiling this is the test.
using R = fmcw_demod_config_t;
using A = fmcw_advanced_config_t;
static_assert(std::is_trivially_copyable_v<R> && std::is_standard_layout_v<R>);
static_assert(std::is_trivially_copyable_v<fmcw_chirp_result_t>);
static_assert(sizeof(R) == 248 && sizeof(A) == 160 && sizeof(fmcw_devsetting_config_t) == 32);
static_assert(offsetof(R, freq_center) == 8 && offsetof(R, fs) == 16);
static_assert(offsetof(R, impedance) == 24 && offsetof(R, chirp_detect) == 40);
static_assert(offsetof(R, advanced) == 48 && offsetof(R, devsetting) == 208);
static_assert(offsetof(R, display_region) == 240 && offsetof(R, display_chirpNO) == 244);
static_assert(offsetof(A, chirp) == 8 && offsetof(A, chirp_start) == 32);
static_assert(offsetof(A, meas_time) == 48 && offsetof(A, reserved_b) == 56);
static_assert(offsetof(A, min_chirp_len) == 80 && offsetof(A, st_config) == 112);
static_assert(offsetof(A, devlength_ref) == 128 && offsetof(A, devlength_offset_end) == 152);
static_assert(sizeof(fmcw_chirp_result_t) == 248);
static_assert(offsetof(fmcw_chirp_result_t, slope_dev_rms) == 56);
static_assert(offsetof(fmcw_chirp_result_t, freq_dev_peak) == 96);
static_assert(offsetof(fmcw_chirp_result_t, inl_avg) == 144);

using Result = fmcw_measure_result_t;
static_assert(sizeof(Result) == 712 && sizeof(SignalStream) == 32 && sizeof(ErrorMsg) == 40);
static_assert(offsetof(Result, chirp_total) == 24 && offsetof(Result, power_avg) == 32);
static_assert(offsetof(Result, time_axis) == 64 && offsetof(Result, spectrogram) == 160);
static_assert(offsetof(Result, spectrogram_wincfg) == 280 && offsetof(Result, psd_freq) == 352);
static_assert(offsetof(Result, chirp_freq_fit) == 592 && offsetof(Result, chirp_intervals) == 688);
static_assert(sizeof(fmcw_analysis_range_t) == 16 && sizeof(FMCWConfig) == 312);
static_assert(offsetof(FMCWConfig, analysis_range) == 248 &&
              offsetof(FMCWConfig, triang_256) == 288);
static_assert(sizeof(FMCWAnalyze) == 24 && sizeof(FMCWAnalyzer) == 32);
static_assert(sizeof(fmcw_demod_configure_manager_t) == 256);

TEST(ConfigRecord, EqualityComparesEveryFieldButTheDisplayChirp) {
  const R record;
  EXPECT_EQ(record, R{});
  // Whichever field a byte belongs to, changing it makes records differ, padding aside.
  std::set<std::size_t> ignored;
  for (std::size_t byte = 0; byte < sizeof(R); ++byte) {
    R changed;
    std::memcpy(static_cast<void*>(&changed), &record, sizeof(R));
    reinterpret_cast<unsigned char*>(&changed)[byte] ^= 1U;
    if (changed == record) {
      ignored.insert(byte);
    }
  }
  for (const std::size_t byte : ignored) {
    const bool in_padding = (byte >= 76 && byte < 80) || (byte >= 92 && byte < 96) ||
                            (byte >= 164 && byte < 168) || (byte >= 180 && byte < 184) ||
                            (byte >= 209 && byte < 216);
    const bool in_display = byte >= 244;
    EXPECT_TRUE(in_padding || in_display) << "byte " << byte;
  }
  EXPECT_EQ(ignored.count(offsetof(R, display_chirpNO)), 1U);
  R other;
  other.devsetting.chirp_state_deviation = false;
  EXPECT_NE(record, other);
  // As a host leaves it that fills records as plain memory.
  R third;
  std::memset(static_cast<void*>(&third.devsetting.chirp_state_deviation), 7, 1);
  EXPECT_EQ(third, record);
  EXPECT_NE(third, other);
  R spoilt;
  spoilt.freq_center = std::numeric_limits<double>::quiet_NaN();
  const R& itself = spoilt;
  EXPECT_NE(spoilt, itself);
}

}  // namespace
}  // namespace orn::fmcw_demod_lib
