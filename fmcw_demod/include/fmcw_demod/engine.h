#pragma once

#include <fmcw_demod/config_record.h>
#include <fmcw_demod/export.h>
#include <fmcw_demod/parameters.h>
#include <fmcw_demod/result_record.h>
#include <fmcw_demod/types.h>

#include <cstdint>
#include <vector>

namespace orn::fmcw_demod_lib {

/// The analysis engine: finds the chirps of a capture and measures each one. It holds references
/// into its parameters, which must outlive it, and nothing of its own. One engine serves one thread
/// at a time, as do the parameters under it.
///
/// `analyze` is the whole road; the other operations are its steps, in the order of the data. Steps
/// fail by throwing std::bad_alloc only. Indices inside a frame are 32-bit signed and count from
/// the frame's first sample, so a frame above 2^31 - 1 samples has no chirps; intervals include both
/// ends. Outputs must neither be inputs nor each other.
class FMCW_DEMOD_EXPORT FMCWAnalyze {
 public:
  /// Engine on `parameters`, which it holds by reference.
  explicit FMCWAnalyze(const FMCWConfig& parameters);

  /// Analyses one capture with the frame plan of the parameters.
  ///
  /// signal  the capture; `fs` is not read, the record's sample rate counts
  /// result  filled; reset when the plan is empty or reaches past the capture
  ///
  /// Times are in single precision, good to 1 us only up to 10 s; intervals are sample numbers and
  /// stay exact. Logs progress. An exception leaves what was stored up to that point; traces over the
  /// whole capture may be gone.
  void analyze(const SignalStream& signal, fmcw_measure_result_t& result);

  /// Spectrogram [dB] of Hamming-windowed segments, unnormalised: 20 log10(|X| + 1e-12).
  ///
  /// fs      sample rate [Hz]
  /// window  segment length L and overlap O; neighbours start L - O samples apart
  /// result  `spectrogram_wincfg` gets floor((N - L) / (L - O)) rows of L levels, negative
  ///         frequencies first, `spectrogram_freq_axis_wincfg` [Hz] and
  ///         `spectrogram_time_axis_wincfg` (segment centres [s]) go with it; all three are emptied
  ///         when there is no row or O >= L. Twice a centre is counted in 32 bits: times begin anew
  ///         after 2^31 samples.
  void compute_stft_wincfg(const std::vector<sample_t>& signal, float fs,
                           const fmcw_window_config_t& window, fmcw_measure_result_t& result) const;

  /// Spectrogram [dB] of Hamming-windowed segments of 256 samples, 6 samples apart, with the
  /// strongest frequency of each; for hosts, no analysis calls it.
  ///
  /// result  `spectrogram` gets floor((N - 256) / 6) + 1 rows, `spectrogram_freq_axis` [Hz],
  ///         `spectrogram_time_axis` [s], `spectrogram_peak_freq` [Hz] and `spectrogram_phase_inst`
  ///         [rad], the integral of the peak frequencies, go with it. With fewer than 256 samples
  ///         the first three are emptied and the last two stay.
  void compute_spectrogram(const std::vector<sample_t>& signal, float fs,
                           fmcw_measure_result_t& result) const;

  /// Spectrum [dB] of the first 1024 samples, or of all if there are fewer; for hosts.
  ///
  /// freq          replaced by the bin frequencies [Hz], negative first
  /// magnitude_db  replaced by the levels 20 log10(|X| + 1e-12), X Hamming-windowed and
  ///               unnormalised
  ///
  /// Without samples both stay as they were.
  void compute_psd(const std::vector<sample_t>& signal, float fs, std::vector<float>& freq,
                   std::vector<float>& magnitude_db) const;

  /// Instantaneous frequency [Hz] and unwrapped phase [rad] of the capture, one element per sample
  /// each. The frequency is the phase's gradient, central inside and one-sided at both ends; 0 for
  /// a single sample. `fs` [Hz] may be zero (all-zero frequency) or negative (mirrored).
  void compute_instantaneous_freq(const std::vector<sample_t>& signal, float fs,
                                  std::vector<double>& freq, std::vector<double>& phase) const;

  /// Replaces the trace by its triangular moving average over n samples, zeros beyond its ends. A
  /// negative n throws std::bad_alloc, 0 leaves the trace as it is.
  void smooth_with_triang(std::vector<float>& trace, int n) const;
  /// The same in double precision.
  void smooth_with_triang(std::vector<double>& trace, int n) const;

  /// 10 log10(mean |x|^2 / impedance * 1000) [dBm]; -300 for no samples, -infinity for silence.
  double compute_power_dbm(const std::vector<sample_t>& signal, float impedance) const;

  /// Finds where one chirp ends and the next begins.
  ///
  /// freq          instantaneous frequency of one frame [Hz], n elements
  /// slope_raw     resized to n - 1: frequency differences over dt [Hz/s]
  /// slope_smooth  resized to n - 1: slope_raw smoothed over 256 samples
  /// dt            sample interval [s]
  ///
  /// Returns the merged sign changes of the smoothed slope whose two neighbours both exceed 100
  /// Hz/s in magnitude, ascending, then n - 1. With n < 2, or more samples than an int can count,
  /// the result is empty and the slopes stay as they were.
  std::vector<int> detect_chirp_boundaries(ArrayView<const double> freq,
                                           std::vector<float>& slope_raw,
                                           std::vector<float>& slope_smooth, double dt) const;
  /// The vector form: smooths in double precision and puts a 0 in front.
  std::vector<int> detect_chirp_boundaries(const std::vector<double>& freq,
                                           std::vector<float>& slope_raw,
                                           std::vector<float>& slope_smooth, double dt) const;

  /// Replaces neighbours closer than an eighth of the mean spacing by their rounded mid-point, pass
  /// after pass, until a pass merges nothing. `switching` is ascending.
  std::vector<int> MergeSwitching(const std::vector<int>& switching) const;

  /// max(0.001, 0.002 median |slope|), the upper median for an even count; 0 for an empty trace.
  /// NaNs count as larger than any number.
  float get_slope_threshold(const std::vector<float>& slope) const;

  /// Finds the measured interval and the deviation window of one candidate.
  ///
  /// slope_smooth  smoothed slope of the frame [Hz/s]
  /// start, stop   the candidate, inside slope_smooth
  /// chirp_index   not used
  /// meas_start, meas_stop  the part of the candidate that counts as the chirp
  /// dev_start, dev_stop    the part that deviations are evaluated over
  /// advanced      how to choose both; the sample rate and the automatic modes come from the
  ///               parameters
  ///
  /// With slope band, `chirp_set` and `chirp_detect` all automatic, the measured band is stored
  /// into `ref_slope` and `slope_tol` of the parameters' record. Settings without a sample count
  /// (NaN, a fixed exclusion beyond an int) give an empty deviation window, which marks a candidate
  /// to skip.
  void switch_point_para(const std::vector<float>& slope_smooth, int start, int stop,
                         int chirp_index, int& meas_start, int& meas_stop, int& dev_start,
                         int& dev_stop, const fmcw_advanced_config_t& advanced) const;

  /// Computes the figures of one chirp, all but its numbering and timing.
  ///
  /// freq        unsmoothed frequency of the frame [Hz]
  /// frame_time  time of each of its samples [s]
  /// slope_raw   its raw slope [Hz/s]
  /// chirp_phi_fit, chirp_freq_fit  receive phase [rad] and frequency [Hz] of the fitted line
  /// dev_start ... meas_stop        the two intervals of switch_point_para
  /// dev_settings  enters no figure
  /// samples     samples of the frame
  /// chirp       receives the figures
  /// result      receives the deviation traces
  /// display     whether fits and traces are written at all
  ///
  /// Writes nothing when an interval is too short (dev_stop - dev_start < 3, meas_stop - meas_start
  /// < 2), leaves the frame, or its time stamps are all equal.
  void extract_chirp_parameters(ArrayView<const double> freq, const std::vector<float>& frame_time,
                                const std::vector<float>& slope_raw,
                                std::vector<float>& chirp_phi_fit,
                                std::vector<float>& chirp_freq_fit, int dev_start, int dev_stop,
                                int meas_start, int meas_stop,
                                const fmcw_devsetting_config_t& dev_settings,
                                ArrayView<const sample_t> samples, fmcw_chirp_result_t& chirp,
                                fmcw_measure_result_t& result, bool display) const;
  /// The vector form: integrates the phase over frame_time in double precision, judges settling by
  /// the measured interval and has no fits.
  void extract_chirp_parameters(const std::vector<double>& freq,
                                const std::vector<float>& frame_time,
                                const std::vector<float>& slope_raw, int dev_start, int dev_stop,
                                int meas_start, int meas_stop,
                                const fmcw_devsetting_config_t& dev_settings,
                                const std::vector<sample_t>& samples, fmcw_chirp_result_t& chirp,
                                fmcw_measure_result_t& result, bool display) const;

  /// Phase and frequency traces of the capture.
  ///
  /// sample_count  length of phase_out
  /// intervals     chirps; one that is shorter than two samples or reaches past the traces is left
  ///               out whole, of overlapping ones the later wins
  /// time_axis     [s], inst_freq [Hz]: one element per sample
  /// phase_out     replaced: frequency integrated over each interval from 0 [rad], 0 elsewhere
  /// freq_out      replaced: inst_freq in single precision
  void fill_instantaneous(std::uint64_t sample_count, const std::vector<interval_t>& intervals,
                          const std::vector<float>& time_axis, const std::vector<double>& inst_freq,
                          std::vector<float>& phase_out, std::vector<float>& freq_out) const;

  /// The intervals that fall into the frame [frame_start, frame_end), clipped to it and counted
  /// from its first sample, in input order.
  std::vector<interval_t> extract_frame_stable_intervals(const std::vector<interval_t>& intervals,
                                                         std::uint64_t frame_start,
                                                         std::uint64_t frame_end) const;

  /// Fills the summary of the result, whose chirps and traces are in place.
  ///
  /// samples            the capture
  /// first_chirp_start  [s] on the capture's time axis
  /// switching_times    [s], one per measured chirp
  /// chirp_count        number of measured chirps
  /// frequency_sum      sum of their mean frequencies [Hz]
  void get_summary_info(const std::vector<sample_t>& samples, fmcw_measure_result_t& result,
                        const float& first_chirp_start, const std::vector<double>& switching_times,
                        const std::uint32_t& chirp_count, const double& frequency_sum) const;

 private:
  const FMCWConfig& parameters_;
  fmcw_demod_config_t& config_;  ///< inside the parameters; only its slope band is ever written
  [[maybe_unused]] const fmcw_analysis_range_t& range_;
};

}  // namespace orn::fmcw_demod_lib
