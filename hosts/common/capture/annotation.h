#pragma once

#include "common/capture/json_value.h"

#include <cstdint>
#include <optional>

namespace orn::fmcw_host {

/// A remark on a stretch of a recording.
struct annotation_t {
  std::uint64_t first_sample = 0;             ///< on the recording's axis
  std::optional<std::uint64_t> sample_count;  ///< nothing: not told
  std::optional<double> freq_lower;           ///< [Hz], set with freq_upper or not at all
  std::optional<double> freq_upper;           ///< [Hz]
  json_value_t fields;                        ///< all of it, as it stands in the file
};

/// One chirp that a synthetic recording promises.
struct chirp_truth_t {
  std::uint64_t sample_start = 0;  ///< on the recording's axis
  std::uint64_t sample_count = 0;
  double start = 0.0;       ///< [s]
  double length = 0.0;      ///< [s]
  double slope = 0.0;       ///< [Hz/s], negative when falling
  double freq_lower = 0.0;  ///< [Hz]
  double freq_upper = 0.0;  ///< [Hz]
  double power = 0.0;       ///< mean over the chirp [dBm]
};

}  // namespace orn::fmcw_host
