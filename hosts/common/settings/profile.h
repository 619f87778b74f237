#pragma once

#include "common/output/json_writer.h"
#include "common/settings/settings.h"

#include <string>
#include <utility>
#include <vector>

namespace orn::fmcw_host {

/// Names and values of a profile: a JSON object of settings, or one with such an object under
/// "settings", as `fmcw settings --json` and the results of an analysis have it. Numbers and words
/// come as they are written. Throws input_error_t naming the file, with line and column where it is
/// not JSON, and for a name that comes twice.
std::vector<std::pair<std::string, std::string>> read_profile(const std::string& path);

/// Writes the settings that take part in an analysis as a profile: reading it again gives the same
/// analysis. The rate is left out, it is each recording's own.
void write_profile(json_writer_t& out, const settings_t& settings);

}  // namespace orn::fmcw_host
