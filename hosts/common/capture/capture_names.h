#pragma once

#include <string>
#include <vector>

namespace orn::fmcw_host {

/// The captures that a call names.
struct capture_names_t {
  std::vector<std::string> names;
  bool is_several = false;  ///< more than one was named, or a pattern was, which may stand for any
                            ///< number
};

/// Expands patterns of the shell (*, ?, [...]), in alphabetical order; a name that is there is
/// taken as it is. Of a SigMF pair that a pattern finds, the description stands for both.
/// Throws input_error_t for a pattern that matches nothing.
capture_names_t expand_captures(const std::vector<std::string>& arguments);

}  // namespace orn::fmcw_host
