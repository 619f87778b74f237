#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace fmcw_cli {

/// The manual page of the program: what it is, its commands, what all of them share.
std::string program_page(const CLI::App& app);

/// The manual page of one command.
std::string command_page(const CLI::App& app, const CLI::App& command);

}  // namespace fmcw_cli
