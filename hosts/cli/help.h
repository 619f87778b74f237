#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace fmcw_cli {

struct example_t {
  std::string call;     ///< "fmcw info radar.sigmf-meta"
  std::string meaning;  ///< what it does
};

/// Ends the command's help, and its manual page, with examples.
void add_examples(CLI::App& command, const std::vector<example_t>& examples);

/// Brings help into the width of the output, 80 columns where nothing tells it. To be called before
/// commands are added.
void describe_format(CLI::App& app);

/// Adds the command that shows the help of the others.
void describe_help(CLI::App& app);

/// The command of that name. Throws input_error with the nearest one.
const CLI::App& command_named(const CLI::App& app, const std::string& name);

}  // namespace fmcw_cli
