#pragma once

#include "common/figures/chirp.h"
#include "common/settings/settings.h"
#include "common/spans/span_analysis.h"

#include <cstdint>
#include <functional>
#include <optional>

namespace orn::fmcw_host {

/// Joins the spans of a recording, in order, to one table: every chirp once, numbered, with times
/// on the recording's axis.
///
/// A chirp belongs to the span in whose own part it begins. Two spans may place the same start a
/// few samples apart; so, near a seam, a chirp counts whose middle lies behind the last one's end.
class chirp_joiner_t {
 public:
  using take_t = std::function<void(const chirp_t&)>;

  /// take  gets the rows, in order
  chirp_joiner_t(const settings_t& settings, take_t take);

  /// Spans of a new segment follow, which begins at that sample of the recording.
  void begin_segment(std::uint64_t first_sample, std::optional<double> centre);

  /// The next span of the segment.
  void add(const span_result_t& span);

 private:
  bool is_new(const chirp_t& chirp) const;
  bool follows(const span_chirp_t& seen) const;

  take_t take_;
  double rate_;
  bool as_frames_;
  std::uint32_t selected_first_;
  std::uint32_t selected_count_;
  std::uint64_t segment_first_ = 0;
  std::optional<double> centre_;
  struct place_t {
    std::uint64_t start, end;  ///< [samples of the segment]
    std::uint32_t number_in_frame;
  };
  std::optional<place_t> last_;  ///< the segment's last chirp
  std::uint64_t count_ = 0;      ///< of the recording's chirps
  std::uint64_t count_in_segment_ = 0;
};

}  // namespace orn::fmcw_host
