#pragma once

#include <fmcw_demod/fmcw_demod.h>

#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <vector>

/// Captures whose chirps are known on paper.
namespace orn::fmcw_demod_lib::synthetic {

constexpr double two_pi = 2.0 * std::numbers::pi;

/// Samples of constant envelope whose frequency half-way between samples i and i + 1 is freq(i +
/// 0.5) [Hz] at the rate fs [Hz].
template <class Frequency>
std::vector<sample_t> from_frequency(std::size_t count, double fs, double amplitude,
                                     Frequency freq) {
  std::vector<sample_t> samples(count);
  double turns = 0.0;
  for (std::size_t i = 0; i < count; ++i) {
    samples[i] = sample_t(std::polar(amplitude, two_pi * turns));
    turns += freq(static_cast<double>(i) + 0.5) / fs;
    turns -= std::floor(turns);
  }
  return samples;
}

/// Rising ramps with linear fly-backs, the first ramp at sample 0. All lengths in samples.
struct sawtooth_t {
  double fs = 10e6;        // Hz
  double bandwidth = 2e6;  // Hz, centred on 0
  double ramp = 2000.0;
  double flyback = 100.0;
  std::size_t count = 10000;
  double amplitude = 1.0;  // V

  double frequency(double sample) const {
    const double within = std::fmod(sample, ramp + flyback);
    const double position = within < ramp ? within / ramp : 1.0 - (within - ramp) / flyback;
    return (position - 0.5) * bandwidth;
  }
  double slope() const { return bandwidth * fs / ramp; }  // Hz/s

  SignalStream stream() const {
    const auto freq = [this](double sample) { return frequency(sample); };
    return {from_frequency(count, fs, amplitude, freq), static_cast<float>(fs)};
  }

  /// Settings under which the ramps alone are measured, the whole capture being one frame.
  fmcw_demod_config_t config() const {
    fmcw_demod_config_t config;
    config.fs = fs;
    config.advanced.time_gate_len = 2.0 * static_cast<double>(count) / fs;
    config.advanced.min_chirp_len = 0.5 * ramp / fs;
    config.advanced.max_chirp_len = 1.5 * ramp / fs;
    return config;
  }
};

/// An engine with its parameters, for a record and a capture.
struct engine_t {
  engine_t(const fmcw_demod_config_t& config, SignalStream stream)
      : signal(std::move(stream)),
        parameters(config, &signal.samples, signal.fs),
        engine(parameters) {}
  explicit engine_t(const fmcw_demod_config_t& config = {}) : engine_t(config, SignalStream{}) {}

  fmcw_measure_result_t analyze() {
    fmcw_measure_result_t result;
    engine.analyze(signal, result);
    return result;
  }

  SignalStream signal;
  FMCWConfig parameters;
  FMCWAnalyze engine;
};

}  // namespace orn::fmcw_demod_lib::synthetic
