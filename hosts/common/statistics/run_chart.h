#pragma once

#include "common/statistics/accumulator.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace orn::fmcw_host {

/// A figure over the chirps of a run, drawn with block elements. Each column stands for as many
/// chirps as any other (the last may hold fewer) and reaches from their lowest to their highest
/// value, so that no outlier is lost; a column whose values are not finite stays empty. Memory does
/// not grow with the number of chirps.
class run_chart_t {
 public:
  /// columns  at most so many are drawn, 2 or more
  explicit run_chart_t(std::size_t columns);

  void add(double time, double value);

  /// The chart: `rows` lines, 3 or more, each half a block fine, with the highest, the mean and the
  /// lowest value at their heights, and a line that says what a column is.
  /// unit  of the labels; may be empty
  std::string draw(std::size_t rows, std::string_view unit) const;

 private:
  struct column_t {
    double low;  ///< above high: no finite value
    double high;
  };
  void join_columns();

  std::size_t most_columns_;
  std::uint64_t chirps_per_column_ = 1;
  std::uint64_t in_last_column_ = 0;
  std::vector<column_t> columns_;
  accumulator_t all_;
};

}  // namespace orn::fmcw_host
