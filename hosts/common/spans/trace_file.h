#pragma once

#include <fmcw_demod/result_record.h>

#include <ostream>
#include <string>
#include <vector>

namespace orn::fmcw_host {

/// Which traces of an analysis are wanted.
struct trace_choice_t {
  bool frequency = false;
  bool power = false;
  bool phase = false;
  bool spectrogram = false;

  bool any() const { return frequency || power || phase || spectrogram; }
};

/// Reads "frequency,power". Throws input_error_t naming what is allowed.
trace_choice_t parse_traces(const std::string& text);

/// Writes traces as `.npz`: `time_s` with `frequency_hz`, `power_dbm` and `phase_rad`, one element
/// a sample; `spectrogram_db` (rows in time) with `spectrogram_time_s` and
/// `spectrogram_frequency_hz`. Times count from `start` [s]. Throws run_error_t.
void write_traces(std::ostream& out, const fmcw_demod_lib::fmcw_measure_result_t& result,
                  const trace_choice_t& choice, double start, double rate);

}  // namespace orn::fmcw_host
