#include <float_environment/default_environment.h>
#include <fmcw_demod/configure_manager.h>

namespace orn::fmcw_demod_lib {

using float_environment::in_default_environment;
using manager_t = fmcw_demod_configure_manager_t;

namespace {

// Range tests state what they reject, so that a NaN passes.
template <class Value>
bool nothing(Value /*value*/) {
  return false;
}
bool negative(double value) { return value < 0.0; }
bool not_positive(double value) { return value <= 0.0; }
bool not_a_share(double value) { return value < 0.0 || value > 1.0; }

/// The one rule of every setter: equality first, then the range. Even comparisons depend on the
/// environment, which may take denormals for zero and trap on NaNs.
template <class Value>
bool store(Value& setting, const Value& value, bool (&rejects)(Value) = nothing<Value>) {
  return in_default_environment([&] {
    if (setting == value || rejects(value)) {
      return false;
    }
    setting = value;
    return true;
  });
}

bool store_time(manager_t& manager, double& setting, double value, bool (&rejects)(double)) {
  const bool stored = store(setting, value, rejects);
  if (stored) {
    manager.enforce_time_limits();
  }
  return stored;
}

template <class Value>
bool store_window(manager_t& manager, Value& setting, const Value& value,
                  bool (&rejects)(Value) = nothing<Value>) {
  const bool stored = store(setting, value, rejects);
  if (stored) {
    manager.enforce_devlength_limits();
  }
  return stored;
}

}  // namespace

void manager_t::enforce_time_limits() {
  in_default_environment([&] {
    fmcw_advanced_config_t& a = settings_.advanced;
    if (a.from_start + a.from_end > 1.0) {
      a.from_end = 1.0 - a.from_start;
    }
    if (a.min_chirp_len > a.max_chirp_len) {
      a.min_chirp_len = a.max_chirp_len;
    }
    if (a.time_gate_len > a.meas_time) {
      a.time_gate_len = a.meas_time;
    }
  });
}

void manager_t::enforce_devlength_limits() {
  in_default_environment([&] {
    fmcw_advanced_config_t& a = settings_.advanced;
    if (a.devlength_ref != fmcw_devlength_ref_t::absolute) {
      return;
    }
    if (a.devlength_offset_begin < 0.0) {
      a.devlength_offset_begin = 0.0;
    }
    if (a.devlength_offset_end < 0.0) {
      a.devlength_offset_end = 0.0;
    }
  });
}

void manager_t::init() {
  manager_t fresh;
  fresh.settings_.chirp_detect = settings_.chirp_detect;
  fresh.settings_.chirp_set = settings_.chirp_set;
  *this = fresh;
}

fmcw_demod_config_t manager_t::get_demod_config() const {
  fmcw_demod_config_t config = settings_;
  config.impedance = impedance_ == fmcw_impedance_t::ohm_50 ? 50.0 : 75.0;
  return config;
}

bool manager_t::operator==(const manager_t& other) const {
  return impedance_ == other.impedance_ &&
         in_default_environment([&] { return settings_ == other.settings_; });
}

bool manager_t::is_chirp_index_valid(unsigned index) const {
  return index < settings_.advanced.chirp_start + settings_.advanced.chirp_count;
}

// A setting's acceptance rule on one line.
// clang-format off
bool manager_t::set_signal_mode(fmcw_signal_mode_t value) { return store(settings_.signal_mode, value); }
bool manager_t::set_iq_map(fmcw_iq_map_t value) { return store(settings_.iq_map, value); }
bool manager_t::set_chirp_detect(fmcw_chirp_detect_t value) { return store(settings_.chirp_detect, value); }
bool manager_t::set_chirp_set(fmcw_chirp_set_t value) { return store(settings_.chirp_set, value); }
bool manager_t::set_freq_center(double hz) { return store(settings_.freq_center, hz, not_positive); }
bool manager_t::set_fs(double hz) { return store(settings_.fs, hz, not_positive); }
bool manager_t::set_impedance(fmcw_impedance_t value) { return store(impedance_, value); }
bool manager_t::set_window_length(std::uint32_t samples) { return samples >= 2 && store(settings_.advanced.window.window_length, samples); }
bool manager_t::set_window_overlap(std::uint32_t samples) { return samples < get_window_length() && store(settings_.advanced.window.window_overlap, samples); }
bool manager_t::set_chirp_start(std::uint32_t chirp) { return store(settings_.advanced.chirp_start, chirp); }
bool manager_t::set_chirp_config(const fmcw_chirp_config_t& value) { return store(settings_.advanced.chirp, value); }
bool manager_t::set_time_auto_mode(fmcw_auto_detect_t value) { return store(settings_.advanced.time_auto_mode, value); }
bool manager_t::set_meas_time(double seconds) { return store_time(*this, settings_.advanced.meas_time, seconds, not_positive); }
bool manager_t::set_time_gate_len(double seconds) { return store_time(*this, settings_.advanced.time_gate_len, seconds, not_positive); }
bool manager_t::set_time_gate_start(double seconds) { return store_time(*this, settings_.advanced.time_gate_start, seconds, negative); }
bool manager_t::set_min_chirp_len(double seconds) { return store_time(*this, settings_.advanced.min_chirp_len, seconds, negative); }
bool manager_t::set_max_chirp_len(double seconds) { return store_time(*this, settings_.advanced.max_chirp_len, seconds, negative); }
bool manager_t::set_from_start(double fraction) { return store_time(*this, settings_.advanced.from_start, fraction, not_a_share); }
bool manager_t::set_from_end(double fraction) { return store_time(*this, settings_.advanced.from_end, fraction, not_a_share); }
bool manager_t::set_st_config(fmcw_st_config_t value) { return store(settings_.advanced.st_config, value); }
bool manager_t::set_analysis_exclude(double fraction) { return store(settings_.advanced.analysis_exclude, fraction, not_a_share); }
bool manager_t::set_devlength_ref(fmcw_devlength_ref_t value) { return store_window(*this, settings_.advanced.devlength_ref, value); }
bool manager_t::set_devlength_len(double fraction) { return store_window(*this, settings_.advanced.devlength_len, fraction, not_a_share); }
bool manager_t::set_devlength_offset_begin(double seconds) { return store_window(*this, settings_.advanced.devlength_offset_begin, seconds); }
bool manager_t::set_devlength_offset_end(double seconds) { return store_window(*this, settings_.advanced.devlength_offset_end, seconds); }
bool manager_t::set_chirp_state_deviation(bool value) { return store(settings_.devsetting.chirp_state_deviation, value); }
bool manager_t::set_fm_settling_tol(double value) { return store(settings_.devsetting.fm_settling_tol, value, negative); }
bool manager_t::set_pm_settling_tol(double value) { return store(settings_.devsetting.pm_settling_tol, value, negative); }
bool manager_t::set_phase_noise_start(std::uint32_t value) { return store(settings_.devsetting.phase_noise_start, value); }
bool manager_t::set_phase_noise_end(std::uint32_t value) { return store(settings_.devsetting.phase_noise_end, value); }
bool manager_t::set_display_region(fmcw_display_region_t value) { return store(settings_.display_region, value); }
bool manager_t::set_display_chirpNO(std::uint32_t chirp) { return is_chirp_index_valid(chirp) && store(settings_.display_chirpNO, chirp); }
// clang-format on

bool manager_t::set_chirp_count(std::uint32_t count) {
  if (count == 0) {
    return false;
  }
  settings_.advanced.chirp_count = count;  // without the equality test of the others
  return true;
}

}  // namespace orn::fmcw_demod_lib
