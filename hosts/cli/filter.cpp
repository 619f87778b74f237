#include "commands.h"
#include "copy.h"
#include "errors.h"
#include "help.h"
#include "program.h"
#include "quantity_option.h"

#include <memory>

namespace fmcw_cli {
namespace {

using namespace orn::fmcw_host;

struct filter_call_t {
  copy_call_t copy;
  conditioning_t conditioning;
};

void filter(const filter_call_t& call) {
  if (call.conditioning.is_none()) {
    throw input_error("there is nothing to do; allowed are --shift, --low-pass and --decimate");
  }
  const recording_t recording =
      recording_t::open(call.copy.capture.path, call.copy.capture.options);
  tell_notes(recording);
  write_copy(recording, call.copy, call.conditioning, "filtered");
}

}  // namespace

void describe_filter(CLI::App& app) {
  auto* const command = app.add_subcommand(
      "filter", "Move a recording in frequency, low-pass filter it, take fewer samples of it");
  const auto call = std::make_shared<filter_call_t>();
  describe_copy(*command, call->copy);
  add_quantity(*command, "--shift", call->conditioning.shift,
               {"Hz", "at most half the rate either way", "-12MHz"},
               "By how much every frequency moves up");
  add_quantity(*command, "--low-pass", call->conditioning.low_pass,
               {"Hz", "above 0 up to half the rate", "2.5MHz"},
               "Where the filter's gain is 1/2; with --decimate alone 0.45 of the new rate");
  command
      ->add_option("--decimate", call->conditioning.decimate,
                   "Keep one sample of so many, up to 4096")
      ->check(CLI::Range(1, 4096))
      ->type_name("NUMBER");
  add_examples(*command, {
                             {"fmcw filter drone.sigmf-meta narrow --shift -12MHz --decimate 8",
                              "a sweep around 12 MHz, at an eighth of the rate"},
                             {"fmcw filter drone.sigmf-meta quiet --low-pass 5MHz",
                              "less noise at the same rate"},
                         });
  command->callback([call] { filter(*call); });
}

}  // namespace fmcw_cli
