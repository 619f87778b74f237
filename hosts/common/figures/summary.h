#pragma once

#include "common/figures/chirp.h"

#include <cstdint>

namespace orn::fmcw_host {

/// Figures over all chirps of a recording, gathered a chirp at a time.
class summary_t {
 public:
  void add(const chirp_t& chirp);

  std::uint64_t chirp_count() const { return count_; }
  double power_peak() const;          ///< highest of the chirps [dBm]; NaN without chirps
  double switching_time_std() const;  ///< population standard deviation [s]; 0 below two chirps
  double freq_avg() const;            ///< mean of the chirps' means [Hz]; NaN without chirps

 private:
  std::uint64_t count_ = 0;
  double power_peak_ = 0.0;
  double frequency_sum_ = 0.0;
  double switching_mean_ = 0.0;
  double switching_squares_ = 0.0;  ///< squared distances from the mean, summed
};

}  // namespace orn::fmcw_host
