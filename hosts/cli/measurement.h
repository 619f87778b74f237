#pragma once

#include "commands.h"
#include "common/capture/recording.h"
#include "common/condition/conditioned_source.h"
#include "common/settings/settings.h"
#include "common/spans/proposal.h"
#include "common/spans/recording_analysis.h"
#include "common/statistics/chirp_statistics.h"

#include <memory>
#include <string>
#include <vector>

namespace fmcw_cli {

/// A recording with the settings to analyse it by.
struct measurement_t {
  orn::fmcw_host::recording_t recording;
  orn::fmcw_host::settings_t settings;          ///< of the samples as they are analysed
  orn::fmcw_host::conditioning_t conditioning;  ///< what is done to them before
  bool is_proposed = false;                     ///< the search is automatic
  orn::fmcw_host::proposal_t proposal;          ///< then

  /// The samples of a segment, those that a proposal has read included, and the segment itself, as
  /// they are analysed. The samples once for each segment.
  std::unique_ptr<orn::fmcw_host::sample_source_t> source(std::size_t segment);
  orn::fmcw_host::segment_t segment(std::size_t index) const;

  std::size_t looked_segment = 0;                         ///< that the proposal read from
  std::vector<orn::fmcw_demod_lib::sample_t> looked;      ///< its first samples
  std::unique_ptr<orn::fmcw_host::sample_source_t> rest;  ///< and where the others come from
};

/// Opens the recording and reads the settings; reads no sample unless the conditioning is to be
/// chosen. Notes go to stderr.
/// condition  "auto", what parse_conditioning() reads, or nothing
/// Throws input_error_t.
measurement_t open_measurement(const capture_call_t& capture,
                               const orn::fmcw_host::settings_source_t& source,
                               const std::string& condition = "");

/// The same for a recording that is open.
/// notes  gets what was assumed of the settings
measurement_t open_measurement(orn::fmcw_host::recording_t recording,
                               const orn::fmcw_host::settings_source_t& source,
                               const std::string& condition, std::vector<std::string>& notes);

/// Where the search is automatic, proposes settings, which then take effect below what was given.
void look_for_settings(measurement_t& measurement);

/// As many threads as there are processors.
unsigned all_jobs();

/// Analyses every segment, once.
orn::fmcw_host::recording_totals_t measure(
    measurement_t& measurement, unsigned jobs, const orn::fmcw_host::listener_t& listener,
    const orn::fmcw_host::settling_tolerance_t& settling = {});

/// Analyses every segment and gathers the statistics of the chirps.
orn::fmcw_host::chirp_statistics_t measure_statistics(measurement_t& measurement);

/// Adds --settings and --set.
void describe_settings_source(CLI::App& command, orn::fmcw_host::settings_source_t& source);

}  // namespace fmcw_cli
