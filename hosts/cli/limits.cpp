#include "commands.h"
#include "common/limits/limits_file.h"
#include "common/output/json_writer.h"
#include "common/output/output_file.h"
#include "common/statistics/chirp_statistics.h"
#include "errors.h"
#include "help.h"
#include "measurement.h"
#include "option_text.h"
#include "program.h"

#include <array>
#include <memory>
#include <string>

namespace fmcw_cli {
namespace {

using namespace orn::fmcw_host;

struct limits_call_t {
  capture_call_t capture;
  settings_source_t settings;
  double spread = 3.0;
  std::string out = "-";
};

void limits(const limits_call_t& call) {
  if (!(call.spread > 0.0 && call.spread <= 1e6)) {
    throw input_error("--spread cannot be {}; allowed are numbers above 0 up to 1e6", call.spread);
  }
  measurement_t measurement = open_measurement(call.capture, call.settings);
  std::vector<std::string> inputs = measurement.recording.files();
  inputs.push_back(call.settings.file);
  check_outputs(inputs, std::array{call.out});
  look_for_settings(measurement);
  if (measurement.is_proposed) {
    tell_note(proposal_text(measurement.proposal));
  }
  const chirp_statistics_t statistics = measure_statistics(measurement);
  if (statistics.count() == 0) {
    tell("no chirps found, so there are no limits");
    throw CLI::RuntimeError(no_chirps);
  }
  const recording_info_t& info = measurement.recording.info();
  write_output(call.out, [&](std::ostream& out) {
    json_writer_t json(out, json_writer_t::indented);
    write_limits(json, statistics, call.spread, info.name, info.sample_rate);
  });
}

}  // namespace

void describe_limits(CLI::App& app) {
  auto* const command =
      app.add_subcommand("limits", "Write limits from a recording that is as it should be");
  const auto call = std::make_shared<limits_call_t>();
  describe_capture(*command, call->capture);
  describe_settings_source(*command, call->settings);
  command->add_option("--spread", call->spread,
                      "Standard deviations to allow on either side of the mean; default: 3");
  command->add_option("-o,--out", call->out, "Where they go; default: standard output")
      ->type_name(file_type);
  add_examples(*command, {{"fmcw limits golden.sigmf-meta --spread 5 -o limits.json",
                           "what fmcw analyze --limits limits.json holds other units to"}});
  command->callback([call] { limits(*call); });
}

}  // namespace fmcw_cli
