#pragma once

#include "common/capture/recording.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>

namespace orn::fmcw_host {

/// What the samples of a recording are like, whatever signal they hold.
struct sample_statistics_t {
  std::uint64_t sample_count = 0;
  std::uint64_t clipped_count = 0;  ///< a part at an end of the format's range
  std::optional<std::uint64_t> first_clipped;
  std::uint64_t nonfinite_count = 0;  ///< a part that is NaN or infinite
  std::optional<std::uint64_t> first_nonfinite;
  double mean_square = 0.0;  ///< of the finite samples' magnitude [V^2]
  double peak_square = 0.0;  ///< largest of them [V^2]
};

/// Whether a part of the sample reached an end of the converter's range.
bool is_clipped(fmcw_demod_lib::sample_t sample, const clip_levels_t& levels);

/// Reads a whole recording once, in bounded memory.
/// progress  called now and then with the samples read
/// Throws input_error_t as reading does.
sample_statistics_t statistics_of(const recording_t& recording,
                                  const std::function<void(std::uint64_t)>& progress);

/// Power [dBm] of a mean or peak squared magnitude into a load; peak volts, hence half of it.
double dbm_of(double square, double impedance);

}  // namespace orn::fmcw_host
