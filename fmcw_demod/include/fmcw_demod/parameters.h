#pragma once

#include <fmcw_demod/config_record.h>
#include <fmcw_demod/export.h>
#include <fmcw_demod/types.h>

#include <cstdint>
#include <vector>

namespace orn::fmcw_demod_lib {

/// The analysed span of a capture and how it is cut into frames, in samples, all modulo 2^32: longer
/// captures are not for one analysis. All zero: no span. A frame above 2^31 - 1 samples finds nothing.
/// An analysis spends a few nanoseconds even on a frame without samples, so a plan of 4 x 10^9 of
/// them, which a tiny gate or a negative rate may give, takes about ten seconds.
struct fmcw_analysis_range_t {
  std::uint32_t start_sample = 0;  ///< first analysed sample
  std::uint32_t end_sample = 0;    ///< one past the last
  std::uint32_t frame_length = 0;  ///< samples per frame; the last frame may be shorter
  std::uint32_t frame_count = 0;   ///< number of frames

  /// Every field is equal.
  friend bool operator==(const fmcw_analysis_range_t&, const fmcw_analysis_range_t&) = default;
};

/// What an analysis needs besides the signal, derived when an analyzer is configured.
class FMCW_DEMOD_EXPORT FMCWConfig {
 public:
  /// settings  the host's record
  /// signal    the capture that the frame plan is laid out for; null or empty: an all-zero plan
  /// fs        its sample rate [Hz]; below 1.19e-7 in magnitude the record's `fs` counts
  ///
  /// Settings that give a span or a frame no sample count can express (NaN, negative, beyond 64
  /// bits) give an all-zero plan. Throws std::bad_alloc.
  FMCWConfig(const fmcw_demod_config_t& settings, std::vector<sample_t>* signal, float fs);

  /// basefunc::generate_triang_window(n), from the two cached windows where n is 37 or 256.
  std::vector<float> get_smoothing_window(int n) const;

  /// basefunc::generate_triang_window_double(n).
  std::vector<double> get_smoothing_window_double(int n) const;

  /// Instantaneous frequency [Hz] in single precision: the unwrapped phase's gradient, central
  /// inside, one-sided at both ends. `freq` is emptied when there are fewer than two samples or
  /// `fs` <= 0. The analysis itself uses FMCWAnalyze::compute_instantaneous_freq.
  static void compute_instantaneous_freq_simple(const std::vector<sample_t>& signal, float fs,
                                                std::vector<float>& freq);

  /// Copy of the host's record whose `impedance` is doubled: sample magnitudes are peak voltages,
  /// so their power is |x|^2 / 2R. Mutable, since an analysis stores the slope band it measured
  /// here (see FMCWAnalyze::switch_point_para) while nothing else may change.
  mutable fmcw_demod_config_t config;
  fmcw_analysis_range_t analysis_range;  ///< the frame plan
  std::vector<float> triang_37;          ///< smoothing of the frequency trace
  std::vector<float> triang_256;         ///< smoothing of the slope trace
};

}  // namespace orn::fmcw_demod_lib
