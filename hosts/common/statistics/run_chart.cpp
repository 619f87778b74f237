#include "common/statistics/run_chart.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include <fmt/format.h>

namespace orn::fmcw_host {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

/// Half a block of the chart, counted from its upper edge.
std::size_t half_of(double value, const statistics_t& range, std::size_t halves) {
  if (!(range.peak_to_peak > 0.0) || !std::isfinite(range.peak_to_peak)) {
    return halves / 2;
  }
  const double share = (range.max - value) / range.peak_to_peak;
  const auto last = static_cast<double>(halves - 1);
  return static_cast<std::size_t>(std::clamp(std::round(share * last), 0.0, last));
}

}  // namespace

run_chart_t::run_chart_t(std::size_t columns)
    // An even number, so that joining pairs leaves whole columns.
    : most_columns_(std::max<std::size_t>(columns, 2) / 2 * 2) {}

void run_chart_t::add(double time, double value) {
  all_.add(time, value);
  if (columns_.empty() || in_last_column_ == chirps_per_column_) {
    if (columns_.size() == most_columns_) {
      join_columns();
    }
    columns_.push_back({infinity, -infinity});
    in_last_column_ = 0;
  }
  ++in_last_column_;
  if (std::isfinite(value)) {
    column_t& last = columns_.back();
    last = {std::min(last.low, value), std::max(last.high, value)};
  }
}

void run_chart_t::join_columns() {
  for (std::size_t i = 0; i < columns_.size() / 2; ++i) {
    const column_t& a = columns_[2 * i];
    const column_t& b = columns_[2 * i + 1];
    columns_[i] = {std::min(a.low, b.low), std::max(a.high, b.high)};
  }
  columns_.resize(columns_.size() / 2);
  chirps_per_column_ *= 2;
}

std::string run_chart_t::draw(std::size_t rows, std::string_view unit) const {
  const statistics_t range = all_.result();
  const std::size_t halves = 2 * rows;
  std::vector<std::string> labels(rows);
  if (range.count > 0) {
    labels[half_of(range.mean, range, halves) / 2] = fmt::format("mean {:.6g}", range.mean);
    labels.front() = fmt::format("max {:.6g}", range.max);
    labels.back() = fmt::format("min {:.6g}", range.min);
  }
  std::size_t width = 0;
  for (const std::string& label : labels) {
    width = std::max(width, label.size());
  }
  std::string text;
  for (std::size_t row = 0; row < rows; ++row) {
    std::string line = fmt::format("{:>{}} \u2502", labels[row], width);
    for (const column_t& column : columns_) {
      const bool is_empty = column.low > column.high;
      const std::size_t top = is_empty ? halves : half_of(column.high, range, halves);
      const std::size_t bottom = is_empty ? 0 : half_of(column.low, range, halves);
      const bool upper = top <= 2 * row && 2 * row <= bottom;
      const bool lower = top <= 2 * row + 1 && 2 * row + 1 <= bottom;
      line += upper && lower ? "\u2588" : upper ? "\u2580" : lower ? "\u2584" : " ";
    }
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + '\n';
  }
  text += chirps_per_column_ == 1
              ? fmt::format("{:>{}} each column is a chirp", unit, width)
              : fmt::format("{:>{}} each column is {} chirps, from their lowest to their highest",
                            unit, width, chirps_per_column_);
  return text + '\n';
}

}  // namespace orn::fmcw_host
