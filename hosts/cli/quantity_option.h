#pragma once

#include <optional>
#include <string>

#include <CLI/CLI.hpp>

namespace fmcw_cli {

/// What the value of an option counts, as messages and the help tell it.
struct quantity_t {
  const char* unit;     ///< "s", "Hz", "ohm", "V", "dB", "dBm"; "": a plain number or percents
  const char* allowed;  ///< "above 0"
  const char* example;  ///< "100us"
};

/// Adds an option whose value may have a unit with a prefix, as settings may. Its value so far is
/// the default that the help shows. What is no number in that unit throws input_error_t with unit,
/// range and example; the range itself is the command's affair.
CLI::Option* add_quantity(CLI::App& command, const std::string& name, double& value,
                          const quantity_t& quantity, const std::string& description);
/// The same without a default.
CLI::Option* add_quantity(CLI::App& command, const std::string& name, std::optional<double>& value,
                          const quantity_t& quantity, const std::string& description);

}  // namespace fmcw_cli
