#include "common/figures/summary.h"

#include "common/figures/figure_table.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace orn::fmcw_host {
namespace {

constexpr double unknown = std::numeric_limits<double>::quiet_NaN();
constexpr double uneven_share = 0.05;

}  // namespace

void summary_t::add(const chirp_t& chirp) {
  power_peak_ =
      count_ == 0 ? chirp.figures.power_peak : std::max(power_peak_, chirp.figures.power_peak);
  frequency_sum_ += chirp.figures.freq_avg;
  ++count_;
  switching_.add(chirp.figures.switching_time);
  if (!std::isnan(chirp.idle)) {
    gaps_.add(chirp.idle);
  }
  for (std::size_t i = 0; i < flag_table.size(); ++i) {
    flag_counts_[i] += (chirp.flags & flag_table[i].bit) != 0 ? 1 : 0;
  }
  const double sweep = sweep_of(chirp);
  uneven_count_ += std::abs(chirp.figures.bandwidth - sweep) > uneven_share * sweep ? 1 : 0;
}

void summary_t::spread_t::add(double value) {
  ++count_;
  const double step = value - mean_;
  mean_ += step / static_cast<double>(count_);
  squares_ += step * (value - mean_);
}

double summary_t::spread_t::deviation() const {
  return count_ < 2 ? 0.0 : std::sqrt(squares_ / static_cast<double>(count_));
}

double summary_t::power_peak() const { return count_ == 0 ? unknown : power_peak_; }

double summary_t::gap_std() const { return gaps_.deviation(); }

double summary_t::freq_avg() const {
  return count_ == 0 ? unknown : frequency_sum_ / static_cast<double>(count_);
}

}  // namespace orn::fmcw_host
