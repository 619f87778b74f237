#pragma once

#include "common/capture/recording.h"

#include <array>
#include <cstdint>
#include <string>

namespace fmcw_cli {

/// Exit status beside 0.
inline constexpr int run_failed = 1;
inline constexpr int wrong_call = 2;
inline constexpr int limit_failed = 3;
inline constexpr int no_chirps = 4;

struct exit_status_t {
  int status;
  const char* meaning;
};
/// What each status says.
inline constexpr std::array exit_statuses = {
    exit_status_t{0, "done"},
    exit_status_t{run_failed, "something failed, or an annotated chirp was not found"},
    exit_status_t{wrong_call, "the call or the input is wrong"},
    exit_status_t{limit_failed, "a limit failed"},
    exit_status_t{no_chirps, "no chirp was found"},
};

/// From here on, signals that end the program remove unfinished files first, a reader that goes
/// away ends it, a file beyond its allowed size is an error, and so is memory that runs out where
/// nothing can be thrown.
void prepare_program();

/// Writes one line on stderr, with what a terminal would obey as escapes. Works without memory.
void tell(const char* message) noexcept;

/// From here on notes and the line of progress are left out.
void be_quiet() noexcept;
bool is_quiet() noexcept;

/// Like tell(), for what is no error: unless the program is to be quiet.
void tell_note(const std::string& note) noexcept;

/// Tells on stdout what was written, unless the program is to be quiet. Works without memory, since
/// the files are in place by then.
void tell_done(const std::string& what, std::uint64_t samples, const std::string& more) noexcept;

/// Tells what was assumed when the recording was opened.
void tell_notes(const orn::fmcw_host::recording_t& recording);

}  // namespace fmcw_cli
