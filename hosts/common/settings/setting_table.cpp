#include "common/settings/setting_table.h"

#include "common/errors.h"
#include "common/settings/units.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <string>
#include <type_traits>
#include <vector>

#include <fmt/format.h>

namespace orn::fmcw_host {
namespace {

using fmcw_demod_lib::fmcw_chirp_config_t;
using kind_t = setting_t::kind_t;
using part_t = setting_t::part_t;

constexpr std::string_view any_code = "a whole number from 0 up";
constexpr std::string_view any_real = "any number";
constexpr std::string_view above_0 = "above 0";
constexpr std::string_view from_0 = "from 0 up";
constexpr std::string_view fraction = "from 0 to 1";

template <class Value>
Value argument_of(bool (manager_t::*)(Value));

/// A setting with a setter and a getter of its own.
template <auto Set, auto Get>
setting_t setting(std::string_view name, kind_t kind, part_t part, std::string_view unit,
                  std::string_view rule, std::string_view limit, std::string_view meaning) {
  return {name,
          kind,
          part,
          unit,
          rule,
          limit,
          meaning,
          [](const settings_t& settings) { return static_cast<double>((settings.manager.*Get)()); },
          [](settings_t& settings, double value) {
            return (settings.manager.*Set)(static_cast<decltype(argument_of(Set))>(value));
          }};
}

/// One of the three that the manager holds together.
template <auto Field>
setting_t chirp_setting(std::string_view name, kind_t kind, part_t part, std::string_view unit,
                        std::string_view rule, std::string_view meaning) {
  return {name,
          kind,
          part,
          unit,
          rule,
          "",
          meaning,
          [](const settings_t& settings) {
            return static_cast<double>(settings.manager.get_chirp_config().*Field);
          },
          [](settings_t& settings, double value) {
            fmcw_chirp_config_t chirp = settings.manager.get_chirp_config();
            chirp.*Field = static_cast<std::remove_reference_t<decltype(chirp.*Field)>>(value);
            return settings.manager.set_chirp_config(chirp);
          }};
}

// A setting on one line.
// clang-format off
std::vector<setting_t> make_table() {
  using M = manager_t;
  using C = fmcw_chirp_config_t;
  constexpr auto real = kind_t::real;
  constexpr auto whole = kind_t::whole;
  return {
      setting<&M::set_signal_mode, &M::get_signal_mode>("signal_mode", whole, part_t::nothing, "", any_code, "", "enters no figure"),
      setting<&M::set_iq_map, &M::get_iq_map>("iq_map", whole, part_t::nothing, "", any_code, "", "enters no figure"),
      setting<&M::set_freq_center, &M::get_freq_center>("freq_center", real, part_t::nothing, "Hz", above_0, "", "centre frequency of the capture; enters no figure"),
      setting<&M::set_fs, &M::get_fs>("fs", real, part_t::figures, "Hz", above_0, "", "sample rate; the recording's own, another one is refused"),
      setting<&M::set_impedance, &M::get_impedance>("impedance", kind_t::impedance, part_t::figures, "ohm", "50 or 75", "", "load impedance"),
      setting<&M::set_chirp_detect, &M::get_chirp_detect>("chirp_detect", whole, part_t::figures, "", any_code, "", "1: slope band around the measured median slope"),
      setting<&M::set_chirp_set, &M::get_chirp_set>("chirp_set", whole, part_t::figures, "", any_code, "", "1, with chirp_detect 1: slope band of 5 % of the median slope"),
      setting<&M::set_window_length, &M::get_window_length>("window_length", whole, part_t::spectrogram, "samples", "a whole number from 2 up", "", "spectrogram window"),
      setting<&M::set_window_overlap, &M::get_window_overlap>("window_overlap", whole, part_t::spectrogram, "samples", "a whole number below window_length", "", "shared by neighbouring windows"),
      chirp_setting<&C::ref_slope>("ref_slope", real, part_t::figures, "Hz/s", any_real, "centre of the slope band, where chirp_detect is not 1"),
      chirp_setting<&C::slope_tol>("slope_tol", real, part_t::figures, "Hz/s", any_real, "half-width of the slope band"),
      chirp_setting<&C::chirp_option>("chirp_option", whole, part_t::nothing, "", "a whole number", "enters no figure"),
      setting<&M::set_chirp_start, &M::get_chirp_start>("chirp_start", whole, part_t::figures, "", any_code, "", "first selected chirp of a frame"),
      setting<&M::set_chirp_count, &M::get_chirp_count>("chirp_count", whole, part_t::figures, "", "a whole number from 1 up", "", "number of selected chirps"),
      setting<&M::set_time_auto_mode, &M::get_time_auto_mode>("time_auto_mode", whole, part_t::frames, "", any_code, "", "1: analyse the whole capture, else meas_time of it"),
      setting<&M::set_meas_time, &M::get_meas_time>("meas_time", real, part_t::frames, "s", above_0, "", "longest analysed duration"),
      setting<&M::set_time_gate_len, &M::get_time_gate_len>("time_gate_len", real, part_t::frames, "s", above_0, "at most meas_time", "frame length"),
      setting<&M::set_time_gate_start, &M::get_time_gate_start>("time_gate_start", real, part_t::nothing, "s", from_0, "", "enters no figure"),
      setting<&M::set_max_chirp_len, &M::get_max_chirp_len>("max_chirp_len", real, part_t::limits, "s", from_0, "", "chirps are shorter"),
      setting<&M::set_min_chirp_len, &M::get_min_chirp_len>("min_chirp_len", real, part_t::limits, "s", from_0, "at most max_chirp_len", "chirps are longer"),
      setting<&M::set_from_start, &M::get_from_start>("from_start", real, part_t::frames, "", fraction, "", "fraction of the span skipped at its start"),
      setting<&M::set_from_end, &M::get_from_end>("from_end", real, part_t::frames, "", fraction, "at most 1 - from_start", "fraction of the span skipped at its end"),
      setting<&M::set_st_config, &M::get_st_config>("st_config", whole, part_t::figures, "", any_code, "", "1: the slope band finds a chirp's ends, else analysis_exclude"),
      setting<&M::set_analysis_exclude, &M::get_analysis_exclude>("analysis_exclude", real, part_t::figures, "", fraction, "", "fraction of a chirp cut off at each end"),
      setting<&M::set_devlength_ref, &M::get_devlength_ref>("devlength_ref", whole, part_t::figures, "", any_code, "", "1: deviations over devlength_len, else between the offsets"),
      setting<&M::set_devlength_len, &M::get_devlength_len>("devlength_len", real, part_t::figures, "", fraction, "", "centred share of a chirp for its deviations"),
      setting<&M::set_devlength_offset_begin, &M::get_devlength_offset_begin>("devlength_offset_begin", real, part_t::figures, "s", any_real, "0 or more while devlength_ref is 0", "cut off a chirp's start"),
      setting<&M::set_devlength_offset_end, &M::get_devlength_offset_end>("devlength_offset_end", real, part_t::figures, "s", any_real, "0 or more while devlength_ref is 0", "cut off a chirp's end"),
      setting<&M::set_chirp_state_deviation, &M::get_chirp_state_deviation>("chirp_state_deviation", kind_t::flag, part_t::nothing, "", "true or false", "", "enters no figure"),
      setting<&M::set_fm_settling_tol, &M::get_fm_settling_tol>("fm_settling_tol", real, part_t::nothing, "", from_0, "", "enters no figure"),
      setting<&M::set_pm_settling_tol, &M::get_pm_settling_tol>("pm_settling_tol", real, part_t::nothing, "", from_0, "", "enters no figure"),
      setting<&M::set_phase_noise_start, &M::get_phase_noise_start>("phase_noise_start", whole, part_t::nothing, "", any_code, "", "enters no figure"),
      setting<&M::set_phase_noise_end, &M::get_phase_noise_end>("phase_noise_end", whole, part_t::nothing, "", any_code, "", "enters no figure"),
      setting<&M::set_display_region, &M::get_display_region>("display_region", whole, part_t::nothing, "", any_code, "", "enters no figure"),
      setting<&M::set_display_chirpNO, &M::get_display_chirpNO>("display_chirpNO", whole, part_t::figures, "", "a whole number below chirp_start + chirp_count", "", "chirp of the first frame shown in detail"),
      {"search", kind_t::search, part_t::figures, "", "automatic, spans or frames", "", "automatic: limits that suit the recording; spans: the limits as they stand; frames: the library's frames",
       [](const settings_t& settings) { return static_cast<double>(settings.search); },
       [](settings_t& settings, double value) { settings.search = static_cast<search_t>(value); return true; }},
      {"rate_doublings", whole, part_t::figures, "", "a whole number from 0 to 30", "", "the library is told a rate 2^n times higher and its figures are scaled back: lifts slow chirps above its dead zone",
       [](const settings_t& settings) { return static_cast<double>(settings.rate_doublings); },
       [](settings_t& settings, double value) { settings.rate_doublings = static_cast<std::uint32_t>(value); return value <= 30.0; }},
  };
}
// clang-format on

constexpr std::array search_names = {"automatic", "spans", "frames"};

/// Letters to insert, remove or replace to turn one word into the other.
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (const char letter : a) {
    std::size_t diagonal = row[0]++;
    for (std::size_t i = 1; i <= b.size(); ++i) {
      const std::size_t replaced = diagonal + (letter == b[i - 1] ? 0 : 1);
      diagonal = row[i];
      row[i] = std::min({replaced, row[i] + 1, row[i - 1] + 1});
    }
  }
  return row.back();
}

}  // namespace

const std::vector<setting_t>& setting_table() {
  static const std::vector<setting_t> table = make_table();
  return table;
}

const setting_t& setting_named(std::string_view name, std::string_view source) {
  std::vector<std::string_view> names;
  for (const setting_t& setting : setting_table()) {
    if (setting.name == name) {
      return setting;
    }
    names.push_back(setting.name);
  }
  throw input_error_t("{}: there is no setting '{}'; the nearest is {} (fmcw settings lists all)",
                      source, name, nearest_name(name, names));
}

std::string value_text(const setting_t& setting, double value) {
  switch (setting.kind) {
    case kind_t::flag:
      return value != 0.0 ? "true" : "false";
    case kind_t::search:
      return search_names.at(static_cast<std::size_t>(value));
    default:
      return fmt::format("{}", value);
  }
}

std::string readable_text(const setting_t& setting, double value) {
  return setting.kind == kind_t::real ? quantity_text(value, setting.unit)
                                      : value_text(setting, value);
}

std::string_view example_of(const setting_t& setting) {
  switch (setting.kind) {
    case kind_t::flag:
      return "true";
    case kind_t::search:
      return "spans";
    case kind_t::impedance:
      return "50";
    case kind_t::whole:
      return "2";
    case kind_t::real:
      break;
  }
  return setting.unit == "s"      ? "20us"
         : setting.unit == "Hz"   ? "125M"
         : setting.unit == "Hz/s" ? "1.6MHz/us"
                                  : "5%";
}

std::string_view nearest_name(std::string_view name, const std::vector<std::string_view>& known) {
  return *std::min_element(known.begin(), known.end(),
                           [&](auto a, auto b) { return distance(name, a) < distance(name, b); });
}

}  // namespace orn::fmcw_host
