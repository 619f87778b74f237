#include "basefunc/kernels.h"
#include "dft.h"

#include <common_lib/fourier_transform.h>
#include <common_lib/window_function.h>
#include <fmcw_demod/basefunc.h>
#include <fmcw_demod/engine.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace orn::fmcw_demod_lib {
namespace {

/// Hamming-windowed, centred spectra of equally long segments.
class segment_spectrum_t {
 public:
  explicit segment_spectrum_t(std::uint32_t length) : dft_(length), bins_(length) {
    common_lib::lib_window_function_t::generate_hamming_window(window_, length, true);
  }

  /// Spectrum of the segment that starts at `first`, negative frequencies first; valid until the
  /// next call.
  std::span<const sample_t> operator()(const sample_t* first) {
    for (std::size_t i = 0; i < bins_.size(); ++i) {
      bins_[i] = first[i] * window_[i].real();
    }
    dft_.forward(bins_);
    common_lib::lib_fourier_transform_t::fft_shift(bins_);
    return bins_;
  }

 private:
  common_lib::dft_t dft_;
  std::vector<sample_t> window_;
  std::vector<sample_t> bins_;
};

/// Bin frequencies [Hz] of a centred spectrum; for an odd length no bin sits at 0.
void fill_frequency_axis(float fs, std::vector<float>& axis) {
  const auto points = static_cast<float>(axis.size());
  for (std::size_t i = 0; i < axis.size(); ++i) {
    axis[i] = (static_cast<float>(i) - points * 0.5F) * fs / points;
  }
}

/// Index of the strongest bin, the lowest one of a tie.
std::size_t strongest(std::span<const sample_t> bins) {
  std::size_t peak = 0;
  for (std::size_t i = 1; i < bins.size(); ++i) {
    if (kernels::magnitude(bins[i]) > kernels::magnitude(bins[peak])) {
      peak = i;
    }
  }
  return peak;
}

}  // namespace

void FMCWAnalyze::compute_stft_wincfg(const std::vector<sample_t>& signal, float fs,
                                      const fmcw_window_config_t& window,
                                      fmcw_measure_result_t& result) const {
  auto& rows = result.spectrogram_wincfg;
  auto& time = result.spectrogram_time_axis_wincfg;
  auto& freq = result.spectrogram_freq_axis_wincfg;
  const std::uint32_t length = window.window_length;
  const bool fits = signal.size() >= length && window.window_overlap < length;
  const std::size_t hop = fits ? length - window.window_overlap : 1;
  // The last window that would fit is not analysed.
  const std::size_t row_count = fits ? (signal.size() - length) / hop : 0;
  rows.resize(row_count);
  time.resize(row_count);
  freq.resize(row_count == 0 ? 0 : length);
  if (row_count == 0) {
    return;
  }
  fill_frequency_axis(fs, freq);
  segment_spectrum_t spectrum(length);
  for (std::size_t k = 0; k < row_count; ++k) {
    const auto doubled_centre = static_cast<std::uint32_t>((length - 1) + 2 * k * hop);
    time[k] = static_cast<float>(doubled_centre) * 0.5F / fs;
    rows[k].resize(length);
    kernels::spectral_levels(spectrum(signal.data() + k * hop), rows[k]);
  }
}

void FMCWAnalyze::compute_spectrogram(const std::vector<sample_t>& signal, float fs,
                                      fmcw_measure_result_t& result) const {
  constexpr std::uint32_t length = 256;
  constexpr std::size_t hop = 6;
  auto& rows = result.spectrogram;
  auto& time = result.spectrogram_time_axis;
  auto& peaks = result.spectrogram_peak_freq;
  if (signal.size() < length) {
    rows.clear();
    time.clear();
    result.spectrogram_freq_axis.clear();
    return;
  }
  const std::size_t row_count = (signal.size() - length) / hop + 1;
  rows.resize(row_count);
  time.resize(row_count);
  peaks.resize(row_count);
  result.spectrogram_freq_axis.resize(length);
  fill_frequency_axis(fs, result.spectrogram_freq_axis);

  segment_spectrum_t spectrum(length);
  for (std::size_t k = 0; k < row_count; ++k) {
    const std::span<const sample_t> bins = spectrum(signal.data() + k * hop);
    time[k] = (static_cast<float>(k * hop) + 128.0F) / fs;
    peaks[k] = result.spectrogram_freq_axis[strongest(bins)];
    rows[k].resize(length);
    kernels::spectral_levels(bins, rows[k]);
  }
  const std::vector<double> phase = basefunc::cumtrapz_phase(time, peaks);
  result.spectrogram_phase_inst.assign(phase.begin(), phase.end());
}

void FMCWAnalyze::compute_psd(const std::vector<sample_t>& signal, float fs,
                              std::vector<float>& freq, std::vector<float>& magnitude_db) const {
  constexpr std::size_t most_points = 1024;
  if (signal.empty()) {
    return;
  }
  const std::size_t length = std::min(signal.size(), most_points);
  freq.resize(length);
  magnitude_db.resize(length);
  fill_frequency_axis(fs, freq);
  segment_spectrum_t spectrum(static_cast<std::uint32_t>(length));
  kernels::spectral_levels(spectrum(signal.data()), magnitude_db);
}

}  // namespace orn::fmcw_demod_lib
