#pragma once

#include "commands.h"
#include "common/capture/recording.h"
#include "common/settings/settings.h"
#include "common/spans/proposal.h"

#include <memory>
#include <vector>

namespace fmcw_cli {

/// A recording with the settings to analyse it by.
struct measurement_t {
  orn::fmcw_host::recording_t recording;
  orn::fmcw_host::settings_t settings;
  bool is_proposed = false;             ///< the search is automatic
  orn::fmcw_host::proposal_t proposal;  ///< then

  /// The samples of a segment, those that a proposal has read included. Once for each segment.
  std::unique_ptr<orn::fmcw_host::sample_source_t> source(std::size_t segment);

  std::size_t looked_segment = 0;                         ///< that the proposal read from
  std::vector<orn::fmcw_demod_lib::sample_t> looked;      ///< its first samples
  std::unique_ptr<orn::fmcw_host::sample_source_t> rest;  ///< and where the others come from
};

/// Opens the recording and reads the settings; reads no sample. Notes go to stderr. Throws
/// input_error_t.
measurement_t open_measurement(const capture_call_t& capture,
                               const orn::fmcw_host::settings_source_t& source);

/// Where the search is automatic, proposes settings, which then take effect below what was given.
void look_for_settings(measurement_t& measurement);

/// Adds --settings and --set.
void describe_settings_source(CLI::App& command, orn::fmcw_host::settings_source_t& source);

}  // namespace fmcw_cli
