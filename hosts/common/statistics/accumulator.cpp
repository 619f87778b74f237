#include "common/statistics/accumulator.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace orn::fmcw_host {
namespace {

constexpr double unknown = std::numeric_limits<double>::quiet_NaN();

}  // namespace

void accumulator_t::add(double time, double value) {
  if (!std::isfinite(value)) {
    ++left_out_;
    return;
  }
  min_ = count_ == 0 ? value : std::min(min_, value);
  max_ = count_ == 0 ? value : std::max(max_, value);
  ++count_;
  const auto count = static_cast<double>(count_);
  const double time_step = time - time_mean_;
  const double step = value - mean_;
  time_mean_ += time_step / count;
  mean_ += step / count;
  time_squares_ += time_step * (time - time_mean_);
  squares_ += step * (value - mean_);
  products_ += time_step * (value - mean_);
}

statistics_t accumulator_t::result() const {
  if (count_ == 0) {
    return {0, left_out_, unknown, unknown, unknown, unknown, unknown, unknown};
  }
  return {count_,      left_out_,
          mean_,       count_ < 2 ? unknown : std::sqrt(squares_ / static_cast<double>(count_ - 1)),
          min_,        max_,
          max_ - min_, time_squares_ > 0.0 ? products_ / time_squares_ : unknown};
}

}  // namespace orn::fmcw_host
