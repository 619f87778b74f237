#include "commands.h"
#include "common/output/json_writer.h"
#include "common/output/output_file.h"
#include "common/settings/profile.h"
#include "common/settings/setting_table.h"
#include "help.h"
#include "table.h"
#include "terminal.h"

#include <iostream>
#include <memory>

#include <fmt/format.h>

namespace fmcw_cli {
namespace {

using namespace orn::fmcw_host;

/// What a setting means and takes, in one text.
std::string whole_meaning(const setting_t& setting) {
  return fmt::format("{}; {}{}{}", setting.meaning, setting.rule, setting.limit.empty() ? "" : ", ",
                     setting.limit);
}

void print_table() {
  const settings_t defaults;
  table_t short_table({"setting", "default", "meaning"}, table_t::left);
  table_t table({"setting", "default", "unit", "allowed", "limit", "meaning"}, table_t::left);
  for (const setting_t& setting : setting_table()) {
    table.add({std::string(setting.name), readable_text(setting, setting.get(defaults)),
               std::string(setting.unit), std::string(setting.rule), std::string(setting.limit),
               std::string(setting.meaning)});
    short_table.add({std::string(setting.name), readable_text(setting, setting.get(defaults)),
                     whole_meaning(setting)});
  }
  std::cout << (table.width() > width_of().value_or(table.width()) ? short_table : table);
}

void print_json() {
  const settings_t defaults;
  output_file_t out("-");
  json_writer_t json(out.stream(), json_writer_t::indented);
  json.begin_object().key("settings");
  write_profile(json, defaults);
  json.key("descriptions").begin_array();
  for (const setting_t& setting : setting_table()) {
    json.begin_object()
        .member("name", setting.name)
        .member("default", readable_text(setting, setting.get(defaults)))
        .member("unit", setting.unit)
        .member("allowed", setting.rule)
        .member("limit", setting.limit)
        .member("example", example_of(setting))
        .member("meaning", setting.meaning)
        .end_object();
  }
  json.end_array().end_object();
  out.commit();
}

}  // namespace

void describe_settings(CLI::App& app) {
  auto* const command =
      app.add_subcommand("settings", "Show every setting with default, unit, limits and meaning");
  const auto as_json = std::make_shared<bool>(false);
  command->add_flag("--json", *as_json, "As JSON, a profile for --settings with descriptions");
  add_examples(*command,
               {
                   {"fmcw settings", "what can be set, and between which limits"},
                   {"fmcw settings --json > profile.json", "a profile of the defaults to edit"},
                   {"fmcw analyze a.sigmf-meta --settings profile.json --set slope_tol=5kHz/us",
                    "profile first, then single settings"},
               });
  command->callback([as_json] { *as_json ? print_json() : print_table(); });
}

}  // namespace fmcw_cli
