#include "common/log.h"

#include <iostream>

#include <fmt/format.h>

namespace orn::fmcw_demod_lib {
namespace {

void report_lost_entry(const char* file, int line, const char* text,
                       const char* detail = "") noexcept {
  try {
    std::cerr << '[' << file << ':' << line << "] " << text << detail << std::endl;
  } catch (...) {  // NOLINT(bugprone-empty-catch): a host that made cerr throw gets no line
  }
}

}  // namespace

void write_log_entry(common_log::log_level_t level, const char* file, int line,
                     const char* function, fmt::string_view format,
                     fmt::format_args arguments) noexcept {
  try {
    auto& logger = common_log::logger_system_t::get_instance();
    const std::string message = fmt::vformat(format, arguments);
    logger.log_write("FMCW_LIB", true, level, file, line, function, message);
  } catch (const fmt::format_error& error) {
    report_lost_entry(file, line, "Log format error: ", error.what());
  } catch (...) {
    report_lost_entry(file, line, "Log write failed (unknown error)");
  }
}

}  // namespace orn::fmcw_demod_lib
