#include "basefunc/kernels.h"
#include "dft.h"
#include "scratch.h"

#include <common_lib/window_function.h>
#include <fmcw_demod/basefunc.h>
#include <fmcw_demod/engine.h>

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
  common_lib::planes_t<float>& operator()(std::size_t first, std::size_t count) {
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
  std::size_t loaded_;                  ///< segments that are loaded at once
  std::size_t pitch_;                   ///< from a phase's first sample to the next phase's
  std::vector<float> weights_;          ///< of a segment's samples
  std::vector<std::size_t> offsets_;    ///< of a segment's samples in the phases
  common_lib::planes_t<float> phases_;  ///< the loaded samples, see kernels::sort_by_phase
  common_lib::planes_t<float> bins_;
};

/// Centred levels, one row per segment. Every row is allocated just before it is filled: memory
/// that is touched at once is cheapest.
class level_rows_t {
 public:
  level_rows_t(std::size_t length, std::size_t row_count)
      : length_(length), to_allocate_(row_count * row_bytes()) {}

  /// Brings the first `count` of the rows that are left to their length.
  void allocate(std::span<std::vector<float>> rows, std::size_t count) {
    rows_ = rows;
    targets_.resize(count);
    for (std::size_t l = 0; l < count; ++l) {
      if (rows[l].capacity() < length_) {
        prepare_memory();
      }
      rows[l].resize(length_);
      targets_[l] = rows[l].data();
    }
  }

  /// Fills the allocated rows from the spectra of as many lanes, whose real parts become levels.
  /// In between, a few at a time so that computing does not wait for them, it has the next rows
  /// fetched.
  void fill(common_lib::planes_t<float>& bins) {
    constexpr std::size_t together = 256;  // levels
    std::size_t fetched = 0;
    for (std::size_t first = 0; first < bins.size(); first += together) {
      const std::size_t count = std::min(together, bins.size() - first);
      // In place: gcc drops calls of a function that only prefetches.
      for (; fetched < targets_.size() && fetched * length_ < first + count; ++fetched) {
        const char* const next = next_memory(fetched);
        for (std::size_t i = 0; i < row_bytes(); i += 64) {
          __builtin_prefetch(next + i, 1);
        }
      }
      const auto re = std::span(bins.re).subspan(first, count);
      kernels::spectral_levels(re, std::span(bins.im).subspan(first, count), re);
    }
    kernels::lanes_to_centred_rows(bins.re, bins.size() / length_, targets_);
  }

 private:
  /// A row with what an allocator adds.
  std::size_t row_bytes() const { return length_ * sizeof(float) + 16; }

  /// Where row l of the next batch is, or will be allocated if the heap grows on.
  const char* next_memory(std::size_t l) const {
    const std::size_t next = targets_.size() + l;
    const bool known = next < rows_.size() && rows_[next].capacity() >= length_;
    return known ? reinterpret_cast<const char*>(rows_[next].data())
                 : reinterpret_cast<const char*>(targets_[l]) + targets_.size() * row_bytes();
  }

  void prepare_memory() {
    constexpr std::size_t worthwhile = std::size_t{4} << 20;
    constexpr std::size_t most = std::size_t{24} << 20;
    if (prepared_ < row_bytes() && to_allocate_ >= worthwhile) {
      prepared_ = std::min(to_allocate_, most);
      common_lib::prepare_heap(prepared_);
    }
    prepared_ -= std::min(prepared_, row_bytes());
    to_allocate_ -= std::min(to_allocate_, row_bytes());
  }

  std::size_t length_;
  std::size_t to_allocate_;             ///< bytes of the rows that are still to come
  std::size_t prepared_ = 0;            ///< of those, bytes that the heap is prepared for
  std::span<std::vector<float>> rows_;  ///< from the batch on
  std::vector<float*> targets_;         ///< rows of the batch
};

/// Bin frequencies [Hz] of a centred spectrum; for an odd length no bin sits at 0.
void fill_frequency_axis(float fs, std::vector<float>& axis) {
  const auto points = static_cast<float>(axis.size());
  for (std::size_t i = 0; i < axis.size(); ++i) {
    axis[i] = (static_cast<float>(i) - points * 0.5F) * fs / points;
  }
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
  common_lib::resize_large(rows, row_count);
  common_lib::resize_large(time, row_count);
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
  level_rows_t levels(length, row_count);
  for (std::size_t k = 0; k < row_count; k += spectra.lanes()) {
    const std::size_t count = std::min(spectra.lanes(), row_count - k);
    levels.allocate(std::span(rows).subspan(k), count);
    levels.fill(spectra(k, row_count));
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

  segment_spectra_t spectra(signal, length, hop);
  level_rows_t levels(length, row_count);
  common_lib::scratch_t<float> magnitude(length * spectra.lanes());
  std::vector<std::uint32_t> strongest(spectra.lanes());
  for (std::size_t k = 0; k < row_count; k += spectra.lanes()) {
    const std::size_t count = std::min(spectra.lanes(), row_count - k);
    levels.allocate(std::span(rows).subspan(k), count);
    common_lib::planes_t<float>& bins = spectra(k, row_count);
    kernels::magnitudes(bins.re, bins.im, magnitude);
    kernels::strongest_centred_bins(magnitude, strongest);
    for (std::size_t l = 0; l < count; ++l) {
      time[k + l] = (static_cast<float>((k + l) * hop) + 128.0F) / fs;
      peaks[k + l] = result.spectrogram_freq_axis[strongest[l]];
    }
    levels.fill(bins);
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
  fill_frequency_axis(fs, freq);
  segment_spectra_t spectra(signal, static_cast<std::uint32_t>(length), length);
  level_rows_t levels(length, 1);
  levels.allocate(std::span(&magnitude_db, 1), 1);
  levels.fill(spectra(0, 1));
}

}  // namespace orn::fmcw_demod_lib
