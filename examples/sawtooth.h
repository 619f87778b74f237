#pragma once

#include <fmcw_demod/fmcw_demod.h>

#include <cmath>
#include <numbers>

/// One millisecond at 10 MS/s of ramps of `bandwidth` [Hz] in 200 us with fly-backs of 10 us: what
/// a real host gets from its digitizer.
inline orn::fmcw_demod_lib::SignalStream sawtooth(double bandwidth) {
  orn::fmcw_demod_lib::SignalStream signal{{}, 10e6F};
  double turns = 0.0;
  for (int i = 0; i < 10000; ++i) {
    const double n = i % 2100;
    const double position = n < 2000 ? n / 2000 : 1 - (n - 2000) / 100;
    const auto angle = static_cast<float>(2 * std::numbers::pi * turns);
    signal.samples.push_back(std::polar(0.3F, angle));
    turns = std::fmod(turns + (position - 0.5) * bandwidth / 10e6, 1.0);
  }
  return signal;
}
