#pragma once

#include "common/figures/figure_table.h"
#include "common/statistics/chirp_statistics.h"
#include "common/statistics/statistic.h"

#include <optional>
#include <string>
#include <string_view>

namespace orn::fmcw_host {

/// A bound that every chirp, or a statistic over the chirps, has to keep. Exactly one of the three
/// holds: `figure` alone, `figure` and `statistic`, or neither (the number of chirps).
struct limit_t {
  const figure_t* figure = nullptr;        ///< of figure_table()
  const statistic_t* statistic = nullptr;  ///< of statistic_table()
  std::optional<direction_t> direction;    ///< nothing: chirps of both
  std::optional<double> min;               ///< in the unit of the figure's column, inclusive
  std::optional<double> max;               ///< likewise; at least one of the two is there
  std::string text;                        ///< as the user wrote it, or the like of it

  bool is_of_chirps() const { return figure != nullptr && statistic == nullptr; }
};

/// Unit of what is compared: "kHz/us", "kHz/us/s" of a trend, "" of ratios and the number of chirps.
std::string unit_of(const limit_t& limit);

/// Whether a value keeps the limit; NaN keeps none.
bool keeps(const limit_t& limit, double value);

/// A limit's parts as a user gave them, in the words of messages.
struct limit_parts_t {
  std::string figure;
  std::string statistic;  ///< a name of statistic_table(), "count", or empty
  std::string direction;  ///< "up", "down", or empty
  std::string min;        ///< empty: not given, as all below
  std::string max;
  std::string nominal;
  std::string tolerance;
  std::string text;  ///< empty: made from the parts
};

/// The limit that the parts describe. Throws input_error_t naming the part, its value and what is
/// allowed.
limit_t make_limit(const limit_parts_t& parts);

}  // namespace orn::fmcw_host
