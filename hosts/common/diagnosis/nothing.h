#pragma once

#include "common/capture/recording.h"
#include "common/diagnosis/candidate_counts.h"
#include "common/diagnosis/data_look.h"
#include "common/output/json_writer.h"
#include "common/settings/settings.h"
#include "common/spans/recording_analysis.h"

#include <string>
#include <string_view>

namespace orn::fmcw_host {

/// Why an analysis found no chirp.
struct diagnosis_t {
  /// "compressed", "text", "header", "random", "format", "empty", "not finite", "zeros",
  /// "real-valued", "too short", "limits", "not measurable", "tone", "no switching", "noise",
  /// "too noisy" or "no ramps".
  std::string_view reason;
  std::string sentence;  ///< the same for people
  std::string counts;    ///< what was looked at and what became of the candidates
  std::string change;    ///< options that would find some: "--auto"; empty: none known
  candidate_counts_t candidates;
};

/// What the bytes of a recording look like; ordinary for pipes and WAV files. Throws input_error_t
/// when the recording changed.
data_look_t look_at_recording(const recording_t& recording);

/// "read as cf32_le, the data look like samples of cf32_be", for what is not ordinary.
std::string look_sentence(const recording_info_t& info, const data_look_t& data);

/// The reason, from what an analysis without chirps has seen.
///
/// totals        of that analysis
/// settings      it ran with
/// is_automatic  whether its limits were to be chosen to suit the recording
/// data          look_at_recording()
diagnosis_t diagnose(const recording_info_t& info, const recording_totals_t& totals,
                     const settings_t& settings, bool is_automatic, const data_look_t& data);

/// Writes an object: reason, sentence, change (null: none), looked_sample_count, switching_points,
/// candidates, too_short, longest_too_short_s, too_long, shortest_too_long_s, leaving,
/// unmeasurable.
void write_json(json_writer_t& out, const diagnosis_t& diagnosis);

}  // namespace orn::fmcw_host
