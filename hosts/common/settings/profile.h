#pragma once

#include <string>
#include <utility>
#include <vector>

namespace orn::fmcw_host {

/// Names and values of a profile: a JSON object of settings, or one with such an object under
/// "settings", as `fmcw settings --json` and the results of an analysis have it. Numbers and words
/// come as they are written. Throws input_error_t naming the file, with line and column where it is
/// not JSON, and for a name that comes twice.
std::vector<std::pair<std::string, std::string>> read_profile(const std::string& path);

}  // namespace orn::fmcw_host
