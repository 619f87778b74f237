#include "commands.h"

#include "common/capture/datatype.h"
#include "errors.h"
#include "help.h"
#include "option_text.h"
#include "program.h"
#include "quantity_option.h"

#include <algorithm>
#include <span>
#include <string_view>

namespace fmcw_cli {
void describe_program(CLI::App& app) {
  app.name("fmcw");
  app.description("Analyses captured FMCW signals: finds radar chirps and measures each one.");
  app.set_version_flag("--version", FMCW_VERSION, "Show the version");
  app.set_help_flag("-h,--help", "Show this help");
  app.require_subcommand(1);
  describe_format(app);
  describe_analyze(app);
  describe_check(app);
  describe_suggest(app);
  describe_compare(app);
  describe_limits(app);
  describe_info(app);
  describe_convert(app);
  describe_filter(app);
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

void parse_program(CLI::App& app, int argc, char** argv) {
  // The first word names the command, behind what may stand before it.
  const auto words = std::span(argv, static_cast<std::size_t>(argc)).subspan(argc > 0 ? 1 : 0);
  const auto word = std::find_if(words.begin(), words.end(), [](const std::string_view text) {
    return text != "-q" && text != "--quiet";
  });
  if (word != words.end() && **word != '-') {
    command_named(app, *word);
  }
  app.parse(argc, argv);
}

void describe_capture(CLI::App& command, capture_call_t& call) {
  command
      .add_option(
          "CAPTURE", call.path,
          "SigMF recording (either file, the stem or an archive), WAV file, raw samples, or "
          "'-': raw samples from standard input")
      ->required()
      ->type_name(file_type);
  describe_reading(command, call.options);
}

void describe_reading(CLI::App& command, orn::fmcw_host::read_options_t& options) {
  add_quantity(command, "--fs", options.sample_rate, {"Hz", "above 0", "125M"},
               "Sample rate where the file names none");
  command
      .add_option("--format", options.format,
                  "Format of raw samples: " + orn::fmcw_host::datatype_names() + ", wav")
      ->type_name(format_type);
  add_quantity(command, "--centre", options.centre, {"Hz", "any", "77GHz"},
               "RF frequency of 0 Hz where the file names none");
  add_quantity(command, "--full-scale", options.full_scale, {"V", "above 0", "0.5V"},
               "Peak voltage that 1.0 stands for; powers are uncalibrated without");
  command.add_option("--from", options.from, "Where to begin: 20ms, or a number of samples")
      ->type_name("TIME");
  command.add_option("--for", options.duration, "How much to take: 20ms, or a number of samples")
      ->type_name("TIME");
}

}  // namespace fmcw_cli
