#include "settings.h"

#include "errors.h"

#include <charconv>
#include <cmath>
#include <fstream>
#include <limits>
#include <optional>
#include <utility>

#include <nlohmann/json.hpp>

namespace fmcw_cli {
namespace {

using orn::fmcw_demod_lib::fmcw_advanced_config_t;
using orn::fmcw_demod_lib::fmcw_chirp_config_t;
using orn::fmcw_demod_lib::fmcw_demod_config_t;
using orn::fmcw_demod_lib::fmcw_devsetting_config_t;
using orn::fmcw_demod_lib::fmcw_window_config_t;
using kind_t = setting_t::kind_t;

constexpr double max_real = std::numeric_limits<double>::max();
constexpr double max_uint = std::numeric_limits<std::uint32_t>::max();
constexpr double max_int = std::numeric_limits<std::int32_t>::max();

/// Follows member pointers from the record to a field.
template <class Object, class First, class... Rest>
auto& field_at(Object& object, First first, Rest... rest) {
  if constexpr (sizeof...(rest) == 0) {
    return object.*first;
  } else {
    return field_at(object.*first, rest...);
  }
}

template <auto... Path>
setting_t setting(std::string_view name, kind_t kind, double lowest, double highest, bool above,
                  std::string_view meaning) {
  return {name,
          kind,
          lowest,
          highest,
          above,
          meaning,
          [](const fmcw_demod_config_t& config) {
            return static_cast<double>(field_at(config, Path...));
          },
          [](fmcw_demod_config_t& config, double value) {
            auto& field = field_at(config, Path...);
            field = static_cast<std::remove_reference_t<decltype(field)>>(value);
          }};
}

std::vector<setting_t> make_settings() {
  using R = fmcw_demod_config_t;
  using A = fmcw_advanced_config_t;
  using D = fmcw_devsetting_config_t;
  constexpr auto adv = &R::advanced;
  constexpr auto dev = &R::devsetting;
  return {
      setting<&R::signal_mode>("signal_mode", kind_t::whole, 0, max_uint, false, "carried"),
      setting<&R::iq_map>("iq_map", kind_t::whole, 0, max_uint, false, "carried"),
      setting<&R::freq_center>("freq_center", kind_t::real, 0, max_real, true,
                               "centre frequency of the capture [Hz]; carried"),
      setting<&R::fs>("fs", kind_t::real, 0, max_real, true,
                      "sample rate [Hz]; the capture's own unless set"),
      setting<&R::impedance>("impedance", kind_t::real, 50, 75, false, "load [ohm], 50 or 75"),
      setting<&R::chirp_detect>("chirp_detect", kind_t::whole, 0, max_uint, false,
                                "1: slope band around the measured median slope"),
      setting<&R::chirp_set>("chirp_set", kind_t::whole, 0, max_uint, false,
                             "1, with chirp_detect 1: band of 5 % of the median slope"),
      setting<adv, &A::window, &fmcw_window_config_t::window_length>(
          "window_length", kind_t::whole, 2, max_uint, false, "spectrogram window [samples]"),
      setting<adv, &A::window, &fmcw_window_config_t::window_overlap>(
          "window_overlap", kind_t::whole, 0, max_uint, false,
          "samples shared by neighbouring windows, below window_length"),
      setting<adv, &A::chirp, &fmcw_chirp_config_t::ref_slope>(
          "ref_slope", kind_t::real, -max_real, max_real, false, "centre of the slope band [Hz/s]"),
      setting<adv, &A::chirp, &fmcw_chirp_config_t::slope_tol>(
          "slope_tol", kind_t::real, -max_real, max_real, false,
          "half-width of the slope band [Hz/s]"),
      setting<adv, &A::chirp, &fmcw_chirp_config_t::chirp_option>(
          "chirp_option", kind_t::whole, -max_int - 1, max_int, false, "carried"),
      setting<adv, &A::chirp_start>("chirp_start", kind_t::whole, 0, max_uint, false,
                                    "first selected chirp of a frame, from 0"),
      setting<adv, &A::chirp_count>("chirp_count", kind_t::whole, 1, max_uint, false,
                                    "number of selected chirps"),
      setting<adv, &A::time_auto_mode>("time_auto_mode", kind_t::whole, 0, max_uint, false,
                                       "1: analyse the whole capture, else meas_time of it"),
      setting<adv, &A::meas_time>("meas_time", kind_t::real, 0, max_real, true,
                                  "longest analysed duration [s]"),
      setting<adv, &A::time_gate_len>("time_gate_len", kind_t::real, 0, max_real, true,
                                      "frame length [s]"),
      setting<adv, &A::time_gate_start>("time_gate_start", kind_t::real, 0, max_real, false,
                                        "carried [s]"),
      setting<adv, &A::min_chirp_len>("min_chirp_len", kind_t::real, 0, max_real, false,
                                      "chirps are longer [s]"),
      setting<adv, &A::max_chirp_len>("max_chirp_len", kind_t::real, 0, max_real, false,
                                      "chirps are shorter [s]"),
      setting<adv, &A::from_start>("from_start", kind_t::real, 0, 1, false,
                                   "fraction of the span skipped at its start"),
      setting<adv, &A::from_end>("from_end", kind_t::real, 0, 1, false,
                                 "fraction of the span skipped at its end"),
      setting<adv, &A::st_config>("st_config", kind_t::whole, 0, max_uint, false,
                                  "1: slope band finds a chirp's ends, else analysis_exclude"),
      setting<adv, &A::analysis_exclude>("analysis_exclude", kind_t::real, 0, 1, false,
                                         "fraction of a chirp cut off at each end"),
      setting<adv, &A::devlength_ref>("devlength_ref", kind_t::whole, 0, max_uint, false,
                                      "1: deviations over devlength_len, else between offsets"),
      setting<adv, &A::devlength_len>("devlength_len", kind_t::real, 0, 1, false,
                                      "centred share of a chirp for its deviations"),
      setting<adv, &A::devlength_offset_begin>("devlength_offset_begin", kind_t::real, -max_real,
                                               max_real, false, "cut off a chirp's start [s]"),
      setting<adv, &A::devlength_offset_end>("devlength_offset_end", kind_t::real, -max_real,
                                             max_real, false, "cut off a chirp's end [s]"),
      setting<dev, &D::chirp_state_deviation>("chirp_state_deviation", kind_t::flag, 0, 1, false,
                                              "carried"),
      setting<dev, &D::fm_settling_tol>("fm_settling_tol", kind_t::real, 0, max_real, false,
                                        "carried"),
      setting<dev, &D::pm_settling_tol>("pm_settling_tol", kind_t::real, 0, max_real, false,
                                        "carried"),
      setting<dev, &D::phase_noise_start>("phase_noise_start", kind_t::whole, 0, max_uint, false,
                                          "carried"),
      setting<dev, &D::phase_noise_end>("phase_noise_end", kind_t::whole, 0, max_uint, false,
                                        "carried"),
      setting<&R::display_region>("display_region", kind_t::whole, 0, max_uint, false, "carried"),
      setting<&R::display_chirpNO>("display_chirpNO", kind_t::whole, 0, max_uint, false,
                                   "chirp of the first frame shown in detail, from 0"),
  };
}

const setting_t& setting_named(const std::string& name, const std::string& source) {
  for (const setting_t& setting : settings()) {
    if (setting.name == name) {
      return setting;
    }
  }
  std::string names;
  for (const setting_t& setting : settings()) {
    names += names.empty() ? "" : ", ";
    names += setting.name;
  }
  throw input_error("{}: there is no setting '{}'; allowed are {}", source, name, names);
}

bool is_allowed(const setting_t& setting, double value) {
  return std::isfinite(value) && value >= setting.lowest && value <= setting.highest &&
         !(setting.above && value == setting.lowest) &&
         (setting.kind == kind_t::real || value == std::trunc(value)) &&
         (setting.name != "impedance" || value == 50.0 || value == 75.0);
}

void apply(const setting_t& setting, std::optional<double> value, const std::string& text,
           const std::string& source, fmcw_demod_config_t& config) {
  if (!value || !is_allowed(setting, *value)) {
    throw input_error("{}: {} cannot be '{}'; allowed is {}", source, setting.name, text,
                      setting.allowed());
  }
  setting.set(config, *value);
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

}  // namespace

std::string setting_t::allowed() const {
  if (name == "impedance") {
    return "50 or 75";
  }
  if (kind == kind_t::flag) {
    return "true or false";
  }
  const char* const noun = kind == kind_t::whole ? "a whole number" : "a number";
  if (lowest <= -max_real) {
    return noun;
  }
  std::string text = fmt::format("{} {} {}", noun, above ? "above" : "from", lowest);
  if (highest < max_real) {
    text += fmt::format(" to {:.0f}", highest);
  } else if (!above) {
    text += " up";
  }
  return text;
}

const std::vector<setting_t>& settings() {
  static const std::vector<setting_t> all = make_settings();
  return all;
}

void apply_settings_file(const std::string& path, fmcw_demod_config_t& config) {
  std::ifstream file(path);
  if (!file) {
    throw input_error("{}: cannot be read; expected a JSON file of settings", path);
  }
  const auto values = nlohmann::json::parse(file, nullptr, false);
  if (values.is_discarded() || !values.is_object()) {
    throw input_error("{}: is not a JSON object; expected {{\"setting\": value, ...}}", path);
  }
  for (const auto& [name, value] : values.items()) {
    const setting_t& setting = setting_named(name, path);
    std::optional<double> number;
    if (setting.kind == kind_t::flag && value.is_boolean()) {
      number = value.get<bool>() ? 1.0 : 0.0;
    } else if (value.is_number()) {
      number = value.get<double>();
    }
    apply(setting, number, value.dump(), path, config);
  }
}

void apply_assignment(const std::string& assignment, fmcw_demod_config_t& config) {
  const std::size_t equals = assignment.find('=');
  if (equals == std::string::npos) {
    throw input_error("--set: '{}' is no assignment; expected name=value", assignment);
  }
  const setting_t& setting = setting_named(assignment.substr(0, equals), "--set");
  const std::string text = assignment.substr(equals + 1);
  apply(setting, parse_value(setting, text), text, "--set", config);
}

void check_together(const fmcw_demod_config_t& config) {
  const fmcw_advanced_config_t& advanced = config.advanced;
  const fmcw_window_config_t& window = advanced.window;
  if (window.window_overlap >= window.window_length) {
    throw input_error("window_overlap cannot be {}; allowed are values below window_length, {}",
                      window.window_overlap, window.window_length);
  }
  if (advanced.from_start + advanced.from_end > 1.0) {
    throw input_error("from_end cannot be {}; allowed is 1 - from_start at most, from_start is {}",
                      advanced.from_end, advanced.from_start);
  }
  if (advanced.min_chirp_len > advanced.max_chirp_len) {
    throw input_error("min_chirp_len cannot be {} s; allowed is max_chirp_len at most, {} s",
                      advanced.min_chirp_len, advanced.max_chirp_len);
  }
}

}  // namespace fmcw_cli
