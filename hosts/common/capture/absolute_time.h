#pragma once

#include "common/capture/recording.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orn::fmcw_host {

/// A point in time, to the nanosecond.
struct instant_t {
  std::int64_t seconds = 0;      ///< since 1970, UTC, leap seconds not counted
  std::int64_t nanoseconds = 0;  ///< 0 to 999999999
};

/// Reads ISO 8601 as SigMF has it: "2026-01-02T03:04:05.678Z", with any number of decimals, of which
/// nine count, and "Z" or a shift such as "+02:00". Nothing for any other text.
std::optional<instant_t> parse_datetime(std::string_view text);

/// "2026-01-02T03:04:05.678000000Z".
std::string datetime_text(const instant_t& instant);

/// When the samples of a recording were taken, by the core:datetime of its captures.
class absolute_time_t {
 public:
  explicit absolute_time_t(const recording_t& recording);

  /// Time of a sample of the recording's axis, as datetime_text() writes it; empty where its
  /// capture tells none.
  std::string of(std::uint64_t sample) const;

 private:
  struct anchor_t {
    std::uint64_t begin, end;  ///< of the segment as it was taken
    std::uint64_t sample;      ///< that was taken at `instant`
    instant_t instant;
  };
  double rate_;
  std::vector<anchor_t> anchors_;
};

}  // namespace orn::fmcw_host
