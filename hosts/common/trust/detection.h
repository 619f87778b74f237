#pragma once

namespace orn::fmcw_host {

/// Ramps as the library's boundary detection meets them.
struct detection_scene_t {
  double rate = 0.0;            ///< [Hz]
  double slope = 0.0;           ///< magnitude [Hz/s]
  double flyback = 0.0;         ///< magnitude of the slope of the other sign next to it [Hz/s]
  double ramp = 0.0;            ///< samples, turn to turn
  double centre = 0.0;          ///< of the sweep [Hz]
  unsigned rate_doublings = 0;  ///< the library is told a rate 2^n times higher
};

/// Slope over what a slip of the phase by 2 pi moves the smoothed slope by: m = |slope| 2^14 / fs^2.
/// Below 1 a single slip turns the slope's sign.
double slope_over_slip(const detection_scene_t& scene);

/// Smoothed slopes expected to have the wrong sign by noise alone: (0.94 N - 128) Q(m / 0.239 sphi).
double expected_wrong_signs(const detection_scene_t& scene, double snr);

/// Probability that the phase slips at a sample of frequency u, in parts of the rate, -0.5 to 0.5:
/// erfc(sqrt(rho (1 + cos 2 pi u))) / 2 + exp(-rho) (d + 0.082 rho^-1.5), d the smaller of |u| and
/// |tan 2 pi u| / 2 pi rho, |u| from a quarter on.
double slip_probability(double u, double snr);

/// Boundaries expected in a ramp by slips. m < 1: (0.94 N - 128) times the mean slip probability
/// over the inner 94 % of the sweep.
/// Else slips of both signs within the 128 samples of a half smoothing, S = Poisson - Poisson, must
/// outweigh k = floor(m) + 1, or k - 1 with noise: 1.5 (N / 128) times the mean over the sweep of
/// P(S >= k) + P(S = k - 1)(1 - (1 - Q((m - k + 1) / 0.239 sphi))^60).
double expected_slip_turns(const detection_scene_t& scene, double snr);

/// Probability that a ramp is found as one chirp: exp of minus both expectations. 0 without signal.
double found_probability(const detection_scene_t& scene, double snr);

/// Lowest SNR at which at least 99 % of the ramps are found [dB], -30 to 90; NaN: at none of them.
/// Held against simulations: within 1.5 dB on 34 of 35 ramps of 1500 to 40 000 samples.
double cliff_of(const detection_scene_t& scene);

/// Upper bound of the share of boundaries lost in the library's dead zone of 100 Hz/s, within which
/// no change of sign counts: 200 / g, g the gradient of the smoothed slope at the change
/// [Hz/s per sample], 4^n times higher with the rate declared 2^n times higher; 1 at most.
double dead_zone_loss(const detection_scene_t& scene);

/// Gap between the two changes of sign at a fly-back of that many samples, over the mean gap's
/// eighth below which the library merges them to one boundary. Near 1 they merge by chance.
double gap_over_merging(const detection_scene_t& scene, double flyback_samples);

/// Whether a ramp is too short for smoothing over 256 samples to leave anything of its slope: below
/// twice that.
bool is_too_short(const detection_scene_t& scene);

}  // namespace orn::fmcw_host
