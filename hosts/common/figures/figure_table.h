#pragma once

#include "common/figures/chirp.h"

#include <string_view>
#include <vector>

namespace orn::fmcw_host {

/// One figure of a chirp: a column of every table.
struct figure_t {
  std::string_view column;   ///< in CSV, JSON and arrays: "slope_khz_per_us"
  std::string_view title;    ///< for people: "slope"
  std::string_view unit;     ///< of `get`: "s", "Hz", "kHz/us", "rad", "dBm", "dB"; "" for a ratio
  std::string_view meaning;  ///< a sentence without its point
  bool chief;                ///< shown where not every figure is
  double (*get)(const chirp_t&);
};

/// Every figure, in the order of the columns.
const std::vector<figure_t>& figure_table();

/// Magnitude of the fitted slope times the length [Hz].
double sweep_of(const chirp_t& chirp);

/// The figure of that column. Throws input_error_t with the nearest name.
const figure_t& figure_named(std::string_view column);

/// Whether the figure needs the RF frequency of 0 Hz.
bool needs_centre(const figure_t& figure);

/// Whether the figure is a time on the recording's axis: says where a chirp is, not how it is.
bool is_place(const figure_t& figure);

/// "up" or "down", by the sign of the fitted slope.
std::string_view direction_of(const chirp_t& chirp);

}  // namespace orn::fmcw_host
