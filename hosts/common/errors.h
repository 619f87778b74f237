#pragma once

#include <array>
#include <cstddef>
#include <cstdio>
#include <new>
#include <stdexcept>
#include <utility>

#include <fmt/format.h>

namespace orn::fmcw_host {

/// A wrong call or a wrong input: what it is, its value and what is allowed. Exit status 2.
class input_error_t : public std::runtime_error {
 public:
  template <class... Arguments>
  explicit input_error_t(fmt::format_string<Arguments...> format, Arguments&&... arguments)
      : std::runtime_error(fmt::format(format, std::forward<Arguments>(arguments)...)) {}
};

/// An analysis or an output that failed although the call was right. Exit status 1.
class run_error_t : public std::runtime_error {
 public:
  template <class... Arguments>
  explicit run_error_t(fmt::format_string<Arguments...> format, Arguments&&... arguments)
      : std::runtime_error(fmt::format(format, std::forward<Arguments>(arguments)...)) {}
};

/// Memory that could not be had, told without asking for more. Exit status 1.
class memory_error_t : public std::bad_alloc {
 public:
  /// what_for  what needed it, "the spectrogram"
  memory_error_t(const char* what_for, std::size_t bytes) noexcept {
    // Cut where it is too long.
    static_cast<void>(std::snprintf(text_.data(), text_.size(), "out of memory: %s needs %zu bytes",
                                    what_for, bytes));
  }
  const char* what() const noexcept override { return text_.data(); }

 private:
  std::array<char, 160> text_{};
};

/// vector.resize(count) that names what needed the memory. Throws memory_error_t.
template <class Vector>
void resize_for(const char* what_for, Vector& vector, std::size_t count) {
  try {
    vector.resize(count);
  } catch (const std::exception&) {  // std::length_error: more than can be addressed
    throw memory_error_t(what_for, count * sizeof(typename Vector::value_type));
  }
}

}  // namespace orn::fmcw_host
