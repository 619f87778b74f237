#include "commands.h"
#include "common/synth/synthetic_recording.h"
#include "help.h"
#include "option_text.h"
#include "program.h"
#include "progress.h"

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
  command.add_option("--fs", t.sample_rate, "Sample rate [Hz]")->capture_default_str();
  command.add_option("--ramp", t.ramp, "Length of a ramp, at least two samples [s]")
      ->capture_default_str();
  command.add_option("--flyback", t.flyback,
                     "Linear return after a sawtooth ramp [s]; 5e-06 unless given");
  command.add_option("--idle", t.idle, "Rest before the next ramp [s]")->capture_default_str();
  command.add_option("--bandwidth", t.bandwidth, "Width of the sweep [Hz]")->capture_default_str();
  command.add_option("--offset", t.offset, "Centre of the sweep [Hz]")->capture_default_str();
  command.add_option("--chirps", t.chirps, "Number of ramps")
      ->check(check_whole)
      ->capture_default_str();
  command.add_option("--duration", t.duration, "Length of the capture [s]; overrides --chirps");
}

void describe_level(CLI::App& command, transmitter_t& t) {
  command.add_option("--level", t.level, "Power at the start of a ramp [dBm]")
      ->capture_default_str();
  command.add_option("--impedance", t.impedance, "Impedance the level goes into [ohm]")
      ->capture_default_str();
  command.add_option("--snr", t.snr, "Signal to noise ratio [dB]; no noise unless given");
  command.add_option("--seed", t.seed, "Seed of the noise, from 0 up")
      ->check(check_whole)
      ->capture_default_str();
  command.add_option("--droop", t.droop, "Fall of the power over a ramp [dB]")
      ->capture_default_str();
}

void describe_impairments(CLI::App& command, transmitter_t& t) {
  command.add_option("--quadratic", t.quadratic, "Quadratic non-linearity [of the bandwidth]")
      ->capture_default_str();
  command.add_option("--sine", t.sine, "Sinusoidal non-linearity [of the bandwidth]")
      ->capture_default_str();
  command.add_option("--sine-cycles", t.sine_cycles, "Periods of that sine in a ramp")
      ->capture_default_str();
  command
      .add_option("--overshoot", t.overshoot,
                  "Start-up transient at the start of a ramp [of the bandwidth]")
      ->capture_default_str();
  command.add_option("--settling", t.settling, "Time constant of the transient [s]")
      ->capture_default_str();
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
