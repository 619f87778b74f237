#pragma once

#include "common/figures/chirp.h"

#include <array>
#include <cstddef>
#include <deque>
#include <functional>
#include <vector>

namespace orn::fmcw_host {

/// Flags the rows of a table that are unlike their neighbours, while they stream by.
///
/// The neighbours of a row are up to 32 rows of its direction before it and those after it that
/// come among the next 63 rows, 32 at most. Of their lengths, and likewise of their slopes, the
/// median m and the upper quartile q of the distances from m are taken; a row is unlike when it
/// lies farther from m than 5 % of |m| and than 5 q. The quartile keeps patterns of several kinds
/// of chirps, each with a quarter of the rows or more, and slow drifts from being flagged; normal
/// noise lies beyond 5 q about once in 10^8 rows. Rows with fewer than four neighbours are not
/// judged.
class neighbour_check_t {
 public:
  using take_t = std::function<void(const chirp_t&)>;

  /// take  gets the rows, in order
  explicit neighbour_check_t(take_t take) : take_(std::move(take)) {}

  /// Holds the row and hands on the ones that have all their neighbours; at most 64 are held.
  void add(const chirp_t& chirp);

  /// Hands on all rows that are held. Later rows still have them before themselves.
  void flush();

 private:
  /// What rows are compared by.
  struct shape_t {
    double length, slope;
  };

  void pass_on();
  static bool is_unlike(const shape_t& row, const std::vector<shape_t>& neighbours);

  take_t take_;
  std::deque<chirp_t> held_;
  std::array<std::deque<shape_t>, 2> past_;     ///< of each direction, handed on
  std::array<std::size_t, 2> held_count_ = {};  ///< of each direction
};

}  // namespace orn::fmcw_host
