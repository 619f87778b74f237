#pragma once

namespace orn::fmcw_host {

/// What the uncertainty of a chirp's figures follows from. The noise is complex, circular and
/// white over the sampled band unless `colour` says otherwise.
struct noise_scene_t {
  double snr = 0.0;          ///< of a complex sample, a ratio, > 0
  double rate = 0.0;         ///< [Hz]
  double slope = 0.0;        ///< signed [Hz/s]
  double flyback = 0.0;      ///< magnitude of the slope next to it, of the other sign [Hz/s]
  double slope_level = 0.0;  ///< smoothed slope at which the measured interval ends [Hz/s], >= 0
  double measured = 0.0;     ///< samples of the measured interval
  double window = 0.0;       ///< samples of the deviation window
  double begin = 0.0;        ///< frequency at the window's first sample [Hz]
  double time = 0.0;         ///< on the library's axis, which is in single precision [s]

  /// Noise of the frequency over what white noise of that power makes: sqrt(1 - r), r the
  /// correlation of the noise two samples apart, for the frequency is half the turn across two.
  double colour = 1.0;
};

/// Noise of the phase of a sample [rad]: sqrt((1 + 1 / 2 rho) / 2 rho), a half of the noise power
/// being tangential; the second term is the next of the expansion for large rho.
double phase_noise(double snr);

/// Q(x), the share of normal values above x.
double normal_tail(double x);

/// Mean of the highest of `count` normal values, x with count Q(x) = exp(-Euler's constant) = 0.56,
/// where the limit law of maxima has its mean; of magnitudes, twice as many count. NaN below 1.
double highest_of(double count);

/// Standard deviation of the frequency of a sample [Hz]: the frequency is half the turn across two
/// samples, so fs sphi / (2 sqrt(2) pi), times the colour.
double frequency_noise(const noise_scene_t& scene);

/// Standard deviation of the slope smoothed over 256 samples [Hz/s]: of the differences nine phases
/// remain, whose weights have squares of 9 / 2^28; (fs^2 / 2^14)(3 / 4 pi) sphi.
double smoothed_slope_noise(const noise_scene_t& scene);

/// Standard uncertainty of the slope [Hz/s]: of a line fitted to a differenced phase only the end
/// phases remain: 3 fs^2 sphi / (pi Nd^2).
double slope_u(const noise_scene_t& scene);

/// Where the smoothed slope passes the level, from the turn [samples]. The triangle of 256 samples
/// makes of a step of height J a parabola, which is (|slope| - level) / J short of its end y =
/// 128 sqrt(2 w) before or after the middle's 128 samples; w <= 1/2.
double crossing(const noise_scene_t& scene);

/// Gradient of the smoothed slope at the crossing over its noise, q = (J y / 2^14) / ss, per sample.
double gradient_over_noise(const noise_scene_t& scene);

/// How much earlier noise carries the slope into a band [samples]: 0.3 q^-1.27, by simulation (within
/// 2.4 samples, or 30 %, from q = 0.03 to 0.5). 0 where the edge is a change of sign.
double early_entry(const noise_scene_t& scene);

/// How much later than the turn the start is, how much later (negative: earlier) the stop
/// [samples]: 128 - y - 1/2, and -(128 - y) - 3/2, one more where the level is 0 (a sign change),
/// less what noise widens.
double start_bias(const noise_scene_t& scene);
double stop_bias(const noise_scene_t& scene);

/// Standard uncertainty of start and stop [samples]: 1 / q, noise of the smoothed slope over its
/// gradient, less where q is small: min(1, q^0.35) / q, the exponent by simulation; and the rounding
/// to whole samples, 1 / sqrt(12).
double edge_u(const noise_scene_t& scene);

/// Standard uncertainty of the length and of the switching time [samples]: two edges.
double length_u(const noise_scene_t& scene);

/// Bias [Hz] and standard uncertainty [Hz] of the mean frequency, held against the middle of the
/// ramp: the middle of both edges is early by half their biases' sum, 1 sample, or 3/2 where the stop is a change of sign;
/// noise has the end phases, fs sphi / (2 pi Nd), and half of what both edges move.
double freq_avg_bias(const noise_scene_t& scene);
double freq_avg_u(const noise_scene_t& scene);

/// RMS deviation that noise and the rounding of the time axis, |slope| ulp(time) / sqrt(12), make
/// [Hz]; the standard deviation of the former [Hz] is F sqrt(3 / Nd) / 2, the residuals being
/// correlated two samples apart.
double freq_dev_rms_floor(const noise_scene_t& scene);
double freq_dev_rms_u(const noise_scene_t& scene);

/// Peak deviation that noise alone makes, F x with 2 Nd Q(x) = 0.56 [Hz], and its standard deviation
/// pi / sqrt(6) F / x, of the limit law of maxima.
double freq_dev_peak_floor(const noise_scene_t& scene);
double freq_dev_peak_u(const noise_scene_t& scene);

/// What noise adds to highest less lowest frequency [Hz]: 2 F x, with the sum over k of
/// Q(x + k |slope| / fs F) = 0.56, sample k lying so much below the end of the sweep; and its
/// standard deviation, sqrt(2) pi / sqrt(6) times F over the logarithmic gradient of that sum.
double bandwidth_bias(const noise_scene_t& scene);
double bandwidth_u(const noise_scene_t& scene);

/// RMS and peak deviation of the phase that noise alone makes [rad]: the end phases of the fitted
/// line, 0.795 sphi and 0.73 x sphi, and the rounding of phases that are summed in single precision.
/// White noise only.
double phase_dev_rms_floor(const noise_scene_t& scene);
double phase_dev_rms_u(const noise_scene_t& scene);
double phase_dev_peak_floor(const noise_scene_t& scene);

/// Root of the mean over the window of the variance of summed rounding errors [rad]:
/// mean over k of the sum over i <= k of ulp(phase i)^2 / 6, measured and fitted phase each having
/// ulp^2 / 12.
double rounding_walk(const noise_scene_t& scene);

/// RMS of sample-to-sample slopes that noise alone makes [Hz/s], fs^2 sphi / 2 pi, and their peak,
/// x times that with 2 Nm Q(x) = 0.56; the uncertainty of their mean is the former over Nm.
double slope_dev_rms_floor(const noise_scene_t& scene);
double slope_dev_peak_floor(const noise_scene_t& scene);
double slope_dev_mean_u(const noise_scene_t& scene);

/// What noise adds to the mean power [dB], 10 lg(1 + 1 / rho), and its standard uncertainty [dB],
/// 4.34 sqrt(2 / rho + 1 / rho^2) / ((1 + 1 / rho) sqrt(Nd)).
double power_avg_bias(const noise_scene_t& scene);
double power_avg_u(const noise_scene_t& scene);

/// What noise adds to the highest and to the lowest power [dB]: 20 lg(1 +- x / sqrt(2 rho)) with
/// Nd Q(x) = 0.56; minus infinity where the lowest may be 0. And the standard deviation [dB] of the
/// former.
double power_peak_bias(const noise_scene_t& scene);
double power_min_bias(const noise_scene_t& scene);
double power_peak_u(const noise_scene_t& scene);

}  // namespace orn::fmcw_host
