#pragma once

#include "common/capture/recording.h"
#include "common/settings/settings.h"
#include "common/spans/recording_analysis.h"
#include "measurement.h"
#include "outputs.h"

#include <functional>
#include <string>
#include <vector>

namespace fmcw_cli {

/// Several captures to analyse with one call.
struct several_call_t {
  std::vector<std::string> names;
  orn::fmcw_host::read_options_t reading;
  orn::fmcw_host::settings_source_t settings;
  std::string condition;  ///< as open_measurement() takes it
  unsigned jobs = 1;

  /// Throws input_error_t when an output is one of the recording's files.
  std::function<void(const orn::fmcw_host::recording_t&)> check_files;

  /// Analyses one capture on so many threads.
  /// listener  gets its rows and changes
  /// is_shown  whether progress is
  std::function<orn::fmcw_host::recording_totals_t(measurement_t& measurement, unsigned jobs,
                                                   const orn::fmcw_host::listener_t& listener,
                                                   bool is_shown)>
      run;

  /// Says on stderr what there is to say of a capture.
  std::function<void(const measurement_t&, const orn::fmcw_host::recording_totals_t&)> tell_totals;
};

/// Analyses captures in order into one table. Captures of up to 2^22 samples are analysed beside
/// each other, a thread for each; longer ones alone, on all threads. Rows are the same for every
/// number of them. A capture that cannot be analysed is told on stderr and the others go on.
/// Returns the highest exit status of all. Throws what outputs throw.
int analyze_several(const several_call_t& call, outputs_t& outputs);

}  // namespace fmcw_cli
