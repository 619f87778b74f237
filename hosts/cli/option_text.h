#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace fmcw_cli {

// Names for the values that options take; `option->type_name(...)` sets them.
inline constexpr const char* file_type = "FILE";
inline constexpr const char* format_type = "FORMAT";  ///< of samples
inline constexpr const char* setting_type = "NAME=VALUE";
inline constexpr const char* command_type = "COMMAND";  ///< one of the program's

/// What stands for an option's value in a text: "FILE", "line|json", "NUMBER"; empty for a flag.
std::string value_name(const CLI::Option& option);

/// The words that an option's value can be, or begin with where they end in '='; empty where it is
/// something else.
///
/// app  the program, whose commands a value may name
std::vector<std::string> value_words(const CLI::Option& option, const CLI::App& app);

/// "-q", "--quiet".
std::vector<std::string> option_names(const CLI::Option& option);

bool takes_file(const CLI::Option& option);

/// Every name with what stands for the value: "-q,--quiet", "--fs FREQUENCY".
std::string option_heading(const CLI::Option& option);

/// What the option does, with the default.
std::string option_meaning(const CLI::Option& option);

/// The options of a command, or its arguments, in their order.
std::vector<const CLI::Option*> options_of(const CLI::App& command);
std::vector<const CLI::Option*> arguments_of(const CLI::App& command);

}  // namespace fmcw_cli
