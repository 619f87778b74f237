#pragma once

#include <fmcw_demod/types.h>

#include <cstdint>
#include <span>

namespace orn::fmcw_host {

/// What a stretch of samples is like, whatever the settings.
struct signal_look_t {
  std::uint64_t sample_count = 0;  ///< looked at
  bool has_quadrature = true;      ///< whether any imaginary part differs from 0

  /// Mean of x^2 over that of |x|^2, less the mean of x: near 0 for what turns in the complex plane,
  /// near 1 for a real signal in whatever disguise.
  double noncircularity = 0.0;

  /// Share of a signal of constant envelope in the power, S / (S + N), from the second and the
  /// fourth moment of the envelope: S^2 = 2 M2^2 - M4 for white Gaussian noise. 0 for noise alone
  /// and for what comes and goes.
  double steady_share = 0.0;

  double tone_share = 0.0;  ///< |mean of x[n+256] x*[n]| / M2: what keeps its frequency
  double tone = 0.0;        ///< mean frequency over the rate, -0.5 to 0.5

  /// |mean of x[n+1] x*[n]| over blocks of 64 samples / M2: near 1 for what is smooth, whatever its
  /// frequency; 0.1 for white noise.
  double smoothness = 0.0;
};

/// Whether it looks like a real signal: no imaginary parts at all, or a noncircularity above 0.3 of
/// what is no tone (one near 0 Hz turns too slowly to tell).
bool looks_real(const signal_look_t& look);

/// Looks at the first 2^20 finite ones of the samples, a few wild ones left out.
signal_look_t look_at(std::span<const fmcw_demod_lib::sample_t> samples);

}  // namespace orn::fmcw_host
