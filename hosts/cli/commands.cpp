#include "commands.h"

#include "common/capture/datatype.h"
#include "errors.h"
#include "quantity_option.h"

namespace fmcw_cli {
namespace {

std::string command_names(const CLI::App& app) {
  std::string names;
  for (const CLI::App* command : app.get_subcommands({})) {
    names += names.empty() ? "" : ", ";
    names += command->get_name();
  }
  return names;
}

}  // namespace

void describe_program(CLI::App& app) {
  app.name("fmcw");
  app.description("Analyses captured FMCW signals: finds radar chirps and measures each one.");
  app.set_version_flag("--version", FMCW_VERSION);
  app.require_subcommand(1);
  describe_analyze(app);
  describe_suggest(app);
  describe_compare(app);
  describe_limits(app);
  describe_info(app);
  describe_convert(app);
  describe_spectrum(app);
  describe_synth(app);
  describe_settings(app);
}

void parse_program(CLI::App& app, int argc, char** argv) {
  const auto is_named = [&](const CLI::App* command) { return command->get_name() == argv[1]; };
  if (argc > 1 && argv[1][0] != '-' && app.get_subcommands(is_named).empty()) {
    throw input_error("there is no command '{}'; allowed are {}", argv[1], command_names(app));
  }
  app.parse(argc, argv);
}

void describe_capture(CLI::App& command, capture_call_t& call) {
  command
      .add_option(
          "CAPTURE", call.path,
          "SigMF recording (either file, the stem or an archive), WAV file, raw samples, or "
          "'-': raw samples from standard input")
      ->required();
  describe_reading(command, call.options);
}

void describe_reading(CLI::App& command, orn::fmcw_host::read_options_t& options) {
  add_quantity(command, "--fs", options.sample_rate, {"Hz", "above 0", "125M"},
               "Sample rate where the file names none");
  command.add_option("--format", options.format,
                     "Format of raw samples: " + orn::fmcw_host::datatype_names() + ", wav");
  add_quantity(command, "--centre", options.centre, {"Hz", "any", "77GHz"},
               "RF frequency of 0 Hz where the file names none");
  add_quantity(command, "--full-scale", options.full_scale, {"V", "above 0", "0.5V"},
               "Peak voltage that 1.0 stands for; powers are uncalibrated without");
  command.add_option("--from", options.from, "Where to begin: 20ms, or a number of samples");
  command.add_option("--for", options.duration, "How much to take: 20ms, or a number of samples");
}

}  // namespace fmcw_cli
