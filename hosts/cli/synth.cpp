#include "commands.h"
#include "common/synth/synthetic_recording.h"
#include "help.h"
#include "option_text.h"
#include "program.h"
#include "progress.h"
#include "quantity_option.h"

#include <memory>

#include <fmt/format.h>

namespace fmcw_cli {
namespace {

using namespace orn::fmcw_host;

struct synth_call_t {
  transmitter_t transmitter;
  std::string out;
  bool force = false;
};

/// The parser would take -1 as 2^64 - 1.
std::string check_whole(const std::string& text) {
  const bool is_whole = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
  return is_whole ? "" : fmt::format("'{}' cannot be; allowed is a whole number from 0 up", text);
}

void describe_shape(CLI::App& command, transmitter_t& t) {
  // Words go to the transmitter by callback, so that only the allowed ones reach it.
  command
      .add_option_function<std::string>(
          "--shape", [&t](const std::string& shape) { t.triangular = shape == "triangle"; },
          "sawtooth (default) or triangle")
      ->check(CLI::IsMember({"sawtooth", "triangle"}));
  command
      .add_option_function<std::string>(
          "--direction", [&t](const std::string& direction) { t.falling = direction == "down"; },
          "Direction of the first ramp, up (default) or down")
      ->check(CLI::IsMember({"up", "down"}));
  add_quantity(command, "--fs", t.sample_rate, {"Hz", "above 0", "125M"}, "Sample rate");
  add_quantity(command, "--ramp", t.ramp, {"s", "two samples or more", "100us"},
               "Length of a ramp");
  add_quantity(command, "--flyback", t.flyback, {"s", "from 0 up", "5us"},
               "Linear return after a sawtooth ramp, 5us unless given");
  add_quantity(command, "--idle", t.idle, {"s", "from 0 up", "2us"}, "Rest before the next ramp");
  add_quantity(command, "--bandwidth", t.bandwidth, {"Hz", "below the sample rate", "40MHz"},
               "Width of the sweep");
  add_quantity(command, "--offset", t.offset,
               {"Hz", "any that keeps the sweep below half the sample rate", "1MHz"},
               "Centre of the sweep");
  command.add_option("--chirps", t.chirps, "Number of ramps")
      ->check(check_whole)
      ->capture_default_str();
  add_quantity(command, "--duration", t.duration, {"s", "above 0", "1ms"},
               "Length of the capture, overrides --chirps");
}

void describe_level(CLI::App& command, transmitter_t& t) {
  add_quantity(command, "--level", t.level, {"dBm", "-300 to 300", "-10dBm"},
               "Power at the start of a ramp");
  add_quantity(command, "--impedance", t.impedance, {"ohm", "above 0", "75ohm"},
               "Impedance the level goes into");
  add_quantity(command, "--snr", t.snr, {"dB", "-300 to 300", "40dB"},
               "Signal to noise ratio, no noise unless given");
  command.add_option("--seed", t.seed, "Seed of the noise, from 0 up")
      ->check(check_whole)
      ->capture_default_str();
  add_quantity(command, "--droop", t.droop, {"dB", "-300 to 300", "0.5dB"},
               "Fall of the power over a ramp");
}

void describe_impairments(CLI::App& command, transmitter_t& t) {
  add_quantity(command, "--quadratic", t.quadratic, {"", "-1 to 1", "0.1%"},
               "Quadratic non-linearity, of the bandwidth");
  add_quantity(command, "--sine", t.sine, {"", "-1 to 1", "0.1%"},
               "Sinusoidal non-linearity, of the bandwidth");
  add_quantity(command, "--sine-cycles", t.sine_cycles, {"", "any", "3"},
               "Periods of that sine in a ramp");
  add_quantity(command, "--overshoot", t.overshoot, {"", "-1 to 1", "1%"},
               "Start-up transient at the start of a ramp, of the bandwidth");
  add_quantity(command, "--settling", t.settling, {"s", "above 0", "1us"},
               "Time constant of the transient");
}

void synth(const synth_call_t& call) {
  const transmitter_t& t = call.transmitter;
  check(t);
  const existing_t existing = call.force ? existing_t::replaced : existing_t::kept;
  const std::string more =
      fmt::format("{} Hz, {} whole chirps annotated", t.sample_rate, truth_count_of(t));
  progress_t progress("made", sample_count_of(t));
  const written_t written =
      write_synthetic(t, call.out, existing, [&](std::uint64_t done) { progress.show(done); });
  if (call.out != "-") {
    tell_done(written.paths.front(), written.sample_count, more);
  }
}

}  // namespace

void describe_synth(CLI::App& app) {
  auto* const command =
      app.add_subcommand("synth", "Write a synthetic capture of known truth as a SigMF recording");
  const auto call = std::make_shared<synth_call_t>();
  command
      ->add_option("OUT", call->out, "Name of the recording; .sigmf-meta and .sigmf-data are added")
      ->required()
      ->type_name(file_type);
  describe_shape(*command, call->transmitter);
  describe_level(*command, call->transmitter);
  describe_impairments(*command, call->transmitter);
  command->add_flag("--force", call->force, "Replace a recording that is there already");
  add_examples(
      *command,
      {
          {"fmcw synth sawtooth --chirps 20 --snr 40", "twenty ramps, 40 dB above the noise"},
          {"fmcw synth curved --quadratic 0.005 --overshoot 0.02 --settling 3e-6",
           "with a bend and a transient"},
          {"fmcw analyze curved --truth", "what was measured beside what was made"},
      });
  command->callback([call] { synth(*call); });
}

}  // namespace fmcw_cli
