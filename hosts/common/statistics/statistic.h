#pragma once

#include "common/statistics/accumulator.h"

#include <span>
#include <string>
#include <string_view>

namespace orn::fmcw_host {

/// One statistic as users name it.
struct statistic_t {
  std::string_view name;   ///< in limits and tables: "mean"
  std::string_view title;  ///< for people: "std. dev."
  /// Of a statistic in JSON: "trend_per_s".
  std::string_view member;
  bool per_second;  ///< its unit is the figure's per second
  double (*get)(const statistics_t&);
};

/// mean, std, min, max, peak_to_peak, trend.
std::span<const statistic_t> statistic_table();

/// The statistic of that name; null when there is none.
const statistic_t* find_statistic(std::string_view name);

/// The names, "mean, std, ...".
std::string statistic_names();

}  // namespace orn::fmcw_host
