#include "commands.h"

#include "common/capture/datatype.h"
#include "common/settings/units.h"
#include "errors.h"

namespace fmcw_cli {
namespace {

/// Adds an option whose value may have a unit.
void add_quantity(CLI::App& command, const std::string& name, std::optional<double>& value,
                  const std::string& unit, const std::string& example,
                  const std::string& description) {
  command.add_option_function<std::string>(
      name,
      [&value, name, unit, example](const std::string& text) {
        value = orn::fmcw_host::parse_quantity(text, unit);
        if (!value) {
          throw input_error("{} cannot be '{}'; allowed is a number [{}], such as {}", name, text,
                            unit, example);
        }
      },
      description);
}

}  // namespace

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
  add_quantity(command, "--fs", options.sample_rate, "Hz", "125M",
               "Sample rate where the file names none [Hz]");
  command.add_option("--format", options.format,
                     "Format of raw samples: " + orn::fmcw_host::datatype_names() + ", wav");
  add_quantity(command, "--centre", options.centre, "Hz", "77GHz",
               "RF frequency of 0 Hz where the file names none [Hz]");
  add_quantity(command, "--full-scale", options.full_scale, "V", "0.5V",
               "Peak voltage that 1.0 stands for [V]; powers are uncalibrated without");
  command.add_option("--from", options.from, "Where to begin: 20ms, or a number of samples");
  command.add_option("--for", options.duration, "How much to take: 20ms, or a number of samples");
}

}  // namespace fmcw_cli
