#include "settings.h"

#include "commands.h"
#include "errors.h"
#include "table.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fstream>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include <nlohmann/json.hpp>

namespace fmcw_cli {
namespace {

using nlohmann::ordered_json;
using orn::fmcw_demod_lib::fmcw_chirp_config_t;
using kind_t = setting_t::kind_t;

constexpr std::string_view any_code = "a whole number from 0 up";
constexpr std::string_view any_real = "any number";
constexpr std::string_view above_0 = "above 0";
constexpr std::string_view from_0 = "from 0 up";
constexpr std::string_view fraction = "from 0 to 1";

template <class Value>
Value argument_of(bool (manager_t::*)(Value));

/// A setting with a setter and a getter of its own.
template <auto Set, auto Get>
setting_t setting(std::string_view name, kind_t kind, std::string_view unit, std::string_view rule,
                  std::string_view limit, std::string_view meaning) {
  return {name,
          kind,
          unit,
          rule,
          limit,
          meaning,
          [](const manager_t& manager) { return static_cast<double>((manager.*Get)()); },
          [](manager_t& manager, double value) {
            return (manager.*Set)(static_cast<decltype(argument_of(Set))>(value));
          }};
}

/// One of the three that the manager holds together.
template <auto Field>
setting_t chirp_setting(std::string_view name, kind_t kind, std::string_view unit,
                        std::string_view rule, std::string_view meaning) {
  return {name,
          kind,
          unit,
          rule,
          "",
          meaning,
          [](const manager_t& manager) {
            return static_cast<double>(manager.get_chirp_config().*Field);
          },
          [](manager_t& manager, double value) {
            fmcw_chirp_config_t chirp = manager.get_chirp_config();
            chirp.*Field = static_cast<std::remove_reference_t<decltype(chirp.*Field)>>(value);
            return manager.set_chirp_config(chirp);
          }};
}

// A setting on one line.
// clang-format off
std::vector<setting_t> make_settings() {
  using M = manager_t;
  using C = fmcw_chirp_config_t;
  constexpr auto real = kind_t::real;
  constexpr auto whole = kind_t::whole;
  return {
      setting<&M::set_signal_mode, &M::get_signal_mode>("signal_mode", whole, "", any_code, "", "carried"),
      setting<&M::set_iq_map, &M::get_iq_map>("iq_map", whole, "", any_code, "", "carried"),
      setting<&M::set_freq_center, &M::get_freq_center>("freq_center", real, "Hz", above_0, "", "centre frequency of the capture; carried"),
      setting<&M::set_fs, &M::get_fs>("fs", real, "Hz", above_0, "", "sample rate; the capture's own unless set"),
      setting<&M::set_impedance, &M::get_impedance>("impedance", kind_t::impedance, "ohm", "50 or 75", "", "load impedance"),
      setting<&M::set_chirp_detect, &M::get_chirp_detect>("chirp_detect", whole, "", any_code, "", "1: slope band around the measured median slope"),
      setting<&M::set_chirp_set, &M::get_chirp_set>("chirp_set", whole, "", any_code, "", "1, with chirp_detect 1: slope band of 5 % of the median slope"),
      setting<&M::set_window_length, &M::get_window_length>("window_length", whole, "samples", "a whole number from 2 up", "", "spectrogram window"),
      setting<&M::set_window_overlap, &M::get_window_overlap>("window_overlap", whole, "samples", "a whole number below window_length", "", "shared by neighbouring windows"),
      chirp_setting<&C::ref_slope>("ref_slope", real, "Hz/s", any_real, "centre of the slope band"),
      chirp_setting<&C::slope_tol>("slope_tol", real, "Hz/s", any_real, "half-width of the slope band"),
      chirp_setting<&C::chirp_option>("chirp_option", whole, "", "a whole number", "carried"),
      setting<&M::set_chirp_start, &M::get_chirp_start>("chirp_start", whole, "", any_code, "", "first selected chirp of a frame"),
      setting<&M::set_chirp_count, &M::get_chirp_count>("chirp_count", whole, "", "a whole number from 1 up", "", "number of selected chirps"),
      setting<&M::set_time_auto_mode, &M::get_time_auto_mode>("time_auto_mode", whole, "", any_code, "", "1: analyse the whole capture, else meas_time of it"),
      setting<&M::set_meas_time, &M::get_meas_time>("meas_time", real, "s", above_0, "", "longest analysed duration"),
      setting<&M::set_time_gate_len, &M::get_time_gate_len>("time_gate_len", real, "s", above_0, "at most meas_time", "frame length"),
      setting<&M::set_time_gate_start, &M::get_time_gate_start>("time_gate_start", real, "s", from_0, "", "carried"),
      setting<&M::set_max_chirp_len, &M::get_max_chirp_len>("max_chirp_len", real, "s", from_0, "", "chirps are shorter"),
      setting<&M::set_min_chirp_len, &M::get_min_chirp_len>("min_chirp_len", real, "s", from_0, "at most max_chirp_len", "chirps are longer"),
      setting<&M::set_from_start, &M::get_from_start>("from_start", real, "", fraction, "", "fraction of the span skipped at its start"),
      setting<&M::set_from_end, &M::get_from_end>("from_end", real, "", fraction, "at most 1 - from_start", "fraction of the span skipped at its end"),
      setting<&M::set_st_config, &M::get_st_config>("st_config", whole, "", any_code, "", "1: the slope band finds a chirp's ends, else analysis_exclude"),
      setting<&M::set_analysis_exclude, &M::get_analysis_exclude>("analysis_exclude", real, "", fraction, "", "fraction of a chirp cut off at each end"),
      setting<&M::set_devlength_ref, &M::get_devlength_ref>("devlength_ref", whole, "", any_code, "", "1: deviations over devlength_len, else between the offsets"),
      setting<&M::set_devlength_len, &M::get_devlength_len>("devlength_len", real, "", fraction, "", "centred share of a chirp for its deviations"),
      setting<&M::set_devlength_offset_begin, &M::get_devlength_offset_begin>("devlength_offset_begin", real, "s", any_real, "0 or more while devlength_ref is 0", "cut off a chirp's start"),
      setting<&M::set_devlength_offset_end, &M::get_devlength_offset_end>("devlength_offset_end", real, "s", any_real, "0 or more while devlength_ref is 0", "cut off a chirp's end"),
      setting<&M::set_chirp_state_deviation, &M::get_chirp_state_deviation>("chirp_state_deviation", kind_t::flag, "", "true or false", "", "carried"),
      setting<&M::set_fm_settling_tol, &M::get_fm_settling_tol>("fm_settling_tol", real, "", from_0, "", "carried"),
      setting<&M::set_pm_settling_tol, &M::get_pm_settling_tol>("pm_settling_tol", real, "", from_0, "", "carried"),
      setting<&M::set_phase_noise_start, &M::get_phase_noise_start>("phase_noise_start", whole, "", any_code, "", "carried"),
      setting<&M::set_phase_noise_end, &M::get_phase_noise_end>("phase_noise_end", whole, "", any_code, "", "carried"),
      setting<&M::set_display_region, &M::get_display_region>("display_region", whole, "", any_code, "", "carried"),
      setting<&M::set_display_chirpNO, &M::get_display_chirpNO>("display_chirpNO", whole, "", "a whole number below chirp_start + chirp_count", "", "chirp of the first frame shown in detail"),
  };
}
// clang-format on

/// One value that a user asked for.
struct request_t {
  std::size_t setting;  ///< index into settings()
  std::optional<double> value;
  std::string text;
  std::string source;
};

std::size_t index_of(const std::string& name, const std::string& source) {
  std::string names;
  for (std::size_t i = 0; i < settings().size(); ++i) {
    if (settings()[i].name == name) {
      return i;
    }
    names += names.empty() ? "" : ", ";
    names += settings()[i].name;
  }
  throw input_error("{}: there is no setting '{}'; allowed are {}", source, name, names);
}

/// Whether the setting's type holds the value at all; its range is the manager's affair.
bool is_representable(const setting_t& setting, double value) {
  switch (setting.kind) {
    case kind_t::real:
      return std::isfinite(value);
    case kind_t::impedance:
      return value == 50.0 || value == 75.0;
    case kind_t::flag:
      return value == 0.0 || value == 1.0;
    default:
      return value == std::trunc(value) &&
             (setting.name == "chirp_option"
                  ? std::abs(value) <= std::numeric_limits<std::int32_t>::max()
                  : value >= 0.0 && value <= std::numeric_limits<std::uint32_t>::max());
  }
}

std::optional<double> parse_value(const setting_t& setting, const std::string& text) {
  if (setting.kind == kind_t::flag && (text == "true" || text == "false")) {
    return text == "true" ? 1.0 : 0.0;
  }
  double value = 0.0;
  const char* const end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, value);
  if (parsed.ec != std::errc() || parsed.ptr != end) {
    return std::nullopt;
  }
  return value;
}

void read_file(const std::string& path, std::vector<request_t>& requests) {
  std::ifstream file(path);
  if (!file) {
    throw input_error("{}: cannot be read; expected a JSON file of settings", path);
  }
  const auto values = nlohmann::json::parse(file, nullptr, false);
  if (values.is_discarded() || !values.is_object()) {
    throw input_error("{}: is not a JSON object; expected {{\"setting\": value, ...}}", path);
  }
  for (const auto& [name, value] : values.items()) {
    const std::size_t index = index_of(name, path);
    std::optional<double> number;
    if (settings()[index].kind == kind_t::flag && value.is_boolean()) {
      number = value.get<bool>() ? 1.0 : 0.0;
    } else if (value.is_number()) {
      number = value.get<double>();
    }
    requests.push_back({index, number, value.dump(), path});
  }
}

request_t parse_assignment(const std::string& assignment) {
  const std::size_t equals = assignment.find('=');
  if (equals == std::string::npos) {
    throw input_error("--set: '{}' is no assignment; expected name=value", assignment);
  }
  const std::size_t index = index_of(assignment.substr(0, equals), "--set");
  const std::string text = assignment.substr(equals + 1);
  return {index, parse_value(settings()[index], text), text, "--set"};
}

void apply(const request_t& request, manager_t& manager) {
  const setting_t& setting = settings()[request.setting];
  const bool held = request.value && setting.get(manager) == *request.value;
  const bool accepted = held || (request.value && is_representable(setting, *request.value) &&
                                 setting.set(manager, *request.value));
  if (!accepted) {
    throw input_error("{}: {} cannot be '{}'; allowed is {}", request.source, setting.name,
                      request.text, setting.rule);
  }
}

std::string default_text(const setting_t& setting) {
  const double value = setting.get(manager_t());
  return setting.kind == kind_t::flag ? (value != 0.0 ? "true" : "false")
                                      : fmt::format("{}", value);
}

}  // namespace

const std::vector<setting_t>& settings() {
  static const std::vector<setting_t> all = make_settings();
  return all;
}

std::vector<std::string> apply_settings(const settings_source_t& source, manager_t& manager) {
  std::vector<request_t> requests;
  if (!source.file.empty()) {
    read_file(source.file, requests);
  }
  for (const std::string& assignment : source.assignments) {
    requests.push_back(parse_assignment(assignment));
  }
  std::vector<double> wanted;
  for (const setting_t& setting : settings()) {
    wanted.push_back(setting.get(manager));
  }
  std::stable_sort(requests.begin(), requests.end(),
                   [](const request_t& a, const request_t& b) { return a.setting < b.setting; });
  for (const request_t& request : requests) {
    apply(request, manager);
    wanted[request.setting] = *request.value;
  }
  if (manager.get_window_overlap() >= manager.get_window_length()) {
    throw input_error("window_overlap cannot be {}; allowed are values below window_length, {}",
                      manager.get_window_overlap(), manager.get_window_length());
  }
  std::vector<std::string> moved;
  for (std::size_t i = 0; i < settings().size(); ++i) {
    const double value = settings()[i].get(manager);
    if (value != wanted[i]) {
      moved.push_back(fmt::format("{} moved from {} to {}: {}", settings()[i].name, wanted[i],
                                  value, settings()[i].limit));
    }
  }
  return moved;
}

void print_settings(bool as_json) {
  if (as_json) {
    ordered_json all = ordered_json::array();
    for (const setting_t& setting : settings()) {
      const double value = setting.get(manager_t());
      all.push_back({{"name", setting.name},
                     {"default", value},
                     {"unit", setting.unit},
                     {"allowed", setting.rule},
                     {"limit", setting.limit},
                     {"meaning", setting.meaning}});
      if (setting.kind == kind_t::flag) {
        all.back()["default"] = value != 0.0;
      }
    }
    std::cout << all.dump(2) << '\n';
    return;
  }
  table_t table({"setting", "default", "unit", "allowed", "limit", "meaning"}, table_t::left);
  for (const setting_t& setting : settings()) {
    table.add({std::string(setting.name), default_text(setting), std::string(setting.unit),
               std::string(setting.rule), std::string(setting.limit),
               std::string(setting.meaning)});
  }
  std::cout << table;
}

void describe_settings(CLI::App& app) {
  auto* const command =
      app.add_subcommand("settings", "Show every setting with default, unit, limits and meaning");
  const auto as_json = std::make_shared<bool>(false);
  command->add_flag("--json", *as_json, "As JSON");
  command->callback([as_json] { print_settings(*as_json); });
}

}  // namespace fmcw_cli
