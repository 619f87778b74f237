#pragma once

#include "common/capture/sample_source.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace orn::fmcw_host {

/// Power of a recording and of each bin of the spectrum of all its samples.
struct channel_power_t {
  std::vector<float> frequencies;  ///< ascending [Hz]
  std::vector<float> powers;       ///< of the bins [dBm]
  float total = 0.0F;              ///< [dBm]
};

/// Bytes that the channel power of so many samples takes at its peak, whatever their number's
/// divisors.
double bytes_of_channel_power(std::uint64_t sample_count);

/// Channel power of all samples of a source; they are peak volts.
///
/// sample_count  of the source; nothing: a pipe
/// rate          [Hz]
/// impedance     [ohm], above 0
///
/// Throws input_error_t, before it reads, where this machine has not the memory (of a pipe, when it
/// turns out), memory_error_t, and what the source throws.
channel_power_t channel_power_of(sample_source_t& source, std::optional<std::uint64_t> sample_count,
                                 double rate, double impedance);

}  // namespace orn::fmcw_host
