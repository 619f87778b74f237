#pragma once

#include "common/capture/recording.h"
#include "common/diagnosis/nothing.h"
#include "common/figures/chirp.h"
#include "common/figures/summary.h"
#include "common/output/json_writer.h"
#include "common/settings/settings.h"
#include "common/spans/recording_analysis.h"

#include <ostream>

namespace fmcw_cli {

/// An analysis as JSON, written as it comes: "capture", "settings" (a profile), "chirps" (a row
/// each) and, at the end, "summary" and, where there are no chirps, "diagnosis".
class analysis_json_t {
 public:
  analysis_json_t(std::ostream& out, const orn::fmcw_host::recording_t& recording,
                  const orn::fmcw_host::settings_t& settings);

  void add(const orn::fmcw_host::chirp_t& chirp);
  void finish(const orn::fmcw_host::summary_t& summary,
              const orn::fmcw_host::recording_totals_t& totals, double impedance,
              const orn::fmcw_host::diagnosis_t* diagnosis);

 private:
  orn::fmcw_host::json_writer_t json_;
};

}  // namespace fmcw_cli
