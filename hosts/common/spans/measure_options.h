#pragma once

#include "common/capture/recording.h"
#include "common/figures/settling.h"

#include <optional>

namespace orn::fmcw_host {

/// What is measured of the chirps found, beside the settings by which they are found.
struct measure_options_t {
  settling_tolerance_t settling = {};
  std::optional<clip_levels_t> clip_levels = {};  ///< of the recording; nothing: unknown
};

}  // namespace orn::fmcw_host
