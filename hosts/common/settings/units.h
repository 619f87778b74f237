#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orn::fmcw_host {

/// Reads a number with an optional unit and metric prefixes: "125M", "20us", "1.6MHz/us", "5%".
///
/// text  a decimal number, optional spaces, optional unit
/// unit  what the number counts: "s", "Hz", "Hz/s", "ohm", "samples", or "" for a plain number, of
///       which "%" is a hundredth
///
/// The result is the double nearest to the decimal value: "20us" is 20e-6. Nothing when the text is
/// no number in that unit. "nan" and "inf" are no numbers.
std::optional<double> parse_quantity(std::string_view text, std::string_view unit);

/// The shortest text that parse_quantity() turns into exactly this value, with the prefix that
/// suits its magnitude: 2e-05 s is "20us". Values that are not finite come out as "nan", "inf".
std::string quantity_text(double value, std::string_view unit);

/// The value rounded to so many significant decimal digits.
double rounded(double value, int digits);

}  // namespace orn::fmcw_host
