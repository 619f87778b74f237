#pragma once

#include <stdexcept>
#include <utility>

#include <fmt/format.h>

namespace fmcw_cli {

/// A wrong call or a wrong input: what it is, its value and what is allowed. Exit status 2.
class input_error : public std::runtime_error {
 public:
  template <class... Arguments>
  explicit input_error(fmt::format_string<Arguments...> format, Arguments&&... arguments)
      : std::runtime_error(fmt::format(format, std::forward<Arguments>(arguments)...)) {}
};

/// An analysis or an output that failed although the call was right. Exit status 1.
class run_error : public std::runtime_error {
 public:
  template <class... Arguments>
  explicit run_error(fmt::format_string<Arguments...> format, Arguments&&... arguments)
      : std::runtime_error(fmt::format(format, std::forward<Arguments>(arguments)...)) {}
};

}  // namespace fmcw_cli
