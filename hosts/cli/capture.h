#pragma once

#include "common/capture/annotation.h"
#include "common/capture/recording.h"

#include <fmcw_demod/fmcw_demod.h>

#include <string>
#include <vector>

namespace fmcw_cli {

using orn::fmcw_host::chirp_truth_t;

/// A recording that is in memory whole.
struct capture_t {
  std::string name;  ///< as the user gave it
  std::string datatype;
  double sample_rate = 0.0;  ///< [Hz]
  orn::fmcw_demod_lib::SignalStream signal;
  std::vector<chirp_truth_t> truth;  ///< from the annotations of a synthetic capture
};

/// Reads a recording of one segment whole. Throws input_error.
capture_t read_capture(const std::string& path, const orn::fmcw_host::read_options_t& options);

}  // namespace fmcw_cli
