#pragma once

#include <fmcw_demod/types.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace orn::fmcw_host {

/// A stretch of a recording that was sampled without a gap at one centre frequency.
struct segment_t {
  std::uint64_t first_sample = 0;             ///< on the recording's axis
  std::optional<std::uint64_t> sample_count;  ///< nothing: not known before its end (a pipe)
  std::optional<double> centre;               ///< RF frequency of 0 Hz [Hz]
  std::string datetime;                       ///< of its first sample, ISO 8601; empty: unknown
};

/// The samples of one segment, in order.
class sample_source_t {
 public:
  sample_source_t() = default;
  sample_source_t(const sample_source_t&) = delete;
  sample_source_t& operator=(const sample_source_t&) = delete;
  virtual ~sample_source_t() = default;

  /// Fills `out` from where the last call ended. Returns how many samples it got: fewer than asked
  /// for only at the segment's end. Throws input_error_t when the recording changed or broke off.
  virtual std::size_t read(std::span<fmcw_demod_lib::sample_t> out) = 0;
};

}  // namespace orn::fmcw_host
