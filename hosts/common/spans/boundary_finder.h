#pragma once

#include <fmcw_demod/engine.h>
#include <fmcw_demod/parameters.h>
#include <fmcw_demod/types.h>

#include <cstddef>
#include <vector>

namespace orn::fmcw_host {

/// The library's boundary detection on stretches of samples, with the memory that takes.
class boundary_finder_t {
 public:
  /// parameters  must outlive the finder
  /// rate        that the library is told [Hz]
  boundary_finder_t(const fmcw_demod_lib::FMCWConfig& parameters, double rate)
      : engine_(parameters), rate_(rate) {}

  /// Takes the samples to look at.
  void set(const std::vector<fmcw_demod_lib::sample_t>& samples);

  /// Switching points of the frame [begin, end) of those samples, then its last sample, all counted
  /// from `begin`; nothing for a frame of fewer than two samples.
  std::vector<int> find(std::size_t begin, std::size_t end);

  /// Smoothed slope of that frame [Hz/s].
  const std::vector<float>& slope() const { return slope_smooth_; }
  const fmcw_demod_lib::FMCWAnalyze& engine() const { return engine_; }

 private:
  fmcw_demod_lib::FMCWAnalyze engine_;
  double rate_;
  std::vector<double> freq_;
  std::vector<double> phase_;
  std::vector<float> slope_raw_;
  std::vector<float> slope_smooth_;
};

}  // namespace orn::fmcw_host
