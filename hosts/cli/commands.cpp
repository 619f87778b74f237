#include "commands.h"

#include "common/capture/datatype.h"

namespace fmcw_cli {

void describe_capture(CLI::App& command, capture_call_t& call) {
  auto& options = call.options;
  command
      .add_option(
          "CAPTURE", call.path,
          "SigMF recording (either file, the stem or an archive), WAV file, raw samples, or "
          "'-': raw samples from standard input")
      ->required();
  command.add_option("--fs", options.sample_rate, "Sample rate where the file names none [Hz]");
  command.add_option("--format", options.format,
                     "Format of raw samples: " + orn::fmcw_host::datatype_names() + ", wav");
  command.add_option("--centre", options.centre,
                     "RF frequency of 0 Hz where the file names none [Hz]");
  command.add_option("--full-scale", options.full_scale,
                     "Peak voltage that 1.0 stands for [V]; powers are uncalibrated without");
  command.add_option("--from", options.from, "Where to begin: 20ms, or a number of samples");
  command.add_option("--for", options.duration, "How much to take: 20ms, or a number of samples");
}

}  // namespace fmcw_cli
