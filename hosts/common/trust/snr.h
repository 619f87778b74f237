#pragma once

#include <fmcw_demod/types.h>

#include <limits>
#include <span>

namespace orn::fmcw_host {

/// The noise of a signal of slowly varying envelope, told by that envelope alone: circular noise
/// disturbs radius and angle alike, and the angle is the chirp's own business. NaN: unknown.
struct envelope_noise_t {
  /// Power of signal over noise within the sampled band, a ratio per complex sample.
  double snr = std::numeric_limits<double>::quiet_NaN();
  /// Correlation of the radius noise with itself, one and two samples apart; 0 for white noise.
  double correlation_1 = std::numeric_limits<double>::quiet_NaN();
  double correlation_2 = std::numeric_limits<double>::quiet_NaN();
};

/// Estimates the noise from blocks of 256 samples, 16 at most, evenly spread.
///
/// In each block a parabola is fitted to the magnitude and divided out, which takes droop and slow
/// modulation with it. Of the squares of what is left, with mean M2 and relative variance v (by
/// n - 3, since the parabola has three parameters), the share of the signal is s = sqrt(1 - v) and
/// the SNR s / (1 - s): the estimate by the second and fourth moments, S^2 = 2 M2^2 - M4, of a
/// constant envelope in complex white noise. Each figure is the median of the blocks, so that what
/// comes and goes within a few of them does not count.
///
/// samples  of one chirp, clipping absent
///
/// Blocks with a sample that is not finite, or whose parabola is not above 0, are left out; NaN
/// where none is left. A block without any signal has an SNR of 0, one without noise infinity.
envelope_noise_t envelope_noise_of(std::span<const fmcw_demod_lib::sample_t> samples);

}  // namespace orn::fmcw_host
