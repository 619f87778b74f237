#pragma once

#include "common/figures/chirp.h"
#include "common/figures/flags.h"

#include <array>
#include <cstdint>

namespace orn::fmcw_host {

/// Figures over all chirps of a recording, gathered a chirp at a time.
class summary_t {
 public:
  void add(const chirp_t& chirp);

  std::uint64_t chirp_count() const { return count_; }
  double power_peak() const;  ///< highest of the chirps [dBm]; NaN without chirps
  double switching_time_std() const {
    return switching_.deviation();
  }  ///< population standard deviation [s]; 0 below two chirps
  /// The same over the gaps that there are, without the zeros of chirps that follow none [s].
  double gap_std() const;
  /// Chirps with each flag, in the order of flag_table.
  const std::array<std::uint64_t, flag_table.size()>& flag_counts() const { return flag_counts_; }
  /// Chirps whose bandwidth and sweep, slope times length, differ by more than 5 % of the sweep.
  std::uint64_t uneven_count() const { return uneven_count_; }
  double freq_avg() const;  ///< mean of the chirps' means [Hz]; NaN without chirps

 private:
  /// Mean and spread in one pass, exact enough for millions of values (Welford's update).
  class spread_t {
   public:
    void add(double value);
    double deviation() const;  ///< population standard deviation; 0 below two values

   private:
    std::uint64_t count_ = 0;
    double mean_ = 0.0;
    double squares_ = 0.0;  ///< squared distances from the mean, summed
  };

  std::uint64_t count_ = 0;
  double power_peak_ = 0.0;
  double frequency_sum_ = 0.0;
  spread_t switching_;
  spread_t gaps_;
  std::array<std::uint64_t, flag_table.size()> flag_counts_ = {};
  std::uint64_t uneven_count_ = 0;
};

}  // namespace orn::fmcw_host
