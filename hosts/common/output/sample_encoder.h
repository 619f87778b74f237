#pragma once

#include "common/capture/datatype.h"

#include <fmcw_demod/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace orn::fmcw_host {

/// Takes bytes to write, in order.
using byte_sink_t = std::function<void(std::span<const std::byte>)>;

/// Turns samples into bytes of a datatype, piece by piece, and counts.
class sample_encoder_t {
 public:
  sample_encoder_t(const datatype_t& type, byte_sink_t sink);

  /// Throws input_error_t for a sample that is not finite where the datatype is of whole numbers,
  /// and what the sink throws.
  void write(std::span<const fmcw_demod_lib::sample_t> samples);

  std::uint64_t sample_count() const { return sample_count_; }

  /// Samples that were beyond the range and became its ends.
  std::uint64_t clipped_count() const { return clipped_count_; }

 private:
  void check_finite(std::span<const fmcw_demod_lib::sample_t> samples) const;

  const datatype_t& type_;
  byte_sink_t sink_;
  std::vector<std::byte> bytes_;
  std::uint64_t sample_count_ = 0;
  std::uint64_t clipped_count_ = 0;
};

}  // namespace orn::fmcw_host
