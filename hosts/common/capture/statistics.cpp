#include "common/capture/statistics.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace orn::fmcw_host {
namespace {

using fmcw_demod_lib::sample_t;

/// Counts one event and keeps the place of the first.
void count(std::uint64_t& events, std::optional<std::uint64_t>& first, std::uint64_t place) {
  ++events;
  first = first.value_or(place);
}

}  // namespace

bool is_clipped(sample_t sample, const clip_levels_t& levels) {
  const auto at_end = [&](float part) { return part <= levels.lowest || part >= levels.highest; };
  return at_end(sample.real()) || at_end(sample.imag());
}

sample_statistics_t statistics_of(const recording_t& recording,
                                  const std::function<void(std::uint64_t)>& progress) {
  const auto& levels = recording.info().clip_levels;
  sample_statistics_t statistics;
  double sum = 0.0;
  constexpr std::size_t piece = 65536;
  std::vector<sample_t> samples(piece);
  for (std::size_t i = 0; i < recording.segments().size(); ++i) {
    const auto source = recording.source(i);
    std::uint64_t place = recording.segments()[i].first_sample;
    while (const std::size_t got = source->read(samples)) {
      double piece_sum = 0.0;
      for (const sample_t sample : std::span(samples).first(got)) {
        const auto real = static_cast<double>(sample.real());
        const auto imag = static_cast<double>(sample.imag());
        const double square = real * real + imag * imag;
        if (!std::isfinite(square)) {
          count(statistics.nonfinite_count, statistics.first_nonfinite, place);
        } else {
          piece_sum += square;
          statistics.peak_square = std::max(statistics.peak_square, square);
        }
        if (levels && is_clipped(sample, *levels)) {
          count(statistics.clipped_count, statistics.first_clipped, place);
        }
        ++place;
      }
      sum += piece_sum;
      statistics.sample_count += got;
      progress(statistics.sample_count);
    }
  }
  const std::uint64_t finite = statistics.sample_count - statistics.nonfinite_count;
  statistics.mean_square = finite != 0 ? sum / static_cast<double>(finite) : 0.0;
  return statistics;
}

double dbm_of(double square, double impedance) {
  return 10.0 * std::log10(square / (2.0 * impedance) * 1000.0);
}

}  // namespace orn::fmcw_host
