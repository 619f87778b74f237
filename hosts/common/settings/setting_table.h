#pragma once

#include "common/settings/settings.h"

#include <string_view>
#include <vector>

namespace orn::fmcw_host {

/// One setting as a user sees it, by the name of its field in the configuration record. The value
/// of every kind is exact as a double.
struct setting_t {
  enum class kind_t { real, whole, impedance, flag, search };
  /// What a setting takes part in.
  enum class part_t { figures, frames, limits, spectrogram, nothing };

  std::string_view name;
  kind_t kind;
  part_t part;
  std::string_view unit;
  std::string_view rule;   ///< what is accepted
  std::string_view limit;  ///< how another setting may move this one, empty if none does
  std::string_view meaning;
  double (*get)(const settings_t&);
  bool (*set)(settings_t&, double);  ///< false: rejected, or held already
};

/// Every setting, each after those that limit it: the order in which they are applied.
const std::vector<setting_t>& setting_table();

/// The setting of that name. Throws input_error_t naming `source` and the nearest name.
const setting_t& setting_named(std::string_view name, std::string_view source);

/// A value as it is written in profiles and on the command line: true, 50, 2e-05, spans.
std::string value_text(const setting_t& setting, double value);

/// The same for people, with a unit: 20us.
std::string readable_text(const setting_t& setting, double value);

/// A value that such a setting could have, to show how it is written: "20us".
std::string_view example_of(const setting_t& setting);

/// The name among `known` that differs from `name` by the fewest letters.
std::string_view nearest_name(std::string_view name, const std::vector<std::string_view>& known);

}  // namespace orn::fmcw_host
