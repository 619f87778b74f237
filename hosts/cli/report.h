#pragma once

#include "capture.h"
#include "settings.h"

#include <fmcw_demod/fmcw_demod.h>

#include <ostream>

namespace fmcw_cli {

/// One analysis with what it was made from. The result's chirps and intervals go together.
struct analysis_t {
  const capture_t& capture;
  const manager_t& settings;
  const orn::fmcw_demod_lib::fmcw_measure_result_t& result;
};

/// Table of the chirps: start on the capture's time axis and the chief figures, or every field of
/// the chirp record.
void print_chirps(std::ostream& out, const analysis_t& analysis, bool all_fields);

/// The summary figures, a line each.
void print_summary(std::ostream& out, const analysis_t& analysis);

/// Each measured chirp beside the truth of the capture's annotations, with relative errors, and the
/// annotated chirps that were not measured.
void print_against_truth(std::ostream& out, const analysis_t& analysis);

/// Everything as JSON: capture, settings, and every field of the result by its own name. Numbers
/// round-trip, NaN and infinities become null. Traces and spectrograms only `with_traces`.
void write_json(std::ostream& out, const analysis_t& analysis, bool with_traces);

/// Every field of every chirp as CSV, a line each, with its sample interval. Numbers round-trip.
void write_csv(std::ostream& out, const analysis_t& analysis);

}  // namespace fmcw_cli
