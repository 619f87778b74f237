#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
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

/// Where a column stands among trusted_columns; their number where it does not.
constexpr std::size_t trusted_place(std::string_view column) {
  std::size_t place = 0;
  while (place < trusted_columns.size() && trusted_columns[place] != column) {
    ++place;
  }
  return place;
}

/// A value of a figure's trust that has a column of its own beside it.
struct trust_column_t {
  std::string_view suffix;  ///< of the figure's column
  double figure_trust_t::*value;
};
inline constexpr std::array trust_values = {trust_column_t{"_bias", &figure_trust_t::bias},
                                            trust_column_t{"_u", &figure_trust_t::u},
                                            trust_column_t{"_floor", &figure_trust_t::floor},
                                            trust_column_t{"_true", &figure_trust_t::truth}};

}  // namespace orn::fmcw_host
