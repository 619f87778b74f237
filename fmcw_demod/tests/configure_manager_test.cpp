#include <fmcw_demod/fmcw_demod.h>

#include <cmath>
#include <functional>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

namespace orn::fmcw_demod_lib {
namespace {

using manager_t = fmcw_demod_configure_manager_t;
constexpr double nan_value = std::numeric_limits<double>::quiet_NaN();

TEST(ConfigureManager, StartsFromTheDefaultRecord) {
  EXPECT_EQ(manager_t().get_demod_config(), fmcw_demod_config_t{});
  EXPECT_EQ(manager_t().get_chirp_set(), fmcw_chirp_set_t::configured);
  EXPECT_EQ(manager_t().get_display_chirpNO(), 0U);
}

/// A setter of doubles with its getter and a value on each side of its limits.
struct real_setting_t {
  const char* name;
  bool (manager_t::*set)(double);
  double (manager_t::*get)() const;
  std::vector<double> accepted, rejected;
};

TEST(ConfigureManager, AcceptsRealSettingsWithinTheirRange) {
  using M = manager_t;
  const std::vector<double> fractions_rejected = {-1e-9, 1.0 + 1e-9};
  const real_setting_t settings[] = {
      {"freq_center", &M::set_freq_center, &M::get_freq_center, {1e-300, 7.7e10}, {0.0, -1.0}},
      {"fs", &M::set_fs, &M::get_fs, {1e-300, 1e9}, {0.0, -1.0}},
      {"meas_time", &M::set_meas_time, &M::get_meas_time, {5.0, 1e-9}, {0.0, -1.0}},
      {"time_gate_len", &M::set_time_gate_len, &M::get_time_gate_len, {1e-9, 5e-4}, {0.0, -1.0}},
      {"time_gate_start", &M::set_time_gate_start, &M::get_time_gate_start, {1.0, 0.0}, {-1e-9}},
      {"min_chirp_len", &M::set_min_chirp_len, &M::get_min_chirp_len, {0.0, 1e-4}, {-1e-9}},
      {"max_chirp_len", &M::set_max_chirp_len, &M::get_max_chirp_len, {0.0, 1.0}, {-1e-9}},
      {"from_start", &M::set_from_start, &M::get_from_start, {1.0, 0.25, 0.0}, fractions_rejected},
      {"from_end", &M::set_from_end, &M::get_from_end, {1.0, 0.25, 0.0}, fractions_rejected},
      {"analysis_exclude",
       &M::set_analysis_exclude,
       &M::get_analysis_exclude,
       {0.0, 1.0},
       fractions_rejected},
      {"devlength_len",
       &M::set_devlength_len,
       &M::get_devlength_len,
       {0.0, 1.0},
       fractions_rejected},
      {"offset_begin",
       &M::set_devlength_offset_begin,
       &M::get_devlength_offset_begin,
       {-1.0, 1.0},
       {}},
      {"offset_end", &M::set_devlength_offset_end, &M::get_devlength_offset_end, {-1.0, 1.0}, {}},
      {"fm_settling_tol", &M::set_fm_settling_tol, &M::get_fm_settling_tol, {0.0, 1e300}, {-1e-9}},
      {"pm_settling_tol", &M::set_pm_settling_tol, &M::get_pm_settling_tol, {0.0, 1e300}, {-1e-9}},
  };
  for (const auto& s : settings) {
    manager_t manager;
    for (const double value : s.accepted) {
      EXPECT_TRUE((manager.*s.set)(value)) << s.name << ' ' << value;
      EXPECT_EQ((manager.*s.get)(), value) << s.name;
      EXPECT_FALSE((manager.*s.set)(value)) << s.name << ": held already";
    }
    const manager_t before = manager;
    for (const double value : s.rejected) {
      EXPECT_FALSE((manager.*s.set)(value)) << s.name << ' ' << value;
      EXPECT_EQ(manager, before) << s.name;
    }
    EXPECT_TRUE((manager.*s.set)(nan_value)) << s.name;
    EXPECT_TRUE((manager.*s.set)(nan_value)) << s.name << ": a NaN equals nothing";
    EXPECT_TRUE(std::isnan((manager.*s.get)())) << s.name;
    const manager_t& itself = manager;
    EXPECT_NE(manager, itself) << s.name;
  }
}

TEST(ConfigureManager, ChecksWholeSettings) {
  manager_t m;
  EXPECT_FALSE(m.set_window_length(1));
  EXPECT_TRUE(m.set_window_length(2));
  EXPECT_EQ(m.get_window_overlap(), 60U) << "stays, however long the window";
  EXPECT_FALSE(m.set_window_overlap(2));
  EXPECT_TRUE(m.set_window_overlap(1));
  EXPECT_FALSE(m.set_window_overlap(1));
  EXPECT_FALSE(m.set_chirp_count(0));
  EXPECT_TRUE(m.set_chirp_count(30)) << "no equality test here";
  EXPECT_FALSE(m.set_display_chirpNO(30));
  EXPECT_TRUE(m.set_display_chirpNO(29));
  EXPECT_TRUE(m.is_chirp_index_valid(29));
  EXPECT_FALSE(m.is_chirp_index_valid(30));
  EXPECT_TRUE(m.set_chirp_count(10));
  EXPECT_EQ(m.get_display_chirpNO(), 29U) << "not adjusted";
  EXPECT_TRUE(m.set_chirp_start(0xFFFFFFFFU));
  EXPECT_TRUE(m.is_chirp_index_valid(8)) << "the sum wraps to 9";
  EXPECT_FALSE(m.is_chirp_index_valid(9));
  EXPECT_TRUE(m.set_phase_noise_start(99));
  EXPECT_FALSE(m.set_phase_noise_start(99));
  EXPECT_TRUE(m.set_phase_noise_end(1));
  EXPECT_TRUE(m.set_chirp_state_deviation(false));
  EXPECT_FALSE(m.set_chirp_state_deviation(false));
  EXPECT_TRUE(m.set_signal_mode(static_cast<fmcw_signal_mode_t>(9)));
  EXPECT_FALSE(m.set_signal_mode(static_cast<fmcw_signal_mode_t>(9)));
}

TEST(ConfigureManager, StoresTheChirpSettingsTogether) {
  manager_t m;
  EXPECT_FALSE(m.set_chirp_config({0.0, 1.6e12, 0}));
  EXPECT_TRUE(m.set_chirp_config({0.0, 1.6e12, 1}));
  EXPECT_TRUE(m.set_chirp_config({1.0, nan_value, 1}));
  EXPECT_TRUE(m.set_chirp_config({1.0, nan_value, 1}));
  EXPECT_EQ(m.get_chirp_config().ref_slope, 1.0);
}

TEST(ConfigureManager, LetsTheStrongerTimeSettingWin) {
  manager_t m;
  EXPECT_TRUE(m.set_from_start(0.7));
  EXPECT_TRUE(m.set_from_end(0.5));
  EXPECT_EQ(m.get_from_end(), 1.0 - 0.7);
  EXPECT_TRUE(m.set_from_start(0.9));
  EXPECT_EQ(m.get_from_end(), 1.0 - 0.9);
  EXPECT_TRUE(m.set_max_chirp_len(1e-6));
  EXPECT_EQ(m.get_min_chirp_len(), 1e-6);
  EXPECT_TRUE(m.set_min_chirp_len(1.0)) << "stored, then cut";
  EXPECT_EQ(m.get_min_chirp_len(), 1e-6);
  EXPECT_TRUE(m.set_meas_time(0.0005));
  EXPECT_EQ(m.get_time_gate_len(), 0.0005);
  EXPECT_TRUE(m.set_time_gate_len(7.0));
  EXPECT_EQ(m.get_time_gate_len(), 0.0005);
}

TEST(ConfigureManager, ClampsOffsetsWhileTheyAreAbsolute) {
  const auto absolute = fmcw_devlength_ref_t::absolute;
  manager_t m;
  EXPECT_TRUE(m.set_devlength_offset_begin(-1e-6));
  EXPECT_EQ(m.get_devlength_offset_begin(), -1e-6);
  EXPECT_TRUE(m.set_devlength_ref(absolute));
  EXPECT_EQ(m.get_devlength_offset_begin(), 0.0);
  EXPECT_TRUE(m.set_devlength_offset_end(-1e-6));
  EXPECT_EQ(m.get_devlength_offset_end(), 0.0);
  EXPECT_TRUE(m.set_devlength_ref(static_cast<fmcw_devlength_ref_t>(2)));
  EXPECT_TRUE(m.set_devlength_offset_end(-1e-6));
  m.enforce_devlength_limits();
  EXPECT_EQ(m.get_devlength_offset_end(), -1e-6);
}

TEST(ConfigureManager, ResetsAllButTheAutomaticModes) {
  manager_t m;
  m.set_chirp_set(fmcw_chirp_set_t::automatic);
  m.set_chirp_detect(fmcw_chirp_detect_t::configured);
  m.set_impedance(fmcw_impedance_t::ohm_75);
  m.set_fs(1.0);
  m.set_display_chirpNO(4);
  m.init();
  EXPECT_EQ(m.get_chirp_set(), fmcw_chirp_set_t::automatic);
  EXPECT_EQ(m.get_chirp_detect(), fmcw_chirp_detect_t::configured);
  EXPECT_EQ(m.get_display_chirpNO(), 0U);
  m.set_chirp_set(fmcw_chirp_set_t::configured);
  m.set_chirp_detect(fmcw_chirp_detect_t::automatic);
  EXPECT_EQ(m, manager_t());
}

TEST(ConfigureManager, ComparesAndTranslatesTheImpedance) {
  manager_t a;
  manager_t b;
  b.set_display_chirpNO(7);
  EXPECT_EQ(a, b);
  a.set_impedance(static_cast<fmcw_impedance_t>(60));
  EXPECT_NE(a, b);
  EXPECT_EQ(a.get_demod_config().impedance, 75.0);
  b.set_impedance(fmcw_impedance_t::ohm_75);
  EXPECT_NE(a, b) << "equal records, other settings";
  EXPECT_EQ(b.get_demod_config().impedance, 75.0);
  EXPECT_EQ(b.get_demod_config().display_chirpNO, 7U);
}

}  // namespace
}  // namespace orn::fmcw_demod_lib
