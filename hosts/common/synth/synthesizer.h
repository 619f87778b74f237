#pragma once

#include "common/capture/sample_source.h"
#include "common/synth/transmitter.h"

#include <complex>
#include <cstdint>
#include <random>

namespace orn::fmcw_host {

/// Pairs of independent standard normal values (Box and Muller): unlike the standard library's
/// distribution, the same seed gives the same values with every compiler.
class noise_t {
 public:
  explicit noise_t(std::uint64_t seed) : engine_(seed) {}
  std::complex<double> operator()();

 private:
  double uniform();

  std::mt19937_64 engine_;
};

/// The samples of a transmitter, as many as sample_count_of() tells; the same transmitter gives the
/// same samples, in pieces of whatever size.
class synthesizer_t : public sample_source_t {
 public:
  /// Throws input_error_t when a value cannot be.
  explicit synthesizer_t(const transmitter_t& transmitter);

  std::size_t read(std::span<fmcw_demod_lib::sample_t> out) override;

 private:
  fmcw_demod_lib::sample_t next();

  transmitter_t transmitter_;
  std::uint64_t sample_count_;
  std::uint64_t position_ = 0;
  double turns_ = 0.0;  ///< phase, 0 to 1
  double amplitude_;    ///< at the start of a ramp [V]
  double noise_amplitude_;
  noise_t noise_;
};

}  // namespace orn::fmcw_host
