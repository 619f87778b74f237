#pragma once

#include "commands.h"
#include "common/capture/recording.h"
#include "common/settings/settings.h"
#include "outputs.h"
#include "verdicts.h"

#include <string>
#include <vector>

namespace fmcw_cli {

/// The call of `fmcw analyze`.
struct analyze_call_t {
  std::vector<std::string> captures;
  capture_call_t capture;  ///< where there is one
  orn::fmcw_host::settings_source_t settings;
  bool automatic = false;
  bool frames = false;
  bool report = false;
  unsigned jobs = 0;  ///< 0: one for each processor
  std::string progress;
  output_choice_t outputs;
  verdict_call_t verdicts;
  std::string annotate;
  bool in_place = false;
  std::string traces;
  std::string trace_file;
  std::string settling;
  std::string condition;
};

/// Adds its options to the command.
void describe_call(CLI::App& command, analyze_call_t& call);

/// Throws input_error_t where options contradict each other.
void check(const analyze_call_t& call);

/// Throws input_error_t where an output is an input of the call or of the recording, or two outputs
/// are one file.
void check_files(const analyze_call_t& call, const orn::fmcw_host::recording_t& recording);

/// The settings, with the search that the options ask for.
orn::fmcw_host::settings_source_t source_of(const analyze_call_t& call);

}  // namespace fmcw_cli
