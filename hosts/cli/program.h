#pragma once

#include "common/capture/recording.h"

#include <cstdint>
#include <string>

namespace fmcw_cli {

/// Exit status beside 0.
inline constexpr int run_failed = 1;
inline constexpr int wrong_call = 2;
inline constexpr int limit_failed = 3;
inline constexpr int no_chirps = 4;

/// From here on, signals that end the program remove unfinished files first, a reader that goes
/// away ends it, a file beyond its allowed size is an error, and so is memory that runs out where
/// nothing can be thrown.
void prepare_program();

/// Writes one line on stderr, with what a terminal would obey as escapes. Works without memory.
void tell(const char* message) noexcept;

/// Tells on stdout what was written. Works without memory, since the files are in place by then.
void tell_done(const std::string& what, std::uint64_t samples, const std::string& more) noexcept;

/// Tells what was assumed when the recording was opened.
void tell_notes(const orn::fmcw_host::recording_t& recording);

}  // namespace fmcw_cli
