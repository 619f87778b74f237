#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace fmcw_cli {

// What each shell needs to complete commands, options, words that options allow, and file names.
std::string bash_completion(const CLI::App& app);
std::string zsh_completion(const CLI::App& app);
std::string fish_completion(const CLI::App& app);

}  // namespace fmcw_cli
