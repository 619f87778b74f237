#pragma once

#include "common/capture/sample_source.h"
#include "common/diagnosis/neighbours.h"
#include "common/figures/chirp.h"
#include "common/settings/settings.h"
#include "common/spans/chirp_joiner.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace orn::fmcw_host {

/// How far an analysis has come.
struct analysis_progress_t {
  std::uint64_t done = 0;              ///< samples
  std::optional<std::uint64_t> total;  ///< of all segments; nothing: not known
  double seconds = 0.0;                ///< since the start
};

/// From here on a recording holds other chirps than the settings were chosen for.
struct change_t {
  std::uint64_t first_sample = 0;  ///< of the span it was seen in, on the recording's axis
  double time = 0.0;               ///< of that sample [s]
  candidate_group_t others;
};

/// "about 0.25 s on: 98.6us, +400kHz/us, which these settings leave out; ...".
std::string change_text(const change_t& change);

/// What was seen besides the chirps.
struct recording_totals_t {
  std::uint64_t sample_count = 0;                ///< analysed
  std::uint64_t nonfinite_count = 0;             ///< left out as seams
  std::optional<std::uint64_t> first_nonfinite;  ///< on the recording's axis
  std::uint64_t uncovered_count = 0;             ///< that no frame covers
  double squares = 0.0;                          ///< sum of |x|^2 of the finite ones [V^2]
  std::vector<change_t> changes;                 ///< the first few
  nothing_seen_t nothing;                        ///< where there are no chirps, to diagnose()
};

/// Who hears of an analysis. Every call comes from the thread that called analyze(); what it throws
/// stops the analysis and leaves it. All but on_chirp may be empty.
struct listener_t {
  /// Each chirp, in order; up to 64 rows later than it was found, or at its segment's end.
  std::function<void(const chirp_t&)> on_chirp;
  std::function<void(const change_t&)> on_change = {};  ///< each, before the chirps from there on
  std::function<void(const analysis_progress_t&)> on_progress = {};  ///< after each span
};

/// The analysis of a recording, a segment at a time: finds and measures every chirp once, in spans
/// on several threads, in memory that the recording's length does not enter. The rows are the same,
/// bit for bit, for every number of threads.
class recording_analysis_t {
 public:
  /// settings  with the recording's rate; the search is spans or frames
  /// jobs      threads, 1 or more
  /// total     samples of all segments, for progress
  /// coverage  share of the time that chirps are expected to take; where a span has less than half
  ///           of it, other chirps are looked for
  /// options   what is measured of each chirp besides
  recording_analysis_t(const settings_t& settings, unsigned jobs, listener_t listener,
                       std::optional<std::uint64_t> total, double coverage = 0.0,
                       const measure_options_t& options = {});
  recording_analysis_t(const recording_analysis_t&) = delete;
  recording_analysis_t& operator=(const recording_analysis_t&) = delete;
  ~recording_analysis_t() = default;

  /// Analyses the next segment, whose samples come from `source`. Throws input_error_t for plans
  /// that cannot be carried out and what the source and the listener throw; the first of these in
  /// the order of the spans, whatever the number of threads.
  void analyze(const segment_t& segment, sample_source_t& source);

  const recording_totals_t& totals() const { return totals_; }

 private:
  void take(const segment_t& segment, const span_result_t& span);
  void tell_changes(std::uint64_t until);
  void note_change(std::uint64_t first_sample, const std::optional<candidate_group_t>& others);

  settings_t settings_;
  unsigned jobs_;
  double coverage_;
  measure_options_t options_;
  listener_t listener_;
  neighbour_check_t neighbours_;
  chirp_joiner_t joiner_;
  recording_totals_t totals_;
  std::optional<candidate_group_t> others_;  ///< what the last span held instead
  std::size_t told_changes_ = 0;
  analysis_progress_t progress_;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace orn::fmcw_host
