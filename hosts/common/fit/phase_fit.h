#pragma once

#include <fmcw_demod/types.h>

#include <cstdint>
#include <limits>
#include <span>

namespace orn::fmcw_host {

/// A straight chirp fitted to the phase of samples, with standard uncertainties. NaN where it cannot
/// be told. The middle is (n - 1) / 2 for n samples.
struct phase_fit_t {
  static constexpr double unknown = std::numeric_limits<double>::quiet_NaN();

  double slope = unknown;          ///< [Hz/s]
  double slope_u = unknown;        ///< [Hz/s]
  double freq_centre = unknown;    ///< in the middle [Hz]
  double freq_centre_u = unknown;  ///< [Hz]
  double freq_start = unknown;     ///< at the first sample [Hz]
  double freq_start_u = unknown;   ///< [Hz]
  double phase = unknown;          ///< in the middle, -pi to pi [rad]
  double phase_u = unknown;        ///< [rad]

  /// What the frequency in the middle lies above the mean of that at both ends, by the cubic [Hz].
  double curvature = unknown;
  double curvature_u = unknown;  ///< [Hz]

  double rms = unknown;  ///< of the phase about the straight chirp, sample by sample [rad]

  std::uint64_t slips = 0;     ///< whole turns by which the phase steps, mended
  std::uint64_t left_out = 0;  ///< samples that the fit does without
};

/// Samples at either end of a chirp's interval that stay out of its fit: the interval's edges may lie
/// a few samples on the wrong side of the turn.
inline constexpr std::size_t turn_margin = 32;

/// Fits a parabola to the phase of a chirp, by least squares.
///
/// samples  of one ramp and nothing else, 64 or more; they may hold others that are not finite
/// rate     [Hz], > 0
///
/// A first look at the frequency gives a line, by which the samples are turned back; the phases are
/// those of sums over blocks of L of them. L is up to 64, such that there are 32 blocks and that the
/// frequency's RMS distance from the line is 1/16 turn a block at most: a curved chirp has short
/// blocks. Slips are mended and blocks far off left out.
///
/// Over n samples with independent phase errors s [rad], at the Cramer-Rao bound,
///   u(slope) = sqrt(720) s / (2 pi) rate^2 / n^2.5,   u(freq_centre) = sqrt(12) s / (2 pi) rate / n^1.5,
///   u(phase) = 1.5 s / n^0.5,
/// where s is told from the blocks' own scatter about a cubic. NaN where fewer than half of the
/// samples can be used. Throws std::bad_alloc.
phase_fit_t fit_phase(std::span<const fmcw_demod_lib::sample_t> samples, double rate);

}  // namespace orn::fmcw_host
