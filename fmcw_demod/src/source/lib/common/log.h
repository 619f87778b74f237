#pragma once

#include <common_log/logger_system.h>

#include <fmt/core.h>

namespace orn::fmcw_demod_lib {

/// Formats one message and hands it to the process-wide logger under the library's tag. Never
/// fails: what goes wrong is reported as a line on the standard error stream instead. Out of line,
/// so that a statement whose entry nobody receives is a test and no more.
void write_log_entry(common_log::log_level_t level, const char* file, int line,
                     const char* function, fmt::string_view format,
                     fmt::format_args arguments) noexcept;

template <class... Arguments>
void log_statement(common_log::log_level_t level, const char* file, int line, const char* function,
                   fmt::string_view format, const Arguments&... arguments) noexcept {
  if (common_log::logger_system_t::has_sink()) {
    write_log_entry(level, file, line, function, format, fmt::make_format_args(arguments...));
  }
}

}  // namespace orn::fmcw_demod_lib

/// Log statement: level, format string with {} placeholders, arguments. A macro for the sake of the
/// statement's own file, line and function name.
#define FMCW_LOG(level, ...) \
  ::orn::fmcw_demod_lib::log_statement(level, __FILE__, __LINE__, __func__, __VA_ARGS__)
