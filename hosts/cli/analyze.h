#pragma once

#include "capture.h"
#include "commands.h"
#include "settings.h"

#include <string>

namespace fmcw_cli {

/// The call of `fmcw analyze`.
struct analyze_call_t {
  capture_call_t capture;
  settings_source_t settings;
  bool all_fields = false;
  bool against_truth = false;
  bool report = false;
  bool without_traces = false;
  std::string json_file;
  std::string csv_file;
};

/// Analyses a capture and writes what was asked for. Throws input_error and run_error.
void analyze(const analyze_call_t& call);

}  // namespace fmcw_cli
