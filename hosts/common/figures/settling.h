#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

namespace orn::fmcw_host {

/// From when on a chirp counts as settled.
struct settling_tolerance_t {
  double share = 0.01;                 ///< of the sweep, slope times length; > 0
  std::optional<double> frequency;     ///< instead of the share [Hz]; > 0
  double phase = 0.08726646259971647;  ///< [rad], > 0; 5 degrees
};

/// Reads "0.1%" (of the sweep) or "50kHz", and with a comma a phase: "0.1%,2deg", "2deg". What is
/// not named keeps its default. Throws input_error_t naming `source` and what is allowed.
settling_tolerance_t parse_settling(std::string_view text, std::string_view source);

/// How a chirp comes to rest on its line. NaN where there is none to speak of.
struct settling_t {
  double frequency_time;  ///< from the first sample on until the residual stays within [s]
  double phase_time;      ///< likewise of the phase [s]
  double overshoot;       ///< residual of greatest magnitude in the first half, signed [Hz]
};

/// Samples before a chirp's end where the smoothed frequency has nothing of what follows it: half
/// the 37 samples of its smoothing.
inline constexpr std::size_t settling_margin = 18;

/// The settling of one chirp, by its smoothed frequency.
///
/// frequency   of the chirp's samples, first to last, smoothed over 37 samples [Hz]
/// scale       what one unit of `frequency` is [Hz]: exact powers of two
/// rate        [Hz]
/// sweep       of the chirp [Hz], for tolerances that are a share of it
///
/// The line is fitted by least squares to the second half of [0, n - settling_margin), in which
/// start-up transients have died away; the residual r is what the frequency lies above it. The
/// phase residual at sample i is -2 pi / rate times the sum of r from i on; its mean over that half
/// is 0. Settled is the first sample from which on neither leaves its tolerance; where one does so
/// in the second half the time is NaN, and so is everything of fewer than 2 settling_margin + 4
/// samples and of samples that are not finite.
settling_t settling_of(std::span<const float> frequency, double scale, double rate, double sweep,
                       const settling_tolerance_t& tolerance);

}  // namespace orn::fmcw_host
