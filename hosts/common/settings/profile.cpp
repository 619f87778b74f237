#include "common/settings/profile.h"

#include "common/capture/input_file.h"
#include "common/capture/json_value.h"
#include "common/errors.h"
#include "common/settings/setting_table.h"

#include <memory>
#include <optional>

namespace orn::fmcw_host {
namespace {

using kind_t = setting_t::kind_t;
using values_t = std::vector<std::pair<std::string, std::string>>;

std::string text_of(const json_value_t& value) {
  const auto* const word = value.as<std::string>();
  return word != nullptr ? *word : value.text();
}

}  // namespace

std::vector<std::pair<std::string, std::string>> read_profile(const std::string& path) {
  const input_file_t file(path, "a JSON file of settings");
  values_t values;
  std::optional<values_t> nested;
  std::optional<std::string> list;
  read_json_object(
      [&] { return file.stream(0, file.size()); }, path,
      [&](const std::string& name, std::optional<std::size_t> index, json_value_t&& value) {
        const auto* const members = value.as<json_value_t::object_t>();
        if (name == "settings" && !index && members != nullptr) {
          nested.emplace();
          for (const json_member_t& member : *members) {
            nested->emplace_back(member.name, text_of(member.value));
          }
        } else if (index) {
          list = list.value_or(name);  // the chirps of a result, or a mistake
        } else {
          values.emplace_back(name, text_of(value));
        }
      });
  if (nested) {
    return *nested;
  }
  if (list) {
    throw input_error_t("{}: {} cannot be a list; expected one value", path, *list);
  }
  return values;
}

void write_profile(json_writer_t& out, const settings_t& settings) {
  out.begin_object();
  for (const setting_t& setting : setting_table()) {
    const bool lays_out_frames = setting.part == setting_t::part_t::frames;
    if (setting.name == "fs" || (lays_out_frames && settings.search != search_t::frames)) {
      continue;
    }
    const double value = setting.get(settings);
    out.key(setting.name);
    switch (setting.kind) {
      case kind_t::real:
        out.value(value);
        break;
      case kind_t::flag:
        out.value(value != 0.0);
        break;
      case kind_t::search:
        out.value(value_text(setting, value));
        break;
      case kind_t::whole:
      case kind_t::impedance:
        out.value(static_cast<std::int64_t>(value));
        break;
    }
  }
  out.end_object();
}

}  // namespace orn::fmcw_host
