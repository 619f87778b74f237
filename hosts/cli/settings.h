#pragma once

#include <fmcw_demod/fmcw_demod.h>

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace fmcw_cli {

/// One field of the configuration record that a user may set. Every field's values are exact as
/// doubles.
struct setting_t {
  enum class kind_t { real, whole, flag };

  std::string_view name;  ///< the record's own
  kind_t kind;
  double lowest;   ///< smallest allowed value
  double highest;  ///< largest allowed value
  bool above;      ///< whether `lowest` itself is out
  std::string_view meaning;
  double (*get)(const orn::fmcw_demod_lib::fmcw_demod_config_t&);
  void (*set)(orn::fmcw_demod_lib::fmcw_demod_config_t&, double);

  /// Range in words, for messages.
  std::string allowed() const;
};

/// Every setting, in the record's order.
const std::vector<setting_t>& settings();

/// Applies the settings of a JSON file, an object of names and values. Throws input_error.
void apply_settings_file(const std::string& path, orn::fmcw_demod_lib::fmcw_demod_config_t& config);

/// Applies one "name=value". Throws input_error.
void apply_assignment(const std::string& assignment,
                      orn::fmcw_demod_lib::fmcw_demod_config_t& config);

/// Checks what single values cannot show: overlap against window, limits against each other. Throws
/// input_error.
void check_together(const orn::fmcw_demod_lib::fmcw_demod_config_t& config);

}  // namespace fmcw_cli
