#include "commands.h"

#include "common/capture/datatype.h"
#include "common/settings/units.h"
#include "errors.h"
#include "help.h"
#include "option_text.h"
#include "program.h"

#include <fmt/format.h>

namespace fmcw_cli {
namespace {

/// Adds an option whose value may have a unit.
void add_quantity(CLI::App& command, const std::string& name, std::optional<double>& value,
                  const std::string& unit, const std::string& example,
                  const std::string& description) {
  auto* const option = command.add_option_function<std::string>(
      name,
      [&value, name, unit, example](const std::string& text) {
        value = orn::fmcw_host::parse_quantity(text, unit);
        if (!value) {
          throw input_error("{} cannot be '{}'; allowed is a number [{}], such as {}", name, text,
                            unit, example);
        }
      },
      description);
  option->type_name("QUANTITY");
}

}  // namespace

void describe_program(CLI::App& app) {
  app.name("fmcw");
  app.description("Analyses captured FMCW signals: finds radar chirps and measures each one.");
  app.set_version_flag("--version", FMCW_VERSION, "Show the version");
  app.set_help_flag("-h,--help", "Show this help");
  app.require_subcommand(1);
  describe_format(app);
  describe_analyze(app);
  describe_suggest(app);
  describe_info(app);
  describe_convert(app);
  describe_spectrum(app);
  describe_synth(app);
  describe_settings(app);
  describe_help(app);
  const std::vector<CLI::App*> commands = app.get_subcommands([](CLI::App*) { return true; });
  for (CLI::App* part : commands) {
    part->group("Commands");
    part->add_flag_callback("-q,--quiet", be_quiet, "No notes and no progress line, only errors");
  }
  app.add_flag_callback("-q,--quiet", be_quiet, "No notes and no progress line, only errors");
  add_examples(app, {{"fmcw analyze radar.sigmf-meta", "find and measure the chirps"},
                     {"fmcw help analyze", "what a command takes"}});
}

void describe_capture(CLI::App& command, capture_call_t& call) {
  auto& options = call.options;
  command
      .add_option(
          "CAPTURE", call.path,
          "SigMF recording (either file, the stem or an archive), WAV file, raw samples, or "
          "'-': raw samples from standard input")
      ->required()
      ->type_name(file_type);
  add_quantity(command, "--fs", options.sample_rate, "Hz", "125M",
               "Sample rate where the file names none [Hz]");
  command
      .add_option("--format", options.format,
                  "Format of raw samples: " + orn::fmcw_host::datatype_names() + ", wav")
      ->type_name(format_type);
  add_quantity(command, "--centre", options.centre, "Hz", "77GHz",
               "RF frequency of 0 Hz where the file names none [Hz]");
  add_quantity(command, "--full-scale", options.full_scale, "V", "0.5V",
               "Peak voltage that 1.0 stands for [V]; powers are uncalibrated without");
  command.add_option("--from", options.from, "Where to begin: 20ms, or a number of samples")
      ->type_name("TIME");
  command.add_option("--for", options.duration, "How much to take: 20ms, or a number of samples")
      ->type_name("TIME");
}

}  // namespace fmcw_cli
