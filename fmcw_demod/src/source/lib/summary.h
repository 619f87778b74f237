#pragma once

#include <fmcw_demod/config_record.h>
#include <fmcw_demod/result_record.h>

#include <cstdint>
#include <vector>

namespace orn::fmcw_demod_lib {

/// FMCWAnalyze::get_summary_info for a capture whose mean power [dBm] is known.
void summarise(const fmcw_demod_config_t& config, double mean_power_dbm, float first_chirp_start,
               const std::vector<double>& switching_times, std::uint32_t chirp_count,
               double frequency_sum, fmcw_measure_result_t& result);

/// Mean power [dBm] from the sum of |x|^2 over `count` samples, at least one.
double mean_power_dbm(double sum_of_squares, std::size_t count, float impedance);

}  // namespace orn::fmcw_demod_lib
