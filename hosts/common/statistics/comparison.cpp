#include "common/statistics/comparison.h"

#include <cmath>

namespace orn::fmcw_host {
namespace {

double squared_error(const statistics_t& of) {
  return of.standard_deviation * of.standard_deviation / static_cast<double>(of.count);
}

}  // namespace

comparison_t compare(const statistics_t& a, const statistics_t& b) {
  const double difference = b.mean - a.mean;
  const double error = std::sqrt(squared_error(a) + squared_error(b));
  return {difference, error, difference / error};
}

}  // namespace orn::fmcw_host
