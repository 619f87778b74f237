#include "common/spectrum/fixed_spectrogram.h"

#include <algorithm>
#include <numbers>
#include <span>

namespace orn::fmcw_host {
namespace {

constexpr std::size_t rows_at_once = 4096;
constexpr std::size_t samples_at_once = (rows_at_once - 1) * fixed_hop + fixed_window;

}  // namespace

fixed_spectrogram_t::fixed_spectrogram_t(sample_source_t& source, std::uint64_t first_sample,
                                         double rate)
    : source_(source),
      position_(first_sample),
      rate_(rate),
      parameters_({}, nullptr, static_cast<float>(rate)),
      engine_(parameters_) {}

bool fixed_spectrogram_t::next() {
  // The next row begins with samples of the last ones.
  const std::size_t used = std::min(row_count() * fixed_hop, samples_.size());
  samples_.erase(samples_.begin(), samples_.begin() + static_cast<std::ptrdiff_t>(used));
  position_ += used;
  const std::size_t held = samples_.size();
  samples_.resize(samples_at_once);
  samples_.resize(held + source_.read(std::span(samples_).subspan(held)));
  engine_.compute_spectrogram(samples_, static_cast<float>(rate_), result_);
  const std::size_t rows = row_count();
  times_.resize(rows);
  phases_.resize(rows);
  for (std::size_t i = 0; i < rows; ++i) {
    const std::uint64_t middle = position_ + i * fixed_hop + fixed_window / 2;
    times_[i] = static_cast<double>(middle) / rate_;
    const float peak = peak_freq(i);
    if (!is_first_) {
      last_phase_ += std::numbers::pi * (static_cast<double>(last_peak_) + peak) *
                     (static_cast<double>(fixed_hop) / rate_);
    }
    is_first_ = false;
    last_peak_ = peak;
    phases_[i] = last_phase_;
  }
  return rows > 0;
}

}  // namespace orn::fmcw_host
