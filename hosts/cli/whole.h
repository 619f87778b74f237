#pragma once

#include "common/output/output_file.h"
#include "measurement.h"

#include <string>

namespace fmcw_cli {

/// Refuses, before a sample is read, what cannot be analysed at once: several segments, a pipe, and
/// with the estimate what this machine has no memory for. Throws input_error_t.
void check_whole(const measurement_t& measurement, bool with_spectrogram);

/// Analyses the part taken at once and writes its traces ("frequency,power") to a file, which the
/// caller puts in place.
void write_trace_file(const measurement_t& measurement, const std::string& traces,
                      orn::fmcw_host::output_file_t& file);

/// The same as the library's own text on standard output. Returns whether there are chirps.
bool print_report(const measurement_t& measurement);

}  // namespace fmcw_cli
