#include "common/figures/figure_table.h"

#include "common/errors.h"
#include "common/settings/setting_table.h"

#include <cmath>

namespace orn::fmcw_host {
namespace {

// A figure on one line.
// clang-format off
std::vector<figure_t> make_table() {
  return {
      {"start_s", "start", "s", "first sample over the rate, on the recording's axis", true, [](const chirp_t& c) { return c.start; }},
      {"stop_s", "stop", "s", "last sample over the rate, on the recording's axis", false, [](const chirp_t& c) { return c.stop; }},
      {"length_s", "length", "s", "stop less start", true, [](const chirp_t& c) { return c.figures.length; }},
      {"switching_time_s", "switching time", "s", "gap to the chirp before; 0 where there is none", false, [](const chirp_t& c) { return c.figures.switching_time; }},
      {"slope_khz_per_us", "slope", "kHz/us", "slope of the line fitted to the frequency over the deviation window", true, [](const chirp_t& c) { return c.figures.slope; }},
      {"slope_dev_mean_khz_per_us", "mean slope less slope", "kHz/us", "mean sample-to-sample slope less the fitted one", false, [](const chirp_t& c) { return c.figures.slope_dev_mean; }},
      {"slope_dev_rms_khz_per_us", "RMS slope dev.", "kHz/us", "RMS of sample-to-sample slopes about the fitted one", false, [](const chirp_t& c) { return c.figures.slope_dev_rms; }},
      {"slope_dev_avg_khz_per_us", "mean slope dev.", "kHz/us", "mean of sample-to-sample slopes about the fitted one", false, [](const chirp_t& c) { return c.figures.slope_dev_avg; }},
      {"slope_dev_peak_khz_per_us", "peak slope dev.", "kHz/us", "largest of sample-to-sample slopes about the fitted one", false, [](const chirp_t& c) { return c.figures.slope_dev_peak; }},
      {"bandwidth_hz", "bandwidth", "Hz", "highest less lowest frequency of the chirp", true, [](const chirp_t& c) { return c.figures.bandwidth; }},
      {"freq_avg_hz", "mean frequency", "Hz", "mean frequency over the deviation window", false, [](const chirp_t& c) { return c.figures.freq_avg; }},
      {"rf_freq_avg_hz", "mean RF", "Hz", "mean frequency plus the recording's centre frequency", false, [](const chirp_t& c) { return c.centre.value_or(0.0) + c.figures.freq_avg; }},
      {"freq_dev_peak_hz", "peak freq. dev.", "Hz", "largest deviation from the fitted line", false, [](const chirp_t& c) { return c.figures.freq_dev_peak; }},
      {"freq_dev_rms_hz", "RMS freq. dev.", "Hz", "RMS deviation from the fitted line", true, [](const chirp_t& c) { return c.figures.freq_dev_rms; }},
      {"freq_dev_avg_hz", "mean freq. dev.", "Hz", "mean deviation from the fitted line", false, [](const chirp_t& c) { return c.figures.freq_dev_avg; }},
      {"phase_dev_peak_rad", "peak phase dev.", "rad", "largest deviation of the phase from the fitted line's", false, [](const chirp_t& c) { return c.figures.phase_dev_peak; }},
      {"phase_dev_rms_rad", "RMS phase dev.", "rad", "RMS deviation of the phase from the fitted line's", false, [](const chirp_t& c) { return c.figures.phase_dev_rms; }},
      {"phase_dev_avg_rad", "mean phase dev.", "rad", "mean deviation of the phase from the fitted line's", false, [](const chirp_t& c) { return c.figures.phase_dev_avg; }},
      {"inl_avg", "mean non-lin.", "", "mean frequency deviation over the bandwidth", false, [](const chirp_t& c) { return c.figures.inl_avg; }},
      {"inl_peak", "peak non-lin.", "", "peak frequency deviation over the bandwidth", true, [](const chirp_t& c) { return c.figures.inl_peak; }},
      {"inl_rms", "RMS non-lin.", "", "RMS frequency deviation over the bandwidth", false, [](const chirp_t& c) { return c.figures.inl_rms; }},
      {"fm_settling_point_s", "FM settled at", "s", "time from which the frequency counts as settled", false, [](const chirp_t& c) { return c.fm_settling_point; }},
      {"fm_settling_time_s", "FM settling", "s", "that time less the chirp's start", false, [](const chirp_t& c) { return c.figures.fm_settling_time; }},
      {"fm_settling_length_s", "FM settled for", "s", "from that time to the chirp's end", false, [](const chirp_t& c) { return c.figures.fm_settling_length; }},
      {"pm_settling_point_s", "PM settled at", "s", "time from which the phase counts as settled", false, [](const chirp_t& c) { return c.pm_settling_point; }},
      {"pm_settling_time_s", "PM settling", "s", "that time less the chirp's start", false, [](const chirp_t& c) { return c.figures.pm_settling_time; }},
      {"pm_settling_length_s", "PM settled for", "s", "from that time to the chirp's end", false, [](const chirp_t& c) { return c.figures.pm_settling_length; }},
      {"power_avg_dbm", "avg. power", "dBm", "mean power over the deviation window", true, [](const chirp_t& c) { return c.figures.power_avg; }},
      {"power_peak_dbm", "peak power", "dBm", "highest power of a sample", false, [](const chirp_t& c) { return c.figures.power_peak; }},
      {"power_min_dbm", "lowest power", "dBm", "lowest power of a sample", false, [](const chirp_t& c) { return c.figures.power_min; }},
      {"power_pk_dev_db", "power range", "dB", "highest less lowest power", false, [](const chirp_t& c) { return c.figures.power_pk_dev; }},
      {"sweep_hz", "sweep", "Hz", "magnitude of the slope times the length: a bandwidth that noise does not inflate", true, sweep_of},
      {"idle_s", "idle", "s", "gap to the chirp before; none for the first", false, [](const chirp_t& c) { return c.idle; }},
      {"period_s", "period", "s", "start less the start of the chirp before; none for the first", false, [](const chirp_t& c) { return c.period; }},
      {"fm_settled_s", "freq. settled after", "s", "from the start until the smoothed frequency stays within the tolerance", false, [](const chirp_t& c) { return c.settling.frequency_time; }},
      {"pm_settled_s", "phase settled after", "s", "from the start until the phase stays within the tolerance", false, [](const chirp_t& c) { return c.settling.phase_time; }},
      {"overshoot_hz", "overshoot", "Hz", "largest deviation of the smoothed frequency in the chirp's first half, signed", false, [](const chirp_t& c) { return c.settling.overshoot; }},
      {"fit_slope_khz_per_us", "fit slope", "kHz/us", "slope of the parabola fitted to the phase", false, [](const chirp_t& c) { return c.fit.slope * 1e-9; }},
      {"fit_slope_khz_per_us_u", "fit slope u", "kHz/us", "its standard uncertainty", false, [](const chirp_t& c) { return c.fit.slope_u * 1e-9; }},
      {"fit_start_s", "fit start", "s", "time at which the frequency turns into the ramp, from the phase on both sides", false, [](const chirp_t& c) { return c.turns.start.place; }},
      {"fit_start_s_u", "fit start u", "s", "its standard uncertainty", false, [](const chirp_t& c) { return c.turns.start.u; }},
      {"fit_stop_s", "fit stop", "s", "time at which the frequency turns out of the ramp", false, [](const chirp_t& c) { return c.turns.stop.place; }},
      {"fit_stop_s_u", "fit stop u", "s", "its standard uncertainty", false, [](const chirp_t& c) { return c.turns.stop.u; }},
      {"fit_length_s", "fit length", "s", "fit stop less fit start", false, [](const chirp_t& c) { return c.turns.stop.place - c.turns.start.place; }},
      {"fit_length_s_u", "fit length u", "s", "its standard uncertainty", false, [](const chirp_t& c) { return std::hypot(c.turns.start.u, c.turns.stop.u); }},
      {"fit_freq_centre_hz", "fit centre freq.", "Hz", "the parabola's frequency in the middle of the chirp", false, [](const chirp_t& c) { return c.fit.freq_centre; }},
      {"fit_freq_centre_hz_u", "fit centre freq. u", "Hz", "its standard uncertainty", false, [](const chirp_t& c) { return c.fit.freq_centre_u; }},
      {"fit_curvature_hz", "fit curvature", "Hz", "frequency in the middle above the mean of that at both ends, by a cubic", false, [](const chirp_t& c) { return c.fit.curvature; }},
      {"fit_curvature_hz_u", "fit curvature u", "Hz", "its standard uncertainty", false, [](const chirp_t& c) { return c.fit.curvature_u; }},
      {"fit_phase_rms_rad", "fit RMS phase dev.", "rad", "RMS deviation of the phase from the parabola", false, [](const chirp_t& c) { return c.fit.rms; }},
  };
}
// clang-format on

}  // namespace

double sweep_of(const chirp_t& chirp) {
  constexpr double hz_per_s = 1e9;  // in a kHz/us
  return std::abs(chirp.figures.slope) * hz_per_s * chirp.figures.length;
}

const std::vector<figure_t>& figure_table() {
  static const std::vector<figure_t> table = make_table();
  return table;
}

const figure_t& figure_named(std::string_view column) {
  std::vector<std::string_view> columns;
  for (const figure_t& figure : figure_table()) {
    if (figure.column == column) {
      return figure;
    }
    columns.push_back(figure.column);
  }
  throw input_error_t("there is no figure '{}'; the nearest is {}", column,
                      nearest_name(column, columns));
}

bool needs_centre(const figure_t& figure) { return figure.column.starts_with("rf_"); }

bool is_place(const figure_t& figure) {
  return figure.column == "start_s" || figure.column == "stop_s" ||
         figure.column == "fit_start_s" || figure.column == "fit_stop_s" ||
         figure.column.ends_with("_settling_point_s");
}

std::string_view direction_of(const chirp_t& chirp) {
  return chirp.figures.slope < 0.0 ? "down" : "up";
}

}  // namespace orn::fmcw_host
