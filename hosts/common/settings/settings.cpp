#include "common/settings/settings.h"

#include "common/errors.h"
#include "common/settings/profile.h"
#include "common/settings/setting_table.h"
#include "common/settings/units.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include <fmt/format.h>

namespace orn::fmcw_host {
namespace {

using kind_t = setting_t::kind_t;
using part_t = setting_t::part_t;

/// One value that a user asked for.
struct request_t {
  const setting_t* setting;
  double value;
  std::string text;
  std::string source;
};

/// Whether the setting's type holds the value at all; its range is the manager's affair.
bool is_representable(const setting_t& setting, double value) {
  switch (setting.kind) {
    case kind_t::real:
      return std::isfinite(value);
    case kind_t::impedance:
      return value == 50.0 || value == 75.0;
    case kind_t::flag:
      return value == 0.0 || value == 1.0;
    case kind_t::search:
      return value == 0.0 || value == 1.0 || value == 2.0;
    case kind_t::whole:
      break;
  }
  return value == std::trunc(value) &&
         (setting.name == "chirp_option"
              ? std::abs(value) <= std::numeric_limits<std::int32_t>::max()
              : value >= 0.0 && value <= std::numeric_limits<std::uint32_t>::max());
}

std::optional<double> parse_value(const setting_t& setting, std::string_view text) {
  if (setting.kind == kind_t::flag || setting.kind == kind_t::search) {
    for (const double value : {0.0, 1.0, 2.0}) {
      if (is_representable(setting, value) && value_text(setting, value) == text) {
        return value;
      }
    }
    return setting.kind == kind_t::flag ? parse_quantity(text, "") : std::nullopt;
  }
  return parse_quantity(text, setting.unit);
}

[[noreturn]] void refuse(const setting_t& setting, std::string_view text, std::string_view source) {
  throw input_error_t("{}: {} cannot be '{}'; allowed is {}{}, such as {}", source, setting.name,
                      text, setting.rule,
                      setting.unit.empty() ? "" : fmt::format(" [{}]", setting.unit),
                      example_of(setting));
}

request_t request_for(std::string_view name, std::string_view text, std::string_view source) {
  const setting_t& setting = setting_named(name, source);
  const auto value = parse_value(setting, text);
  if (!value) {
    refuse(setting, text, source);
  }
  return {&setting, *value, std::string(text), std::string(source)};
}

request_t parse_assignment(const std::string& assignment) {
  const std::size_t equals = assignment.find('=');
  if (equals == std::string::npos) {
    throw input_error_t("--set: '{}' is no assignment; expected name=value", assignment);
  }
  return request_for(assignment.substr(0, equals), assignment.substr(equals + 1), "--set");
}

/// Values from a profile; one at its default asks for nothing.
std::vector<request_t> requests_of_file(const std::string& path) {
  std::vector<request_t> requests;
  if (path.empty()) {
    return requests;
  }
  const settings_t defaults;
  for (const auto& [name, text] : read_profile(path)) {
    request_t request = request_for(name, text, path);
    if (request.setting->name == "fs" || request.value != request.setting->get(defaults)) {
      requests.push_back(std::move(request));
    }
  }
  return requests;
}

std::vector<request_t> requests_of(const settings_source_t& source) {
  std::vector<request_t> requests = requests_of_file(source.file);
  std::vector<request_t> assigned;
  for (const std::string& assignment : source.assignments) {
    assigned.push_back(parse_assignment(assignment));
    const auto same = [&](const request_t& r) { return r.setting == assigned.back().setting; };
    if (std::any_of(assigned.begin(), assigned.end() - 1, same)) {
      throw input_error_t("--set: {} is given twice; give it once", assigned.back().setting->name);
    }
    requests.erase(std::remove_if(requests.begin(), requests.end(), same), requests.end());
  }
  requests.insert(requests.end(), assigned.begin(), assigned.end());
  std::sort(requests.begin(), requests.end(),
            [](const request_t& a, const request_t& b) { return a.setting < b.setting; });
  return requests;
}

void apply(const request_t& request, settings_t& settings) {
  const setting_t& setting = *request.setting;
  const bool held = setting.get(settings) == request.value;
  if (setting.name == "fs" && !held && request.value > 0.0) {
    throw input_error_t(
        "{}: fs cannot be {}; the recording's rate is {} Hz (--fs gives it for raw "
        "samples)",
        request.source, request.text, setting.get(settings));
  }
  if (!held &&
      !(is_representable(setting, request.value) && setting.set(settings, request.value))) {
    refuse(setting, request.text, request.source);
  }
  settings.given.insert_or_assign(std::string(setting.name), request.source);
}

bool any_given(const settings_t& settings, part_t part) {
  return std::any_of(setting_table().begin(), setting_table().end(), [&](const setting_t& setting) {
    return setting.part == part && settings.is_given(setting.name);
  });
}

void choose_search(settings_t& settings) {
  if (settings.is_given("search")) {
    return;
  }
  settings.search = any_given(settings, part_t::frames)   ? search_t::frames
                    : any_given(settings, part_t::limits) ? search_t::spans
                                                          : search_t::automatic;
}

std::vector<double> values_of(const settings_t& settings) {
  std::vector<double> values;
  for (const setting_t& setting : setting_table()) {
    values.push_back(setting.get(settings));
  }
  return values;
}

}  // namespace

std::vector<std::string> apply_settings(const settings_source_t& source, settings_t& settings) {
  const std::vector<request_t> requests = requests_of(source);
  std::vector<double> wanted = values_of(settings);
  std::vector<std::string> notes;
  for (const request_t& request : requests) {
    apply(request, settings);
    wanted[static_cast<std::size_t>(request.setting - setting_table().data())] = request.value;
    if (request.setting->part == part_t::nothing) {
      notes.push_back(fmt::format("{}: {} is carried but enters no figure", request.source,
                                  request.setting->name));
    }
  }
  const manager_t& manager = settings.manager;
  if (manager.get_window_overlap() >= manager.get_window_length()) {
    throw input_error_t("window_overlap cannot be {}; allowed are values below window_length, {}",
                        manager.get_window_overlap(), manager.get_window_length());
  }
  choose_search(settings);
  wanted[static_cast<std::size_t>(&setting_named("search", "") - setting_table().data())] =
      static_cast<double>(settings.search);
  for (std::size_t i = 0; i < setting_table().size(); ++i) {
    const setting_t& setting = setting_table()[i];
    const double value = setting.get(settings);
    if (value != wanted[i]) {
      notes.push_back(
          fmt::format("{} moved from {} to {}: {}", setting.name, wanted[i], value, setting.limit));
    }
  }
  return notes;
}

std::vector<std::string> propose_settings(const std::vector<std::string>& assignments,
                                          settings_t& settings) {
  std::vector<std::string> applied;
  for (const std::string& assignment : assignments) {
    const request_t request = parse_assignment(assignment);
    if (!settings.is_given(request.setting->name) &&
        (request.setting->get(settings) == request.value ||
         request.setting->set(settings, request.value))) {
      applied.push_back(assignment);
    }
  }
  return applied;
}

}  // namespace orn::fmcw_host
