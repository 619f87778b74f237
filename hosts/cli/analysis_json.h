#pragma once

#include "common/capture/recording.h"
#include "common/condition/conditioned_source.h"
#include "common/diagnosis/nothing.h"
#include "common/figures/chirp.h"
#include "common/figures/summary.h"
#include "common/limits/judge.h"
#include "common/output/json_writer.h"
#include "common/settings/settings.h"
#include "common/spans/recording_analysis.h"
#include "common/statistics/chirp_statistics.h"

#include <ostream>
#include <string>
#include <string_view>

namespace fmcw_cli {

/// What is known of a capture once its chirps are.
struct capture_results_t {
  const orn::fmcw_host::summary_t& summary;
  const orn::fmcw_host::recording_totals_t& totals;
  const orn::fmcw_host::chirp_statistics_t& statistics;
  const orn::fmcw_host::judge_t* judge;          ///< null: there are no limits
  double impedance;                              ///< [ohm]
  std::string sha256;                            ///< of the samples as they are stored
  const orn::fmcw_host::diagnosis_t* diagnosis;  ///< null: there are chirps
};

/// An analysis as JSON, written as it comes, by docs/fmcw-analysis.schema.json: "schema",
/// "library", then of the capture "capture", "settings" (a profile), "chirps" (a row each) and, at
/// the end, "statistics", "limits", "samples", "summary" and, where there are no chirps, "diagnosis". Several captures are objects of an array
/// "captures"; one that could not be analysed has an "error".
class analysis_json_t {
 public:
  analysis_json_t(std::ostream& out, bool is_several, bool with_verdict);

  void begin(const orn::fmcw_host::recording_t& recording,
             const orn::fmcw_host::conditioning_t& conditioning,
             const orn::fmcw_host::settings_t& settings);
  void add(const orn::fmcw_host::chirp_t& chirp, const orn::fmcw_host::row_remarks_t& remarks);
  void end(const capture_results_t& results);

  /// Ends the capture that was begun, or writes one of that name, with an error.
  void fail(std::string_view name, std::string_view error);

  void finish();

 private:
  orn::fmcw_host::json_writer_t json_;
  bool is_several_;
  bool with_verdict_;
  bool is_begun_ = false;  ///< a capture is
};

}  // namespace fmcw_cli
