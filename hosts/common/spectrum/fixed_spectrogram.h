#pragma once

#include "common/capture/sample_source.h"

#include <fmcw_demod/engine.h>
#include <fmcw_demod/parameters.h>
#include <fmcw_demod/result_record.h>
#include <fmcw_demod/types.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace orn::fmcw_host {

/// Samples of a row of the fixed spectrogram, and from one row to the next.
inline constexpr std::size_t fixed_window = 256;
inline constexpr std::size_t fixed_hop = 6;

/// The library's fixed spectrogram of a segment of any length, some rows at a time. Levels and
/// peaks are those of the whole segment at once, bit for bit. Times and phases are in double: the
/// library's single-precision times would spoil the phase of a long recording.
class fixed_spectrogram_t {
 public:
  /// source        the samples; must outlive this
  /// first_sample  of the source, on the recording's axis
  /// rate          [Hz]
  fixed_spectrogram_t(sample_source_t& source, std::uint64_t first_sample, double rate);

  /// Computes the next rows. False: there are none. Throws what the source throws and
  /// std::bad_alloc.
  bool next();

  /// Samples that the rows computed last were made of.
  std::size_t sample_count() const { return samples_.size(); }

  // Of the rows computed last.
  std::size_t row_count() const { return result_.spectrogram.size(); }
  double time(std::size_t row) const { return times_[row]; }  ///< of its middle [s]
  float peak_freq(std::size_t row) const { return result_.spectrogram_peak_freq[row]; }  ///< [Hz]
  /// Integral of the peak frequencies from the first row on, by trapezoids [rad].
  double phase(std::size_t row) const { return phases_[row]; }
  const std::vector<float>& levels(std::size_t row) const { return result_.spectrogram[row]; }
  /// Of the levels [Hz].
  const std::vector<float>& frequencies() const { return result_.spectrogram_freq_axis; }

 private:
  sample_source_t& source_;
  std::uint64_t position_;  ///< of samples_[0], on the recording's axis
  double rate_;
  fmcw_demod_lib::FMCWConfig parameters_;
  fmcw_demod_lib::FMCWAnalyze engine_;
  std::vector<fmcw_demod_lib::sample_t> samples_;
  fmcw_demod_lib::fmcw_measure_result_t result_;
  std::vector<double> times_;
  std::vector<double> phases_;
  double last_phase_ = 0.0;
  float last_peak_ = 0.0F;
  bool is_first_ = true;
};

}  // namespace orn::fmcw_host
