#pragma once

#include "capture.h"

#include <string>

namespace fmcw_cli {

/// The call of `fmcw spectrum`.
struct spectrum_call_t {
  std::string capture;
  raw_format_t raw;
  std::string kind = "single";  ///< single, fixed or channel-power
  double impedance = 50.0;      ///< that channel power is into [ohm]; samples are peak volts
  std::string json_file;
  std::string csv_file;
};

/// Computes a spectrum of a capture and writes it, as CSV on standard output unless told otherwise.
/// Throws input_error and run_error.
void spectrum(const spectrum_call_t& call);

}  // namespace fmcw_cli
