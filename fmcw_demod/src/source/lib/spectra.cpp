#include "spectra.h"

#include "basefunc/kernels.h"

#include <common_lib/window_function.h>
#include <fmcw_demod/basefunc.h>
#include <memory/scratch.h>
#include <transform/dft.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace orn::fmcw_demod_lib {
namespace {

/// Spectra of equally long, Hamming-windowed segments that start `hop` samples apart, some lanes of
/// them at a time: bin i of lane l lies at index i * lanes() + l.
class segment_spectra_t {
 public:
  segment_spectra_t(std::span<const sample_t> samples, std::uint32_t length, std::size_t hop)
      : samples_(samples), hop_(hop), dft_(length), lanes_(dft_.good_lanes()) {
    std::vector<sample_t> window;
    common_lib::lib_window_function_t::generate_hamming_window(window, length, true);
    for (const sample_t& weight : window) {
      weights_.push_back(weight.real());
    }
    // As many lanes as make the overlap of neighbouring loads small, in a first-level cache.
    loaded_ = lanes_ * std::clamp<std::size_t>(2048 / (hop * lanes_), 1, 8);
    pitch_ = loaded_ + (length + hop - 1) / hop;
    phases_.resize(hop * pitch_);
    std::fill(phases_.re.begin(), phases_.re.end(), 0.0F);
    std::fill(phases_.im.begin(), phases_.im.end(), 0.0F);
    for (std::size_t i = 0; i < length; ++i) {
      offsets_.push_back(i % hop * pitch_ + i / hop);
    }
    bins_.resize(length * lanes_);
  }

  std::size_t lanes() const { return lanes_; }

  /// The spectra of segments first ... first + lanes() - 1, `first` being a multiple of lanes().
  /// Lanes past segment `count` - 1 hold numbers without meaning. Valid until the next call.
  memory::planes_t<float>& operator()(std::size_t first, std::size_t count) {
    if (first % loaded_ == 0) {
      load(first, std::min(loaded_, count - first));
    }
    const std::size_t column = first % loaded_;
    dft_.forward({&phases_.re[column], &phases_.im[column], offsets_, weights_}, bins_, lanes_);
    return bins_;
  }

 private:
  /// Sorts the samples of `count` segments by their position modulo the hop: the samples that an
  /// index has in neighbouring segments are neighbours then.
  void load(std::size_t first, std::size_t count) {
    kernels::sort_by_phase(samples_.subspan(first * hop_, (count - 1) * hop_ + weights_.size()),
                           hop_, pitch_, phases_.re, phases_.im);
  }

  std::span<const sample_t> samples_;
  std::size_t hop_;
  common_lib::dft_t dft_;
  std::size_t lanes_;
  std::size_t loaded_;                ///< segments that are loaded at once
  std::size_t pitch_;                 ///< from a phase's first sample to the next phase's
  std::vector<float> weights_;        ///< of a segment's samples
  std::vector<std::size_t> offsets_;  ///< of a segment's samples in the phases
  memory::planes_t<float> phases_;    ///< the loaded samples, see kernels::sort_by_phase
  memory::planes_t<float> bins_;
};

/// Centred levels, one row per segment, filled by the batch.
class level_rows_t {
 public:
  level_rows_t(std::span<std::vector<float>> rows, std::size_t length, std::size_t lanes)
      : rows_(rows), length_(length), lanes_(lanes) {
    for (auto& row : batch_from(0)) {
      prepare(row);
    }
  }

  /// Fills the batch from row `first` on from the spectra of its lanes, whose real parts become
  /// levels. In between, a few at a time so that computing does not wait for their memory, it
  /// prepares the next batch.
  void fill(std::size_t first, memory::planes_t<float>& bins) {
    constexpr std::size_t together = 256;  // levels
    const auto next = batch_from(first + lanes_);
    std::size_t prepared = 0;
    for (std::size_t at = 0; at < bins.size(); at += together) {
      const std::size_t count = std::min(together, bins.size() - at);
      for (; prepared < next.size() && prepared * length_ < at + count; ++prepared) {
        prepare(next[prepared]);
      }
      const auto re = std::span(bins.re).subspan(at, count);
      kernels::spectral_levels(re, std::span(bins.im).subspan(at, count), re);
    }
    targets_.clear();
    for (auto& row : batch_from(first)) {
      targets_.push_back(row.data());
    }
    kernels::lanes_to_centred_rows(bins.re, lanes_, targets_);
  }

 private:
  std::span<std::vector<float>> batch_from(std::size_t first) const {
    const auto rest = rows_.subspan(std::min(first, rows_.size()));
    return rest.first(std::min(lanes_, rest.size()));
  }

  /// Brings a row to its length and has its memory fetched: a new one is zeroed, which does both.
  void prepare(std::vector<float>& row) const {
    if (row.size() != length_) {
      row.resize(length_);
      return;
    }
    constexpr std::size_t cache_line = 64 / sizeof(float);
    for (std::size_t i = 0; i < length_; i += cache_line) {
      __builtin_prefetch(&row[i], 1);
    }
  }

  std::span<std::vector<float>> rows_;
  std::size_t length_;
  std::size_t lanes_;
  std::vector<float*> targets_;  ///< rows of a batch
};

/// Bin frequencies [Hz] of a centred spectrum; for an odd length no bin sits at 0.
void fill_frequency_axis(float fs, std::vector<float>& axis) {
  const auto points = static_cast<float>(axis.size());
  for (std::size_t i = 0; i < axis.size(); ++i) {
    axis[i] = (static_cast<float>(i) - points * 0.5F) * fs / points;
  }
}

}  // namespace

void compute_stft_wincfg(std::span<const sample_t> signal, float fs,
                         const fmcw_window_config_t& window, fmcw_measure_result_t& result) {
  auto& rows = result.spectrogram_wincfg;
  auto& time = result.spectrogram_time_axis_wincfg;
  auto& freq = result.spectrogram_freq_axis_wincfg;
  const std::uint32_t length = window.window_length;
  const bool fits = signal.size() >= length && window.window_overlap < length;
  const std::size_t hop = fits ? length - window.window_overlap : 1;
  // The last window that would fit is not analysed.
  const std::size_t row_count = fits ? (signal.size() - length) / hop : 0;
  memory::resize_large(rows, row_count);
  memory::resize_large(time, row_count);
  freq.resize(row_count == 0 ? 0 : length);
  if (row_count == 0) {
    return;
  }
  fill_frequency_axis(fs, freq);
  for (std::size_t k = 0; k < row_count; ++k) {
    const auto doubled_centre = static_cast<std::uint32_t>((length - 1) + 2 * k * hop);
    time[k] = static_cast<float>(doubled_centre) * 0.5F / fs;
  }
  segment_spectra_t spectra(signal, length, hop);
  level_rows_t levels(rows, length, spectra.lanes());
  for (std::size_t k = 0; k < row_count; k += spectra.lanes()) {
    levels.fill(k, spectra(k, row_count));
  }
}

void compute_spectrogram(std::span<const sample_t> signal, float fs,
                         fmcw_measure_result_t& result) {
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

  segment_spectra_t spectra(signal, length, hop);
  level_rows_t levels(rows, length, spectra.lanes());
  memory::scratch_t<float> magnitude(length * spectra.lanes());
  std::vector<std::uint32_t> strongest(spectra.lanes());
  for (std::size_t k = 0; k < row_count; k += spectra.lanes()) {
    const std::size_t count = std::min(spectra.lanes(), row_count - k);
    memory::planes_t<float>& bins = spectra(k, row_count);
    kernels::magnitudes(bins.re, bins.im, magnitude);
    kernels::strongest_centred_bins(magnitude, strongest);
    for (std::size_t l = 0; l < count; ++l) {
      time[k + l] = (static_cast<float>((k + l) * hop) + 128.0F) / fs;
      peaks[k + l] = result.spectrogram_freq_axis[strongest[l]];
    }
    levels.fill(k, bins);
  }
  const std::vector<double> phase = basefunc::cumtrapz_phase(time, peaks);
  result.spectrogram_phase_inst.assign(phase.begin(), phase.end());
}

void compute_psd(std::span<const sample_t> signal, float fs, std::vector<float>& freq,
                 std::vector<float>& magnitude_db) {
  constexpr std::size_t most_points = 1024;
  if (signal.empty()) {
    return;
  }
  const std::size_t length = std::min(signal.size(), most_points);
  freq.resize(length);
  fill_frequency_axis(fs, freq);
  segment_spectra_t spectra(signal, static_cast<std::uint32_t>(length), length);
  level_rows_t(std::span(&magnitude_db, 1), length, spectra.lanes()).fill(0, spectra(0, 1));
}

}  // namespace orn::fmcw_demod_lib
