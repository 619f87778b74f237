#pragma once

#include "common/figures/chirp.h"
#include "common/settings/settings.h"
#include "common/trust/figure_trust.h"
#include "common/trust/floors.h"

#include <optional>

namespace orn::fmcw_host {

/// What is known of one chirp's surroundings and noise.
struct chirp_scene_t {
  noise_scene_t noise;           ///< flyback NaN: not known, and nothing of the edges
  double ramp = 0.0;             ///< samples, turn to turn; NaN: not known
  double flyback_samples = 0.0;  ///< turn to turn; 0 of a triangle, NaN: not known
  bool is_told = false;          ///< the noise is: an SNR of 5 dB or more, nothing clipped
  bool is_white = false;         ///< the noise is
};

/// The scene of a chirp, from its row, the row before and the settings it was found by.
///
/// The return between two ramps of the same direction is taken for a straight one, which sweeps
/// back over the whole gap; of ramps of opposite directions each is the other's. Unknown where the
/// return is shorter than half the smoothing, where the row before is none, and where the ends are
/// found by fixed shares. Noise counts as white while the radius noise of neighbours, one and two
/// samples apart, is correlated by less than 0.15.
chirp_scene_t scene_of(const chirp_t& chirp, const std::optional<chirp_t>& before,
                       const settings_t& settings);

/// How far the figures of a chirp can be trusted.
///
/// Uncertain ones (slope, times, mean slope deviation) are measured above 10 u and noise below 3 u.
/// Frequencies and levels in dB have an arbitrary 0: a mean frequency is held against the sweep,
/// power is measured below u = 0.43 dB, a tenth, and noise above 1.45 dB, a third. Deviations x are
/// noise up to F (1 + 3.7 / sqrt(N)), peaks up to F (x_N + 3.8 / x_N), phase deviations up to 1.5
/// floors, and measured from 1.5 floors on (phases: 3). A bandwidth is near the floor where more
/// than 5 % of it is bias, noise where half is. In coloured noise only frequency deviations have a
/// floor and all else is unknown, as is everything where the noise is not told.
chirp_trust_t trust_of(const chirp_t& chirp, const chirp_scene_t& scene);

}  // namespace orn::fmcw_host
