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

/// Sum of the squared magnitudes; not finite where a part is not.
double sum_of_squares(std::span<const sample_t> samples, double& peak) {
  double sum = 0.0;
  for (const sample_t sample : samples) {
    const auto real = static_cast<double>(sample.real());
    const auto imag = static_cast<double>(sample.imag());
    const double square = real * real + imag * imag;
    sum += square;
    peak = std::max(peak, square);
  }
  return sum;
}

void add_finite(std::span<const sample_t> samples, std::uint64_t place,
                sample_statistics_t& statistics, double& sum) {
  double peak = statistics.peak_square;
  const double piece_sum = sum_of_squares(samples, peak);
  if (std::isfinite(piece_sum)) {
    statistics.peak_square = peak;
    sum += piece_sum;
    return;
  }
  for (const sample_t& sample : samples) {
    double square = 0.0;
    static_cast<void>(sum_of_squares({&sample, 1}, square));
    if (!std::isfinite(sample.real()) || !std::isfinite(sample.imag())) {
      count(statistics.nonfinite_count, statistics.first_nonfinite, place);
    } else {
      sum += square;
      statistics.peak_square = std::max(statistics.peak_square, square);
    }
    ++place;
  }
}

void add_clipped(std::span<const sample_t> samples, std::uint64_t place,
                 const clip_levels_t& levels, sample_statistics_t& statistics) {
  for (const sample_t sample : samples) {
    if (is_clipped(sample, levels)) {
      count(statistics.clipped_count, statistics.first_clipped, place);
    }
    ++place;
  }
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
      const auto part = std::span(samples).first(got);
      add_finite(part, place, statistics, sum);
      if (levels) {
        add_clipped(part, place, *levels, statistics);
      }
      place += got;
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
