#include "copy.h"

#include "common/capture/datatype.h"
#include "common/output/recording_copy.h"
#include "option_text.h"
#include "program.h"
#include "progress.h"

#include <optional>

#include <fmt/format.h>

namespace fmcw_cli {

using namespace orn::fmcw_host;

void describe_copy(CLI::App& command, copy_call_t& call) {
  describe_capture(command, call.capture);
  command
      .add_option("OUT", call.out,
                  "Name of the result: .sigmf an archive, .wav, a suffix of raw files (.cs16), '-' "
                  "raw on standard output, else a SigMF pair")
      ->required()
      ->type_name(file_type);
  command
      .add_option("--to", call.format,
                  "Format of its samples, cf32_le unless the name tells one: " + datatype_names())
      ->type_name(format_type);
  command.add_flag("--force", call.force, "Replace a recording that is there already");
}

void write_copy(const recording_t& recording, const copy_call_t& call,
                const conditioning_t& conditioning, std::string_view work) {
  write_options_t options;
  options.format = call.format;
  options.existing = call.force ? existing_t::replaced : existing_t::kept;
  progress_t progress(work, recording.info().sample_count);
  const written_t written = copy_recording(recording, call.out, options, conditioning,
                                           [&](std::uint64_t done) { progress.show(done); });
  if (call.out != "-") {
    tell_done(written.paths.front(), written.sample_count, written.datatype);
  }
  if (written.clipped_count != 0) {
    tell_note(fmt::format("{}: {} of {} samples were beyond the range of {} and are cut to it",
                          call.out, written.clipped_count, written.sample_count, written.datatype));
  }
}

}  // namespace fmcw_cli
