#pragma once

#include <cstdint>

namespace orn::fmcw_host {

/// Statistics of one figure over chirps. Values that are not finite are counted and left out of
/// everything else.
struct statistics_t {
  std::uint64_t count = 0;          ///< finite values
  std::uint64_t left_out = 0;       ///< NaN and infinities
  double mean = 0.0;                ///< NaN without values, as all below
  double standard_deviation = 0.0;  ///< of a sample: over count - 1; NaN below two values
  double min = 0.0;
  double max = 0.0;
  double peak_to_peak = 0.0;  ///< max less min
  double trend = 0.0;         ///< least-squares slope over time [1/s]; NaN where all times are one
};

/// Gathers statistics_t a value at a time, in memory that their number does not enter.
///
/// Mean, squares and products about the mean follow B. P. Welford, "Note on a method for
/// calculating corrected sums of squares and products", Technometrics 4 (1962): a small spread about
/// a large mean keeps its digits.
class accumulator_t {
 public:
  /// time  [s], finite
  void add(double time, double value);

  statistics_t result() const;

 private:
  std::uint64_t count_ = 0;
  std::uint64_t left_out_ = 0;
  double mean_ = 0.0;
  double squares_ = 0.0;  ///< squared distances from the mean, summed
  double min_ = 0.0;
  double max_ = 0.0;
  double time_mean_ = 0.0;
  double time_squares_ = 0.0;
  double products_ = 0.0;  ///< distances of time and value from their means, multiplied, summed
};

}  // namespace orn::fmcw_host
