#include "common/figures/summary.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace orn::fmcw_host {
namespace {

constexpr double unknown = std::numeric_limits<double>::quiet_NaN();

}  // namespace

void summary_t::add(const chirp_t& chirp) {
  power_peak_ =
      count_ == 0 ? chirp.figures.power_peak : std::max(power_peak_, chirp.figures.power_peak);
  frequency_sum_ += chirp.figures.freq_avg;
  ++count_;
  // Welford's update: exact enough for millions of chirps, in one pass.
  const double step = chirp.figures.switching_time - switching_mean_;
  switching_mean_ += step / static_cast<double>(count_);
  switching_squares_ += step * (chirp.figures.switching_time - switching_mean_);
}

double summary_t::power_peak() const { return count_ == 0 ? unknown : power_peak_; }

double summary_t::switching_time_std() const {
  return count_ < 2 ? 0.0 : std::sqrt(switching_squares_ / static_cast<double>(count_));
}

double summary_t::freq_avg() const {
  return count_ == 0 ? unknown : frequency_sum_ / static_cast<double>(count_);
}

}  // namespace orn::fmcw_host
