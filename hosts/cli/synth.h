#pragma once

#include "capture.h"

#include <fmcw_demod/fmcw_demod.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace fmcw_cli {

/// A transmitter to imitate. Deviations add to the straight ramp, as fractions of the bandwidth.
struct transmitter_t {
  double sample_rate = 125e6;      ///< [Hz]
  bool triangular = false;         ///< every other ramp runs backwards, instead of a fly-back
  bool falling = false;            ///< the first ramp falls
  double ramp = 100e-6;            ///< length of a ramp [s]
  double flyback = 5e-6;           ///< linear return to the start of the ramp, sawtooth only [s]
  double idle = 0.0;               ///< rest at the next ramp's start frequency [s]
  double bandwidth = 40e6;         ///< [Hz]
  double offset = 0.0;             ///< centre of the sweep [Hz]
  std::uint32_t chirps = 10;       ///< number of ramps
  std::optional<double> duration;  ///< cuts or lengthens the capture [s]
  double level = 0.0;              ///< power at the start of a ramp [dBm]
  double impedance = 50.0;         ///< that `level` goes into [ohm]; samples are peak volts
  std::optional<double> snr;       ///< white noise below `level` over the whole band [dB]
  std::uint64_t seed = 1;          ///< of the noise
  double quadratic = 0.0;          ///< non-linearity: parabola, its peak at mid-ramp
  double sine = 0.0;               ///< non-linearity: sine, its peak
  double sine_cycles = 3.0;        ///< periods of that sine in a ramp
  double overshoot = 0.0;          ///< start-up transient: deviation at the start of a ramp
  double settling = 1e-6;          ///< its time constant [s]
  double droop = 0.0;              ///< fall of the power over a ramp [dB]
};

struct synthetic_capture_t {
  std::vector<orn::fmcw_demod_lib::sample_t> samples;
  std::vector<chirp_truth_t> truth;  ///< of every ramp that lies whole in the capture
};

/// Samples and truth of a transmitter; the same transmitter gives the same samples. Throws
/// input_error when a value cannot be.
synthetic_capture_t synthesize(const transmitter_t& transmitter);

/// Synthesizes a capture and writes it as the SigMF recording `out`. Throws input_error, run_error.
void synth(const transmitter_t& transmitter, const std::string& out);

}  // namespace fmcw_cli
