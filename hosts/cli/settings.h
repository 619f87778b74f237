#pragma once

#include <fmcw_demod/fmcw_demod.h>

#include <string>
#include <string_view>
#include <vector>

namespace fmcw_cli {

using manager_t = orn::fmcw_demod_lib::fmcw_demod_configure_manager_t;

/// One setting as a user sees it, by the name of its field in the configuration record. The value
/// of every kind is exact as a double.
struct setting_t {
  enum class kind_t { real, whole, impedance, flag };

  std::string_view name;
  kind_t kind;
  std::string_view unit;
  std::string_view rule;   ///< what the manager accepts
  std::string_view limit;  ///< how another setting may move this one, empty if none does
  std::string_view meaning;
  double (*get)(const manager_t&);
  bool (*set)(manager_t&, double);  ///< false: rejected, or held already
};

/// Every setting, each after those that limit it: the order in which they are applied.
const std::vector<setting_t>& settings();

/// Settings as a user gave them: a file, then assignments, which win.
struct settings_source_t {
  std::string file;                      ///< JSON object of names and values, or empty
  std::vector<std::string> assignments;  ///< "name=value"
};

/// Applies a source to a manager. Returns a line for each setting that a limit moved away from what
/// was asked for. Throws input_error naming the rule that rejected a value.
std::vector<std::string> apply_settings(const settings_source_t& source, manager_t& manager);

/// Writes all settings with default, unit, rule, limit and meaning.
void print_settings(bool as_json);

}  // namespace fmcw_cli
