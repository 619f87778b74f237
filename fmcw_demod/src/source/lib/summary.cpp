#include "summary.h"

#include "basefunc/kernels.h"
#include "scratch.h"

#include <fmcw_demod/engine.h>

#include <cmath>
#include <span>

namespace orn::fmcw_demod_lib {
namespace {

float highest_power(const std::vector<fmcw_chirp_result_t>& chirps) {
  float highest = -300.0F;  // dBm
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

/// The upper of the two middle values for an even count, 0 for no values.
float upper_median(std::span<const float> values) {
  common_lib::scratch_t<float> buffer(values.size());
  return values.empty() ? 0.0F : kernels::select_rank(values, values.size() / 2, buffer);
}

}  // namespace

void summarise(const fmcw_demod_config_t& config, double mean_power_dbm, float first_chirp_start,
               const std::vector<double>& switching_times, std::uint32_t chirp_count,
               double frequency_sum, fmcw_measure_result_t& result) {
  result.chirp_total = static_cast<std::uint32_t>(result.chirp_results.size());
  result.chirps_valid = 1;
  result.power_avg = static_cast<float>(mean_power_dbm);
  result.power_peak = highest_power(result.chirp_results);
  result.first_chirp_start = 1000000.0F * first_chirp_start;
  result.switching_time_std = static_cast<float>(standard_deviation(switching_times) * 1000000.0);
  result.freq_avg = chirp_count != 0
                        ? static_cast<float>(frequency_sum / static_cast<double>(chirp_count))
                        : upper_median(result.instantaneous_freq);
  result.summary_slope_tol = static_cast<float>(config.advanced.chirp.slope_tol * 1e-9);
  result.summary_valid = 1;
}

void FMCWAnalyze::get_summary_info(const std::vector<sample_t>& samples,
                                   fmcw_measure_result_t& result, const float& first_chirp_start,
                                   const std::vector<double>& switching_times,
                                   const std::uint32_t& chirp_count,
                                   const double& frequency_sum) const {
  const double power = compute_power_dbm(samples, static_cast<float>(config_.impedance));
  summarise(config_, power, first_chirp_start, switching_times, chirp_count, frequency_sum, result);
}

}  // namespace orn::fmcw_demod_lib
