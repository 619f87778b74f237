#pragma once

#include "common/capture/annotation.h"

#include <cstdint>
#include <optional>

namespace orn::fmcw_host {

/// A transmitter to imitate. Deviations add to the straight ramp, as fractions of the bandwidth.
struct transmitter_t {
  double sample_rate = 125e6;      ///< [Hz]
  bool triangular = false;         ///< every other ramp runs backwards, instead of a fly-back
  bool falling = false;            ///< the first ramp falls
  double ramp = 100e-6;            ///< length of a ramp, at least two samples [s]
  std::optional<double> flyback;   ///< linear return after a sawtooth ramp [s]; nothing: 5 us
  double idle = 0.0;               ///< rest at the next ramp's start frequency [s]
  double bandwidth = 40e6;         ///< [Hz]
  double offset = 0.0;             ///< centre of the sweep [Hz]
  std::uint64_t chirps = 10;       ///< number of ramps
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

/// Throws input_error_t naming the first value that cannot be, as an option of `fmcw synth`, and
/// what is allowed.
void check(const transmitter_t& transmitter);

/// Samples of a checked transmitter. Throws input_error_t when they are none or more than 10^12.
std::uint64_t sample_count_of(const transmitter_t& transmitter);

/// From the start of one ramp to that of the next [s].
double period_of(const transmitter_t& transmitter);

/// When the first ramp begins [s]: with the first sample, or, of a triangle, an irrational part of
/// a sample later. A turn exactly on a sample gives two equal frequencies there; their slope of 0
/// is no change of sign, and the turn would not be found.
double first_start_of(const transmitter_t& transmitter);

/// Instantaneous frequency [Hz] at a time from the first sample on [s].
double frequency_at(const transmitter_t& transmitter, double time);

/// Power [dBm] at a time from the first sample on [s].
double level_at(const transmitter_t& transmitter, double time);

/// Amplitude [V] of a carrier whose mean power into the impedance is `dbm`.
double amplitude_of(double dbm, double impedance);

/// The ramp of a number, from 0; nothing where it does not lie whole within the samples.
std::optional<chirp_truth_t> truth_of(const transmitter_t& transmitter, std::uint64_t number);

/// Ramps that lie whole within the samples.
std::uint64_t truth_count_of(const transmitter_t& transmitter);

}  // namespace orn::fmcw_host
