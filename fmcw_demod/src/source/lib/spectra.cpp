#include "basefunc/kernels.h"
#include "dft.h"

#include <common_lib/fourier_transform.h>
#include <common_lib/window_function.h>
#include <fmcw_demod/engine.h>

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
  const auto points = static_cast<float>(length);
  for (std::uint32_t i = 0; i < length; ++i) {
    freq[i] = (static_cast<float>(i) - points * 0.5F) * fs / points;
  }
  segment_spectrum_t spectrum(length);
  for (std::size_t k = 0; k < row_count; ++k) {
    const auto doubled_centre = static_cast<std::uint32_t>((length - 1) + 2 * k * hop);
    time[k] = static_cast<float>(doubled_centre) * 0.5F / fs;
    rows[k].resize(length);
    kernels::spectral_levels(spectrum(signal.data() + k * hop), rows[k]);
  }
}

}  // namespace orn::fmcw_demod_lib
