#pragma once

#include "common/figures/figure_table.h"

#include <optional>
#include <string>
#include <string_view>

namespace orn::fmcw_host {

/// A figure's column without its unit: "slope" for "slope_khz_per_us".
std::string short_name(const figure_t& figure);

/// The figure that a user calls by its column or its short name. Throws input_error_t with the
/// candidates where several figures are called so, else with the nearest name.
const figure_t& figure_called(std::string_view name);

/// Reads a value of a figure: a plain number is in the unit of its column, "0.4MHz/us" in any unit
/// of its kind. Nothing when the text is no finite number of that kind.
/// unit  of the column: "s", "Hz", "kHz/us", "rad", "dBm", "dB", or "" for a ratio, where "%" is a
///       hundredth
std::optional<double> parse_figure_value(std::string_view text, std::string_view unit);

}  // namespace orn::fmcw_host
