#include "basefunc/kernels.h"
#include "summary.h"

#include <fmcw_demod/basefunc.h>
#include <fmcw_demod/engine.h>

#include <cmath>
#include <cstddef>

namespace orn::fmcw_demod_lib {

void FMCWAnalyze::compute_instantaneous_freq(const std::vector<sample_t>& signal, float fs,
                                             std::vector<double>& freq,
                                             std::vector<double>& phase) const {
  phase.resize(signal.size());
  freq.resize(signal.size());
  kernels::instantaneous_frequency(signal, fs, freq, phase);
}

void FMCWAnalyze::smooth_with_triang(std::vector<float>& trace, int n) const {
  trace = basefunc::conv_same(trace, parameters_.get_smoothing_window(n));
}

void FMCWAnalyze::smooth_with_triang(std::vector<double>& trace, int n) const {
  trace = basefunc::conv_same_double(trace, parameters_.get_smoothing_window_double(n));
}

double mean_power_dbm(double sum_of_squares, std::size_t count, float impedance) {
  const double mean = sum_of_squares / static_cast<double>(count);
  return 10.0 * std::log10(mean / impedance * 1000.0);
}

double FMCWAnalyze::compute_power_dbm(const std::vector<sample_t>& signal, float impedance) const {
  if (signal.empty()) {
    return -300.0;
  }
  return mean_power_dbm(kernels::squares(signal).sum, signal.size(), impedance);
}

}  // namespace orn::fmcw_demod_lib
