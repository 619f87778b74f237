#include "common/statistics/statistic.h"

#include <algorithm>
#include <array>

namespace orn::fmcw_host {
namespace {

// clang-format off
constexpr std::array table = {
    statistic_t{"mean", "mean", "mean", false, [](const statistics_t& s) { return s.mean; }},
    statistic_t{"std", "std. dev.", "std", false, [](const statistics_t& s) { return s.standard_deviation; }},
    statistic_t{"min", "min", "min", false, [](const statistics_t& s) { return s.min; }},
    statistic_t{"max", "max", "max", false, [](const statistics_t& s) { return s.max; }},
    statistic_t{"peak_to_peak", "peak to peak", "peak_to_peak", false, [](const statistics_t& s) { return s.peak_to_peak; }},
    statistic_t{"trend", "trend [1/s]", "trend_per_s", true, [](const statistics_t& s) { return s.trend; }},
};
// clang-format on

}  // namespace

std::span<const statistic_t> statistic_table() { return table; }

const statistic_t* find_statistic(std::string_view name) {
  const auto* const found = std::find_if(table.begin(), table.end(),
                                         [&](const statistic_t& s) { return s.name == name; });
  return found == table.end() ? nullptr : found;
}

std::string statistic_names() {
  std::string names;
  for (const statistic_t& statistic : table) {
    names += names.empty() ? "" : ", ";
    names += statistic.name;
  }
  return names;
}

}  // namespace orn::fmcw_host
