#include "commands.h"
#include "common/capture/datatype.h"
#include "common/output/recording_copy.h"
#include "help.h"
#include "option_text.h"
#include "program.h"
#include "progress.h"

#include <memory>

#include <fmt/format.h>

namespace fmcw_cli {
namespace {

using namespace orn::fmcw_host;

struct convert_call_t {
  capture_call_t capture;
  std::string out;
  std::string format;
  bool force = false;
  bool verify = false;
};

void convert(const convert_call_t& call) {
  const recording_t recording = recording_t::open(call.capture.path, call.capture.options);
  tell_notes(recording);
  if (call.verify) {
    recording.verify_checksum();
  }
  write_options_t options;
  options.format = call.format;
  options.existing = call.force ? existing_t::replaced : existing_t::kept;
  progress_t progress("converted", recording.info().sample_count);
  const written_t written = copy_recording(recording, call.out, options,
                                           [&](std::uint64_t done) { progress.show(done); });
  if (call.out != "-") {
    tell_done(written.paths.front(), written.sample_count, written.datatype);
  }
  if (written.clipped_count != 0) {
    tell_note(fmt::format("{}: {} of {} samples were beyond the range of {} and are cut to it",
                          call.out, written.clipped_count, written.sample_count, written.datatype));
  }
}

}  // namespace

void describe_convert(CLI::App& app) {
  auto* const command =
      app.add_subcommand("convert", "Write a recording, or a part of it, in another format");
  const auto call = std::make_shared<convert_call_t>();
  describe_capture(*command, call->capture);
  command
      ->add_option(
          "OUT", call->out,
          "Name of the result: .sigmf an archive, .wav, a suffix of raw files (.cs16), '-' "
          "raw on standard output, else a SigMF pair")
      ->required()
      ->type_name(file_type);
  command
      ->add_option("--to", call->format,
                   "Format of its samples, cf32_le unless the name tells one: " + datatype_names())
      ->type_name(format_type);
  command->add_flag("--force", call->force, "Replace a recording that is there already");
  command->add_flag("--verify", call->verify, "Compare the samples with their core:sha512 first");
  add_examples(*command, {
                             {"fmcw convert drone.cs16 drone --fs 20M --centre 77GHz",
                              "raw samples to a SigMF recording"},
                             {"fmcw convert drone.sigmf-meta part.sigmf --from 1s --for 250ms",
                              "a part of it, as an archive"},
                             {"fmcw convert drone.sigmf-meta - --to cf32_le | consumer",
                              "raw samples to a pipe"},
                         });
  command->callback([call] { convert(*call); });
}

}  // namespace fmcw_cli
