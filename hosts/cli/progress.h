#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace fmcw_cli {

/// How far a long run is: on one line of the terminal's stderr, silent elsewhere and where the
/// program is to be quiet, or as lines of JSON for a parent program: {"done": samples, "total":
/// samples, "chirps": found, "samples_per_s": ..., "seconds_left": ...}, null where it is not known.
class progress_t {
 public:
  enum style_t { line, json };

  /// work   what is done to the samples: "analysed"
  /// total  samples to do; nothing: not known
  progress_t(std::string_view work, std::optional<std::uint64_t> total, style_t style = line);
  progress_t(const progress_t&) = delete;
  progress_t& operator=(const progress_t&) = delete;
  ~progress_t();

  /// Writes at most ten times a second.
  ///
  /// chirps  found so far; nothing where none are looked for
  void show(std::uint64_t done, std::optional<std::uint64_t> chirps = std::nullopt);

  /// Takes the line away; as JSON, writes the state shown last once more.
  void finish();

 private:
  using clock_t = std::chrono::steady_clock;

  void put(double seconds);
  std::string text(double rate, std::optional<double> left) const;

  std::string work_;
  std::optional<std::uint64_t> total_;
  style_t style_;
  bool shown_;
  std::uint64_t done_ = 0;
  std::optional<std::uint64_t> chirps_;
  bool is_dirty_ = false;
  clock_t::time_point start_ = clock_t::now();
  clock_t::time_point next_;
};

}  // namespace fmcw_cli
