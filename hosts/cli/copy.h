#pragma once

#include "commands.h"
#include "common/capture/recording.h"
#include "common/condition/conditioned_source.h"

#include <string>
#include <string_view>

namespace fmcw_cli {

/// A recording to be written anew.
struct copy_call_t {
  capture_call_t capture;
  std::string out;
  std::string format;
  bool force = false;
};

/// Adds CAPTURE with the options that tell how to read it, OUT, --to and --force.
void describe_copy(CLI::App& command, copy_call_t& call);

/// Writes it and tells so. Throws input_error_t and run_error_t.
/// work  what is done to its samples, for the line of progress: "converted"
void write_copy(const orn::fmcw_host::recording_t& recording, const copy_call_t& call,
                const orn::fmcw_host::conditioning_t& conditioning, std::string_view work);

}  // namespace fmcw_cli
