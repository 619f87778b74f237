#pragma once

#include "common/figures/chirp.h"
#include "common/settings/settings.h"
#include "common/trust/floors.h"

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

namespace orn::fmcw_host {

/// What a figure says of the transmitter, the worse the higher.
enum class trust_t : std::uint8_t {
  measured,    ///< the signal
  near_floor,  ///< the signal and as much noise
  noise,       ///< what noise alone would make
  unknown      ///< nothing is known of it
};
inline constexpr std::size_t trust_count = 4;

/// "measured", "near the floor", "noise", "unknown".
std::string_view name_of(trust_t trust);

/// How far a figure can be trusted, in its own unit. NaN: unknown, or does not apply.
struct figure_trust_t {
  double value = std::numeric_limits<double>::quiet_NaN();
  double bias = 0.0;                                        ///< known, contained in the value
  double u = std::numeric_limits<double>::quiet_NaN();      ///< standard uncertainty
  double floor = std::numeric_limits<double>::quiet_NaN();  ///< what noise alone makes
  double truth =
      std::numeric_limits<double>::quiet_NaN();  ///< value - bias, sqrt(x^2 - floor^2) above noise
  trust_t word = trust_t::unknown;
};

/// The figures that are judged, by their columns.
inline constexpr std::array<std::string_view, 21> trusted_columns = {
    "start_s",
    "stop_s",
    "length_s",
    "switching_time_s",
    "period_s",
    "sweep_hz",
    "slope_khz_per_us",
    "slope_dev_mean_khz_per_us",
    "slope_dev_rms_khz_per_us",
    "slope_dev_peak_khz_per_us",
    "bandwidth_hz",
    "freq_avg_hz",
    "freq_dev_rms_hz",
    "freq_dev_peak_hz",
    "phase_dev_rms_rad",
    "phase_dev_peak_rad",
    "inl_rms",
    "inl_peak",
    "power_avg_dbm",
    "power_peak_dbm",
    "power_min_dbm",
};
using chirp_trust_t = std::array<figure_trust_t, trusted_columns.size()>;

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
