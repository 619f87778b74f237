#include "commands.h"
#include "common/output/json_writer.h"
#include "common/output/output_file.h"
#include "common/settings/profile.h"
#include "errors.h"
#include "help.h"
#include "measurement.h"
#include "program.h"

#include <iostream>
#include <memory>

namespace fmcw_cli {
namespace {

using namespace orn::fmcw_host;

struct suggest_call_t {
  capture_call_t capture;
  settings_source_t settings;
  bool as_json = false;
};

void put_groups(json_writer_t& json, const char* name,
                const std::vector<candidate_group_t>& groups) {
  json.key(name).begin_array();
  for (const candidate_group_t& group : groups) {
    json.begin_object()
        .member("duration_s", group.duration)
        .member("slope_hz_per_s", group.slope)
        .member("count", group.count)
        .end_object();
  }
  json.end_array();
}

void print_json(const measurement_t& measurement) {
  output_file_t out("-");
  json_writer_t json(out.stream(), json_writer_t::indented);
  json.begin_object().key("settings");
  write_profile(json, measurement.settings);
  put_groups(json, "chosen", measurement.proposal.chosen);
  put_groups(json, "left_out", measurement.proposal.left_out);
  json.end_object();
  out.commit();
}

void suggest(const suggest_call_t& call) {
  settings_source_t source = call.settings;
  source.assignments.emplace_back("search=automatic");
  measurement_t measurement = open_measurement(call.capture, source);
  look_for_settings(measurement);
  if (measurement.proposal.chosen.empty()) {
    tell(proposal_text(measurement.proposal).c_str());
    throw CLI::RuntimeError(no_chirps);
  }
  if (call.as_json) {
    print_json(measurement);
  } else {
    std::cout << proposal_text(measurement.proposal) << '\n';
  }
}

}  // namespace

void describe_suggest(CLI::App& app) {
  auto* const command =
      app.add_subcommand("suggest", "Propose settings that suit a recording's chirps");
  const auto call = std::make_shared<suggest_call_t>();
  describe_capture(*command, call->capture);
  describe_settings_source(*command, call->settings);
  command->add_flag("--json", call->as_json, "As JSON, a profile for --settings");
  add_examples(
      *command,
      {
          {"fmcw suggest lora.cf32 --fs 8M", "settings that suit this recording"},
          {"fmcw suggest lora.cf32 --fs 8M --json > lora.json", "the same, as a profile"},
          {"fmcw analyze other.cf32 --fs 8M --settings lora.json", "which other recordings take"},
      });
  command->callback([call] { suggest(*call); });
}

}  // namespace fmcw_cli
