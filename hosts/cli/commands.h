#pragma once

#include "common/capture/recording.h"

#include <string>

#include <CLI/CLI.hpp>

namespace fmcw_cli {

/// The recording that a command reads, as its options tell it.
struct capture_call_t {
  std::string path;
  orn::fmcw_host::read_options_t options;
};

/// Adds the argument CAPTURE and the options that tell how to read it.
void describe_capture(CLI::App& command, capture_call_t& call);

/// Adds the options alone.
void describe_reading(CLI::App& command, orn::fmcw_host::read_options_t& options);

/// Describes the whole program: name, version, commands, what all of them take.
void describe_program(CLI::App& app);

/// Parses the command line, which runs the command it names. Throws input_error_t for a command that
/// is none, CLI::ParseError for what else is wrong, and what the command throws.
void parse_program(CLI::App& app, int argc, char** argv);

// Each adds a command to the program; parsing the command line runs it. Commands throw
// input_error_t and run_error_t, and CLI::RuntimeError with the exit status where they have said
// all.
void describe_analyze(CLI::App& app);
void describe_check(CLI::App& app);
void describe_compare(CLI::App& app);
void describe_convert(CLI::App& app);
void describe_filter(CLI::App& app);
void describe_info(CLI::App& app);
void describe_limits(CLI::App& app);
void describe_settings(CLI::App& app);
void describe_spectrum(CLI::App& app);
void describe_suggest(CLI::App& app);
void describe_synth(CLI::App& app);

}  // namespace fmcw_cli
