#pragma once

#include <csignal>
#include <cstddef>

namespace orn::fmcw_host {

/// Keeps the name of a file that must not stay behind when the program is ended, from its
/// construction to its destruction. The file itself is the owner's to remove.
class unfinished_t {
 public:
  /// path  absolute, shorter than 4096 bytes
  /// Throws run_error_t when too many are kept already.
  explicit unfinished_t(const char* path);
  unfinished_t(const unfinished_t&) = delete;
  unfinished_t& operator=(const unfinished_t&) = delete;
  ~unfinished_t();

 private:
  std::size_t slot_ = 0;
};

/// Removes every file kept so. May be called from a signal handler.
void remove_unfinished() noexcept;

/// No signal that can be held off reaches the calling thread while this lives: between making a
/// file and keeping its name, between the renames of a pair.
class signals_held_t {
 public:
  signals_held_t() noexcept;
  signals_held_t(const signals_held_t&) = delete;
  signals_held_t& operator=(const signals_held_t&) = delete;
  ~signals_held_t();

 private:
  sigset_t before_{};
};

}  // namespace orn::fmcw_host
