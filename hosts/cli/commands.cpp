#include "commands.h"

#include "common/capture/datatype.h"
#include "quantity_option.h"

namespace fmcw_cli {
void describe_capture(CLI::App& command, capture_call_t& call) {
  auto& options = call.options;
  command
      .add_option(
          "CAPTURE", call.path,
          "SigMF recording (either file, the stem or an archive), WAV file, raw samples, or "
          "'-': raw samples from standard input")
      ->required();
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
