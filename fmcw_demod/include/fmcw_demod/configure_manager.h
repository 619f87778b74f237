#pragma once

#include <fmcw_demod/config_record.h>
#include <fmcw_demod/export.h>

#include <cstdint>

namespace orn::fmcw_demod_lib {

/// The settings object a host keeps behind its user interface: holds every setting, accepts only
/// valid values, keeps related settings consistent and produces the configuration record. A plain
/// value; no operation allocates, logs or throws.
///
/// A setter returns true when it stored the value and false when it rejected it or holds it
/// already; a rejected call changes nothing. Comparisons are ordinary floating-point ones: a NaN
/// passes every range test, is stored and makes two managers unequal. Where a setter names a limit,
/// that rule is applied to the stored values afterwards and may move this setting or another one;
/// the setter still returns true.
///
///     time limits     from_end <= 1 - from_start; min_chirp_len <= max_chirp_len;
///                     time_gate_len <= meas_time: in this order, the first named gives way
///     offset clamp    while devlength_ref is 0, neither offset is negative
class FMCW_DEMOD_EXPORT fmcw_demod_configure_manager_t {
 public:
  /// All settings at their defaults.
  fmcw_demod_configure_manager_t() = default;

  /// Puts every setting but `chirp_detect` and `chirp_set` back to its default.
  void init();

  /// The settings as a record: impedance 50 ohms for ohm_50 and 75 ohms for every other value.
  fmcw_demod_config_t get_demod_config() const;

  /// Whether every setting but `display_chirpNO` is equal.
  bool operator==(const fmcw_demod_configure_manager_t& other) const;
  /// The opposite of ==.
  bool operator!=(const fmcw_demod_configure_manager_t& other) const { return !(*this == other); }

  /// True for chirps below `chirp_start` + `chirp_count`, a 32-bit sum that wraps.
  bool is_chirp_index_valid(unsigned index) const;

  /// Applies the time limits to the current values.
  void enforce_time_limits();
  /// Applies the offset clamp to the current values.
  void enforce_devlength_limits();

  /// @name Setters
  /// Each accepts any value unless a range stands beside it.
  /// @{

  /// Stores the value; true when it changed.
  bool set_signal_mode(fmcw_signal_mode_t value);
  bool set_iq_map(fmcw_iq_map_t value);
  bool set_chirp_detect(fmcw_chirp_detect_t value);
  bool set_chirp_set(fmcw_chirp_set_t value);
  bool set_freq_center(double hz);  ///< above 0
  bool set_fs(double hz);           ///< above 0
  bool set_impedance(fmcw_impedance_t value);
  bool set_window_length(std::uint32_t samples);   ///< 2 or more; the overlap stays
  bool set_window_overlap(std::uint32_t samples);  ///< below window_length
  bool set_chirp_start(std::uint32_t chirp);
  bool set_chirp_count(std::uint32_t count);  ///< 1 or more; true even when held already
  bool set_chirp_config(const fmcw_chirp_config_t& value);  ///< all three fields at once
  bool set_time_auto_mode(fmcw_auto_detect_t value);
  bool set_meas_time(double seconds);        ///< above 0; time limits
  bool set_time_gate_len(double seconds);    ///< above 0; time limits
  bool set_time_gate_start(double seconds);  ///< 0 or more; time limits
  bool set_min_chirp_len(double seconds);    ///< 0 or more; time limits
  bool set_max_chirp_len(double seconds);    ///< 0 or more; time limits
  bool set_from_start(double fraction);      ///< 0 to 1; time limits
  bool set_from_end(double fraction);        ///< 0 to 1; time limits
  bool set_st_config(fmcw_st_config_t value);
  bool set_analysis_exclude(double fraction);          ///< 0 to 1
  bool set_devlength_ref(fmcw_devlength_ref_t value);  ///< offset clamp
  bool set_devlength_len(double fraction);             ///< 0 to 1; offset clamp
  bool set_devlength_offset_begin(double seconds);     ///< offset clamp
  bool set_devlength_offset_end(double seconds);       ///< offset clamp
  bool set_chirp_state_deviation(bool value);
  bool set_fm_settling_tol(double value);  ///< 0 or more
  bool set_pm_settling_tol(double value);  ///< 0 or more
  bool set_phase_noise_start(std::uint32_t value);
  bool set_phase_noise_end(std::uint32_t value);
  bool set_display_region(fmcw_display_region_t value);
  bool set_display_chirpNO(std::uint32_t chirp);  ///< a valid chirp index
  /// @}

  /// @name Getters
  /// @{

  /// The stored value.
  fmcw_signal_mode_t get_signal_mode() const { return settings_.signal_mode; }
  fmcw_iq_map_t get_iq_map() const { return settings_.iq_map; }
  fmcw_chirp_detect_t get_chirp_detect() const { return settings_.chirp_detect; }
  fmcw_chirp_set_t get_chirp_set() const { return settings_.chirp_set; }
  double get_freq_center() const { return settings_.freq_center; }
  double get_fs() const { return settings_.fs; }
  fmcw_impedance_t get_impedance() const { return impedance_; }
  std::uint32_t get_window_length() const { return settings_.advanced.window.window_length; }
  std::uint32_t get_window_overlap() const { return settings_.advanced.window.window_overlap; }
  std::uint32_t get_chirp_start() const { return settings_.advanced.chirp_start; }
  std::uint32_t get_chirp_count() const { return settings_.advanced.chirp_count; }
  fmcw_chirp_config_t get_chirp_config() const { return settings_.advanced.chirp; }
  fmcw_auto_detect_t get_time_auto_mode() const { return settings_.advanced.time_auto_mode; }
  double get_meas_time() const { return settings_.advanced.meas_time; }
  double get_time_gate_len() const { return settings_.advanced.time_gate_len; }
  double get_time_gate_start() const { return settings_.advanced.time_gate_start; }
  double get_min_chirp_len() const { return settings_.advanced.min_chirp_len; }
  double get_max_chirp_len() const { return settings_.advanced.max_chirp_len; }
  double get_from_start() const { return settings_.advanced.from_start; }
  double get_from_end() const { return settings_.advanced.from_end; }
  fmcw_st_config_t get_st_config() const { return settings_.advanced.st_config; }
  double get_analysis_exclude() const { return settings_.advanced.analysis_exclude; }
  fmcw_devlength_ref_t get_devlength_ref() const { return settings_.advanced.devlength_ref; }
  double get_devlength_len() const { return settings_.advanced.devlength_len; }
  double get_devlength_offset_begin() const { return settings_.advanced.devlength_offset_begin; }
  double get_devlength_offset_end() const { return settings_.advanced.devlength_offset_end; }
  bool get_chirp_state_deviation() const { return settings_.devsetting.chirp_state_deviation; }
  double get_fm_settling_tol() const { return settings_.devsetting.fm_settling_tol; }
  double get_pm_settling_tol() const { return settings_.devsetting.pm_settling_tol; }
  std::uint32_t get_phase_noise_start() const { return settings_.devsetting.phase_noise_start; }
  std::uint32_t get_phase_noise_end() const { return settings_.devsetting.phase_noise_end; }
  fmcw_display_region_t get_display_region() const { return settings_.display_region; }
  std::uint32_t get_display_chirpNO() const { return settings_.display_chirpNO; }
  /// @}

 private:
  fmcw_demod_config_t settings_;  ///< its impedance stays at the default
  fmcw_impedance_t impedance_ = fmcw_impedance_t::ohm_50;
};

}  // namespace orn::fmcw_demod_lib
