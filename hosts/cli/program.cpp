#include "program.h"

#include "common/output/text.h"
#include "common/output/unfinished.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <new>
#include <string>
#include <string_view>

#include <fmt/format.h>
#include <malloc.h>
#include <unistd.h>

namespace fmcw_cli {
namespace {

void write_line(std::string_view start, std::string_view line) noexcept {
  const auto put = [](std::string_view text) {
    while (!text.empty()) {
      const ssize_t done = ::write(STDERR_FILENO, text.data(), text.size());
      if (done <= 0) {
        return;
      }
      text.remove_prefix(static_cast<std::size_t>(done));
    }
  };
  put(start);
  put(line);
  put("\n");
}

/// Called where an exception cannot be thrown on, most often for want of memory in a destructor.
[[noreturn]] void end_at_once() noexcept {
  orn::fmcw_host::remove_unfinished();
  const char* message = "the program failed for an unknown reason";
  try {
    if (const auto failure = std::current_exception()) {
      std::rethrow_exception(failure);
    }
  } catch (const std::bad_alloc&) {
    message = "out of memory";
  } catch (const std::exception& error) {
    tell(error.what());
    ::_exit(run_failed);
  } catch (...) {
  }
  tell(message);
  ::_exit(run_failed);
}

/// Before the objects of the libraries, whose construction may run out of memory.
[[gnu::constructor(101)]] void catch_everything() { std::set_terminate(end_at_once); }

/// Whether notes are left out; the one state of the program that every command looks at.
bool quiet = false;  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

extern "C" void on_signal(int signal) {
  orn::fmcw_host::remove_unfinished();
  // The signal's own way of ending comes after this handler.
  static_cast<void>(std::signal(signal, SIG_DFL));
  static_cast<void>(::raise(signal));
}

}  // namespace

void prepare_program() {
  // Spans take and return blocks of megabytes. Given back to the system each time, their pages would
  // come back one by one and zeroed, which took a third of an analysis.
  constexpr int largest_kept = 1 << 30;
  // NOLINTBEGIN(concurrency-mt-unsafe): before there are threads
  ::mallopt(M_MMAP_THRESHOLD, largest_kept);
  ::mallopt(M_TRIM_THRESHOLD, largest_kept);
  // NOLINTEND(concurrency-mt-unsafe)
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGQUIT, SIGSEGV, SIGBUS, SIGABRT}) {
    struct sigaction action {};
    if (::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_DFL) {
      action.sa_handler = on_signal;
      ::sigaction(signal, &action, nullptr);
    }
  }
  static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
  // Libraries that give up call exit().
  static_cast<void>(std::atexit([] { orn::fmcw_host::remove_unfinished(); }));
}

void tell(const char* message) noexcept {
  constexpr std::string_view start = "fmcw: ";
  try {
    write_line(start, orn::fmcw_host::printable(message));
  } catch (...) {
    std::array<char, 512> plain{};
    const std::string_view text = std::string_view(message).substr(0, plain.size());
    std::transform(text.begin(), text.end(), plain.begin(),
                   [](char c) { return c >= ' ' && c <= '~' ? c : '?'; });
    write_line(start, {plain.data(), text.size()});
  }
}

void be_quiet() noexcept { quiet = true; }
bool is_quiet() noexcept { return quiet; }

void tell_note(const std::string& note) noexcept {
  if (!quiet) {
    tell(note.c_str());
  }
}

void tell_done(const std::string& what, std::uint64_t samples, const std::string& more) noexcept {
  if (quiet) {
    return;
  }
  try {
    std::cout << orn::fmcw_host::printable(fmt::format("{}: {} samples, {}", what, samples, more))
              << '\n';
  } catch (const std::bad_alloc&) {
    std::cout << "done\n";  // the files are in place, whatever can be said of them
  }
}

void tell_notes(const orn::fmcw_host::recording_t& recording) {
  for (const std::string& note : recording.info().notes) {
    tell_note(note);
  }
}

}  // namespace fmcw_cli
