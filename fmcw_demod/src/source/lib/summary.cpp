#include "summary.h"

#include "conditioning.h"

#include <cmath>

namespace orn::fmcw_demod_lib {
namespace {

float highest_power(const std::vector<fmcw_chirp_result_t>& chirps) {
  float highest = no_power_dbm;
  for (const auto& chirp : chirps) {
    if (chirp.power_peak > static_cast<double>(highest)) {
      highest = static_cast<float>(chirp.power_peak);
    }
  }
  return highest;
}

/// Population standard deviation, 0 for fewer than two values.
double standard_deviation(const std::vector<double>& values) {
  if (values.size() <= 1) {
    return 0.0;
  }
  const auto count = static_cast<double>(values.size());
  double sum = 0.0;
  for (const double value : values) {
    sum += value;
  }
  const double mean = sum / count;
  double squares = 0.0;
  for (const double value : values) {
    squares += (value - mean) * (value - mean);
  }
  return std::sqrt(squares / count);
}

}  // namespace

chirp_totals_t totals_of(std::span<const fmcw_chirp_result_t> chirps) {
  chirp_totals_t totals;
  totals.count = static_cast<std::uint32_t>(chirps.size());
  for (const auto& chirp : chirps) {
    totals.switching_times.push_back(chirp.switching_time);
    totals.frequency += chirp.freq_avg;
  }
  return totals;
}

void summarise(double mean_power, float first_chirp_start, const chirp_totals_t& totals,
               double slope_tol, fmcw_measure_result_t& result) {
  constexpr float us_per_s = 1e6F;
  result.chirp_total = static_cast<std::uint32_t>(result.chirp_results.size());
  result.chirps_valid = 1;
  result.power_avg = static_cast<float>(mean_power);
  result.power_peak = highest_power(result.chirp_results);
  result.first_chirp_start = us_per_s * first_chirp_start;
  result.switching_time_std =
      static_cast<float>(standard_deviation(totals.switching_times) * double{us_per_s});
  result.freq_avg = totals.count != 0
                        ? static_cast<float>(totals.frequency / static_cast<double>(totals.count))
                        : upper_median(result.instantaneous_freq);
  result.summary_slope_tol = static_cast<float>(slope_tol * to_khz_per_us);
  result.summary_valid = 1;
}

}  // namespace orn::fmcw_demod_lib
