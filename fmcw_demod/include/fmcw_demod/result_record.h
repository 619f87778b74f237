#pragma once

#include <fmcw_demod/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace orn::fmcw_demod_lib {

/// A capture as the host hands it over.
struct SignalStream {
  std::vector<sample_t> samples;  ///< complex baseband samples, oldest first [V]
  float fs = 0.0F;  ///< sample rate [Hz]; below 1.19e-7 in magnitude the record's `fs` counts
};

/// Outcome of a configure, analyse or one-shot call.
struct ErrorMsg {
  std::int32_t code = 0;  ///< 0 on success, negative on failure
  std::string message;    ///< empty on success
};

/// The figures of one chirp. Fields whose comment says "float" hold a value rounded to single
/// precision: times are good to 1 us only up to 10 s, where chirp_intervals stay exact.
struct fmcw_chirp_result_t {
  std::uint32_t chirp_id = 0;       ///< running number over the capture, from 1
  std::uint32_t chirp_no = 0;       ///< candidate number within its frame, from 0
  double start_time = 0.0;          ///< [s] from the start of its frame's first candidate, float
  double stop_time = 0.0;           ///< [s] on the same axis, float
  double length = 0.0;              ///< stop_time - start_time [s]
  double switching_time = 0.0;      ///< gap to the previous measured chirp of the frame [s]
  double slope = 0.0;               ///< fitted slope [kHz/us]
  double slope_dev_mean = 0.0;      ///< mean slope less fitted slope [kHz/us], float
  double slope_dev_rms = 0.0;       ///< RMS slope deviation [kHz/us], float
  double slope_dev_avg = 0.0;       ///< mean slope deviation [kHz/us], float
  double slope_dev_peak = 0.0;      ///< largest slope deviation [kHz/us], float
  double bandwidth = 0.0;           ///< highest less lowest frequency [Hz], float
  double freq_avg = 0.0;            ///< mean frequency [Hz]
  double freq_dev_peak = 0.0;       ///< largest deviation from the fitted line [Hz], float
  double freq_dev_rms = 0.0;        ///< RMS deviation from the fitted line [Hz]
  double freq_dev_avg = 0.0;        ///< mean deviation from the fitted line [Hz]
  double phase_dev_peak = 0.0;      ///< largest phase deviation [rad], float
  double phase_dev_rms = 0.0;       ///< RMS phase deviation [rad], float
  double phase_dev_avg = 0.0;       ///< mean phase deviation [rad], float
  double inl_avg = 0.0;             ///< freq_dev_avg / bandwidth
  double inl_peak = 0.0;            ///< freq_dev_peak / bandwidth
  double inl_rms = 0.0;             ///< freq_dev_rms / bandwidth
  double fm_settling_point = 0.0;   ///< [s] on the axis of start_time
  double fm_settling_time = 0.0;    ///< settling point less start of the measured interval [s]
  double fm_settling_length = 0.0;  ///< end of the measured interval less settling point [s]
  double pm_settling_point = 0.0;   ///< as for FM
  double pm_settling_time = 0.0;    ///< as for FM
  double pm_settling_length = 0.0;  ///< as for FM
  double power_avg = 0.0;           ///< mean power [dBm], float
  double power_peak = 0.0;          ///< highest power of a sample [dBm], float
  double power_min = 0.0;           ///< lowest power of a sample [dBm], float
  double power_pk_dev = 0.0;        ///< power_peak - power_min [dB], float
};

/// Everything one analysis produces. A value-initialised record is the reset state. A record may be
/// used again: an analysis replaces what it computes and leaves the rest; only a capture that the
/// configured range does not fit resets the whole record.
struct fmcw_measure_result_t {
  std::vector<fmcw_chirp_result_t> chirp_results;  ///< every measured chirp, in capture order

  // Summary, computed once per analysis.
  std::uint32_t chirp_total = 0;    ///< number of entries in chirp_results
  std::uint32_t chirps_valid = 0;   ///< 1 after an analysis
  float power_avg = 0.0F;           ///< mean power of the whole capture [dBm], -300 when empty
  float power_peak = 0.0F;          ///< highest chirp power_peak [dBm], -300 without chirps
  float first_chirp_start = 0.0F;   ///< first candidate of the first frame, capture time [us]
  float switching_time_std = 0.0F;  ///< population standard deviation of switching times [us]
  float freq_avg = 0.0F;            ///< mean chirp freq_avg, or the median frequency [Hz]
  float summary_slope_tol = 0.0F;   ///< half-width of the slope band in effect [kHz/us]
  std::uint32_t summary_valid = 0;  ///< 1 after an analysis

  // Traces over the whole capture, one element per sample.
  std::vector<float> time_axis;            ///< [s]
  std::vector<float> instantaneous_freq;   ///< smoothed [Hz]
  std::vector<float> instantaneous_power;  ///< [dBm]
  std::vector<float> instantaneous_phase;  ///< the host's own: no analysis fills it

  // Fixed spectrogram: no analysis fills it, apart from spectrogram_phase_inst.
  std::vector<std::vector<float>> spectrogram;  ///< rows in time, levels over frequency [dB]
  std::vector<float> spectrogram_freq_axis;     ///< [Hz]
  std::vector<float> spectrogram_time_axis;     ///< [s]
  std::vector<float> spectrogram_peak_freq;     ///< strongest bin of each row [Hz]
  std::vector<float> spectrogram_phase_inst;    ///< frequency integrated over each chirp [rad]

  // Configurable spectrogram, filled by every analysis.
  std::vector<std::vector<float>> spectrogram_wincfg;  ///< rows in time, levels [dB]
  std::vector<float> spectrogram_freq_axis_wincfg;     ///< [Hz]
  std::vector<float> spectrogram_time_axis_wincfg;     ///< window centres [s]

  // Single spectrum: no analysis fills it.
  std::vector<float> psd_freq;          ///< [Hz]
  std::vector<float> psd_magnitude_dB;  ///< [dB]

  // First frame; kept from before when it holds no candidate.
  std::vector<float> frame_power;      ///< [dBm]
  std::vector<float> frame_time_axis;  ///< capture time [s]

  // The display chirp; kept from before when there is none, except the two fits.
  std::vector<float> chirp_power;               ///< over the candidate [dBm]
  std::vector<float> chirp_time_axis;           ///< [s] from the frame's first candidate
  std::vector<float> chirp_phi_dev;             ///< phase deviation [rad]
  std::vector<float> chirp_phi_dev_time_axis;   ///< [s]
  std::vector<float> chirp_freq_dev;            ///< frequency deviation [Hz]
  std::vector<float> chirp_freq_dev_time_axis;  ///< equal to chirp_phi_dev_time_axis
  std::vector<float> chirp_freq_fit;            ///< fitted line [Hz]
  std::vector<float> chirp_phi_fit;             ///< phase of the fitted line [rad]

  std::vector<interval_t> selected_intervals;  ///< measured chirps in the selected range
  std::vector<interval_t> stable_intervals;  ///< of those, the first frame's, from the range start
  std::vector<interval_t> chirp_intervals;   ///< measured chirps, refined edges, capture samples
};

}  // namespace orn::fmcw_demod_lib
