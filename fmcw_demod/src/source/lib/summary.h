#pragma once

#include <fmcw_demod/result_record.h>

#include <cstdint>
#include <span>
#include <vector>

namespace orn::fmcw_demod_lib {

/// What a summary takes from the measured chirps.
struct chirp_totals_t {
  std::vector<double> switching_times;  ///< [s], one per chirp
  std::uint32_t count = 0;
  double frequency = 0.0;  ///< of their mean frequencies [Hz]
};
chirp_totals_t totals_of(std::span<const fmcw_chirp_result_t> chirps);

/// Fills the summary of a result whose chirps and traces are in place.
///
/// mean_power         of the capture [dBm]
/// first_chirp_start  [s] on the capture's time axis
/// slope_tol          half-width of the slope band after the analysis [Hz/s]
void summarise(double mean_power, float first_chirp_start, const chirp_totals_t& totals,
               double slope_tol, fmcw_measure_result_t& result);

}  // namespace orn::fmcw_demod_lib
