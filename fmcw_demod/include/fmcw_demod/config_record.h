#pragma once

#include <cstdint>
#include <cstring>

namespace orn::fmcw_demod_lib {

// "Kept and compared": no figure depends on the setting, but records that differ in it differ.
// Only the numbers of the enumerations carry meaning; where "any other value" has one, every number
// but the first named is treated like the second.

enum class fmcw_signal_mode_t : std::uint32_t { standard = 1 };     ///< kept and compared
enum class fmcw_iq_map_t : std::uint32_t { standard = 1 };          ///< kept and compared
enum class fmcw_display_region_t : std::uint32_t { standard = 1 };  ///< kept and compared

/// Where the centre of the slope band comes from.
enum class fmcw_chirp_detect_t : std::uint32_t {
  configured = 0,  ///< `ref_slope`
  automatic = 1    ///< median slope of the chirp
};

/// Where the half-width of the slope band comes from.
enum class fmcw_chirp_set_t : std::uint32_t {
  configured = 0,  ///< `slope_tol`
  automatic = 1    ///< 5 % of the median slope, together with fmcw_chirp_detect_t::automatic
};

/// Load impedance by name, for settings objects; the record holds ohms.
enum class fmcw_impedance_t : std::uint32_t { ohm_50 = 50, ohm_75 = 75 };

/// How much of the capture is analysed.
enum class fmcw_auto_detect_t : std::uint32_t {
  limited = 0,       ///< at most `meas_time`
  whole_capture = 1  ///< everything
};

/// How the measured part of a chirp is found.
enum class fmcw_st_config_t : std::uint32_t {
  fixed_exclusion = 0,  ///< `analysis_exclude` is cut off at both ends
  slope_band = 1        ///< the samples whose slope lies in the slope band
};

/// How the deviation window is cut out of the measured interval.
enum class fmcw_devlength_ref_t : std::uint32_t {
  absolute = 0,  ///< `devlength_offset_begin` and `devlength_offset_end`
  relative = 1   ///< a centred share `devlength_len` of the candidate's length
};

/// Window of the configurable spectrogram.
struct fmcw_window_config_t {
  std::uint32_t window_length = 64;   ///< samples per window, 2 or more
  std::uint32_t window_overlap = 60;  ///< samples shared by neighbours, below window_length

  /// Every field is equal.
  friend bool operator==(const fmcw_window_config_t&, const fmcw_window_config_t&) = default;
};

/// Expected slope of a chirp.
struct fmcw_chirp_config_t {
  double ref_slope = 0.0;         ///< centre of the slope band [Hz/s]
  double slope_tol = 1.6e12;      ///< half-width of the slope band [Hz/s]; negative: empty band
  std::int32_t chirp_option = 0;  ///< kept and compared, no figure depends on it

  /// Every field is equal; a NaN equals nothing.
  friend bool operator==(const fmcw_chirp_config_t&, const fmcw_chirp_config_t&) = default;
};

/// Which part of the capture, which chirps and which part of each chirp are measured.
struct fmcw_advanced_config_t {
  fmcw_window_config_t window;     ///< of the configurable spectrogram
  fmcw_chirp_config_t chirp;       ///< slope band
  std::uint32_t chirp_start = 0;   ///< first selected chirp of a frame, from 0
  std::uint32_t chirp_count = 30;  ///< number of selected chirps, 1 or more
  fmcw_auto_detect_t time_auto_mode = fmcw_auto_detect_t::whole_capture;  ///< analysed part
  double meas_time = 0.001;       ///< longest analysed duration [s], > 0; time_auto_mode not 1
  std::uint64_t reserved_b = 0;   ///< kept and compared, no figure depends on it
  double time_gate_len = 0.0009;  ///< frame length [s], > 0
  double time_gate_start = 0.0;   ///< kept and compared, no figure depends on it [s]
  double min_chirp_len = 3e-6;    ///< shorter candidates are dropped [s], exclusive
  double max_chirp_len = 0.001;   ///< longer candidates are dropped [s], exclusive
  double from_start = 0.0;        ///< fraction of the analysed span skipped at its start, 0 to 1
  double from_end = 0.0;          ///< fraction skipped at its end; from_start + from_end <= 1
  fmcw_st_config_t st_config = fmcw_st_config_t::slope_band;  ///< how a chirp's ends are found
  double analysis_exclude = 0.05;  ///< fraction of a chirp cut off at each end; st_config not 1
  fmcw_devlength_ref_t devlength_ref = fmcw_devlength_ref_t::relative;  ///< see the enumeration
  double devlength_len = 0.75;          ///< share of the candidate in the deviation window, 0 to 1
  double devlength_offset_begin = 0.0;  ///< time cut off the measured interval's start [s]
  double devlength_offset_end = 0.0;    ///< time cut off the measured interval's end [s]

  /// Every field is equal; a NaN equals nothing.
  friend bool operator==(const fmcw_advanced_config_t&, const fmcw_advanced_config_t&) = default;
};

/// Deviation settings: kept and compared, no figure depends on them.
struct fmcw_devsetting_config_t {
  bool chirp_state_deviation = true;      ///< any byte but 0 counts as true
  double fm_settling_tol = 1e9;           ///< kept and compared
  double pm_settling_tol = 180.0;         ///< kept and compared
  std::uint32_t phase_noise_start = 256;  ///< kept and compared
  std::uint32_t phase_noise_end = 50000;  ///< kept and compared

  /// Every field is equal; a NaN equals nothing.
  friend bool operator==(const fmcw_devsetting_config_t& a, const fmcw_devsetting_config_t& b) {
    return is_set(a.chirp_state_deviation) == is_set(b.chirp_state_deviation) &&
           a.fm_settling_tol == b.fm_settling_tol && a.pm_settling_tol == b.pm_settling_tol &&
           a.phase_noise_start == b.phase_noise_start && a.phase_noise_end == b.phase_noise_end;
  }

 private:
  /// A host may have filled the record as plain memory, and a bool whose byte is neither 0 nor 1
  /// must not be read as one.
  static bool is_set(const bool& flag) {
    unsigned char byte = 0;
    std::memcpy(&byte, &flag, 1);
    return byte != 0;
  }
};

/// Everything a host tells the library about one measurement. Trivially copyable; host and library
/// share this declaration. A value-initialised record is a host's starting point: it equals the
/// record inside a new analyzer except for `chirp_set`, which is 1 there.
struct fmcw_demod_config_t {
  fmcw_signal_mode_t signal_mode = fmcw_signal_mode_t::standard;  ///< kept and compared
  fmcw_iq_map_t iq_map = fmcw_iq_map_t::standard;                 ///< kept and compared
  double freq_center = 1e9;  ///< centre frequency of the capture [Hz]; no figure depends on it
  double fs = 1.25e8;        ///< sample rate [Hz], > 0; time axes and frame lengths come from it
  double impedance = 50.0;   ///< load impedance [ohm], 50 or 75
  double reserved_a = 0.0;   ///< kept and compared, no figure depends on it
  fmcw_chirp_detect_t chirp_detect = fmcw_chirp_detect_t::automatic;       ///< band centre
  fmcw_chirp_set_t chirp_set = fmcw_chirp_set_t::configured;               ///< band half-width
  fmcw_advanced_config_t advanced;                                         ///< what is measured
  fmcw_devsetting_config_t devsetting;                                     ///< kept and compared
  fmcw_display_region_t display_region = fmcw_display_region_t::standard;  ///< kept and compared
  std::uint32_t display_chirpNO = 0;  ///< chirp of the first frame shown in detail, from 0

  /// Two records are equal when they ask for the same measurement: every field but
  /// `display_chirpNO` is equal. A NaN in any field makes records unequal.
  friend bool operator==(const fmcw_demod_config_t& a, const fmcw_demod_config_t& b) {
    return a.signal_mode == b.signal_mode && a.iq_map == b.iq_map &&
           a.freq_center == b.freq_center && a.fs == b.fs && a.impedance == b.impedance &&
           a.reserved_a == b.reserved_a && a.chirp_detect == b.chirp_detect &&
           a.chirp_set == b.chirp_set && a.advanced == b.advanced && a.devsetting == b.devsetting &&
           a.display_region == b.display_region;
  }
};

}  // namespace orn::fmcw_demod_lib
