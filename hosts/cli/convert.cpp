#include "commands.h"
#include "copy.h"
#include "help.h"
#include "program.h"

#include <memory>

namespace fmcw_cli {
namespace {

using namespace orn::fmcw_host;

struct convert_call_t {
  copy_call_t copy;
  bool verify = false;
};

void convert(const convert_call_t& call) {
  const recording_t recording =
      recording_t::open(call.copy.capture.path, call.copy.capture.options);
  tell_notes(recording);
  if (call.verify) {
    recording.verify_checksum();
  }
  write_copy(recording, call.copy, {}, "converted");
}

}  // namespace

void describe_convert(CLI::App& app) {
  auto* const command =
      app.add_subcommand("convert", "Write a recording, or a part of it, in another format");
  const auto call = std::make_shared<convert_call_t>();
  describe_copy(*command, call->copy);
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
