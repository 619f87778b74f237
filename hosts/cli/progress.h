#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace fmcw_cli {

/// How far a long run is, on one line of the terminal's stderr; silent elsewhere.
class progress_t {
 public:
  /// total  samples to do; nothing: not known
  explicit progress_t(std::optional<std::uint64_t> total);
  progress_t(const progress_t&) = delete;
  progress_t& operator=(const progress_t&) = delete;
  ~progress_t();

  /// Writes at most ten times a second.
  void show(std::uint64_t done);

 private:
  using clock_t = std::chrono::steady_clock;

  std::optional<std::uint64_t> total_;
  bool shown_;
  bool is_dirty_ = false;
  clock_t::time_point start_ = clock_t::now();
  clock_t::time_point next_;
};

}  // namespace fmcw_cli
