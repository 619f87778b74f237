#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace fmcw_cli {

/// How far a long run is: on one line of the terminal's stderr, silent elsewhere, or as lines of
/// JSON for a parent program: {"done": samples, "total": samples, "samples_per_s": ...,
/// "seconds_left": ...}, null where it is not known.
class progress_t {
 public:
  enum style_t { line, json };

  /// total  samples to do; nothing: not known
  explicit progress_t(std::optional<std::uint64_t> total, style_t style = line);
  progress_t(const progress_t&) = delete;
  progress_t& operator=(const progress_t&) = delete;
  ~progress_t();

  /// Writes at most ten times a second.
  void show(std::uint64_t done);

  /// Takes the line away; as JSON, writes the state shown last once more.
  void finish();

 private:
  using clock_t = std::chrono::steady_clock;

  void put(double seconds);

  std::optional<std::uint64_t> total_;
  style_t style_;
  bool shown_;
  std::uint64_t done_ = 0;
  bool is_dirty_ = false;
  clock_t::time_point start_ = clock_t::now();
  clock_t::time_point next_;
};

}  // namespace fmcw_cli
