#include "analyze.h"
#include "errors.h"
#include "settings.h"
#include "spectrum.h"
#include "synth.h"

#include <iostream>
#include <new>
#include <string>

#include <CLI/CLI.hpp>

namespace {

using fmcw_cli::analyze_call_t;
using fmcw_cli::spectrum_call_t;
using fmcw_cli::transmitter_t;

constexpr int run_failed = 1;
constexpr int wrong_call = 2;

void describe_capture(CLI::App& command, std::string& capture, fmcw_cli::raw_format_t& raw) {
  command
      .add_option("CAPTURE", capture, "SigMF recording (either file or the stem), or raw samples")
      ->required();
  command.add_option("--fs", raw.sample_rate, "Sample rate of raw samples [Hz]");
  command.add_option("--format", raw.datatype,
                     "Format of raw samples: " + fmcw_cli::datatype_names());
}

void describe_analyze(CLI::App& app, analyze_call_t& call) {
  CLI::App* const command =
      app.add_subcommand("analyze", "Find and measure the chirps of a capture");
  describe_capture(*command, call.capture, call.raw);
  command->add_option("--settings", call.settings.file, "JSON file of settings, {\"name\": value}");
  command
      ->add_option("--set", call.settings.assignments, "One setting, name=value; may be repeated")
      ->allow_extra_args(false)
      ->take_all();
  command->add_flag("--all", call.all_fields, "Show every field of every chirp");
  command->add_flag("--truth", call.against_truth,
                    "Compare with the chirps annotated in a synthetic recording");
  command->add_flag("--report", call.report, "Print the library's own text of the result instead");
  command->add_option("--json", call.json_file, "Write everything as JSON ('-': standard output)");
  command->add_option("--csv", call.csv_file, "Write the chirps as CSV ('-': standard output)");
  command->add_flag("--no-traces", call.without_traces,
                    "Leave traces and spectrogram out of the JSON");
  command->callback([&call] { fmcw_cli::analyze(call); });
}

void describe_synth(CLI::App& app, transmitter_t& t, std::string& out) {
  CLI::App* const command =
      app.add_subcommand("synth", "Write a synthetic capture of known truth as a SigMF recording");
  command->add_option("OUT", out, "Name of the recording; .sigmf-meta and .sigmf-data are added")
      ->required();
  // Words go to the transmitter by callback, so that only the allowed ones reach it.
  command
      ->add_option_function<std::string>(
          "--shape", [&t](const std::string& shape) { t.triangular = shape == "triangle"; },
          "sawtooth (default) or triangle")
      ->check(CLI::IsMember({"sawtooth", "triangle"}));
  command
      ->add_option_function<std::string>(
          "--direction", [&t](const std::string& direction) { t.falling = direction == "down"; },
          "Direction of the first ramp, up (default) or down")
      ->check(CLI::IsMember({"up", "down"}));
  command->add_option("--fs", t.sample_rate, "Sample rate [Hz]")->capture_default_str();
  command->add_option("--ramp", t.ramp, "Length of a ramp [s]")->capture_default_str();
  command->add_option("--flyback", t.flyback, "Linear return after a sawtooth ramp [s]")
      ->capture_default_str();
  command->add_option("--idle", t.idle, "Rest before the next ramp [s]")->capture_default_str();
  command->add_option("--bandwidth", t.bandwidth, "Width of the sweep [Hz]")->capture_default_str();
  command->add_option("--offset", t.offset, "Centre of the sweep [Hz]")->capture_default_str();
  command->add_option("--chirps", t.chirps, "Number of ramps")->capture_default_str();
  command->add_option("--duration", t.duration, "Length of the capture [s]; overrides --chirps");
  command->add_option("--level", t.level, "Power at the start of a ramp [dBm]")
      ->capture_default_str();
  command->add_option("--impedance", t.impedance, "Impedance the level goes into [ohm]")
      ->capture_default_str();
  command->add_option("--snr", t.snr, "Signal to noise ratio [dB]; no noise unless given");
  command->add_option("--seed", t.seed, "Seed of the noise")->capture_default_str();
  command->add_option("--quadratic", t.quadratic, "Quadratic non-linearity [of the bandwidth]")
      ->capture_default_str();
  command->add_option("--sine", t.sine, "Sinusoidal non-linearity [of the bandwidth]")
      ->capture_default_str();
  command->add_option("--sine-cycles", t.sine_cycles, "Periods of that sine in a ramp")
      ->capture_default_str();
  command
      ->add_option("--overshoot", t.overshoot,
                   "Start-up transient at the start of a ramp [of the bandwidth]")
      ->capture_default_str();
  command->add_option("--settling", t.settling, "Time constant of the transient [s]")
      ->capture_default_str();
  command->add_option("--droop", t.droop, "Fall of the power over a ramp [dB]")
      ->capture_default_str();
  command->callback([&t, &out] { fmcw_cli::synth(t, out); });
}

void describe_spectrum(CLI::App& app, spectrum_call_t& call) {
  CLI::App* const command = app.add_subcommand("spectrum", "Write a spectrum of a capture");
  describe_capture(*command, call.capture, call.raw);
  command
      ->add_option(
          "--kind", call.kind,
          "single (of the first 1024 samples), fixed (spectrogram of 256-sample windows) or "
          "channel-power")
      ->check(CLI::IsMember({"single", "fixed", "channel-power"}))
      ->capture_default_str();
  command->add_option("--impedance", call.impedance, "Load for channel power [ohm]")
      ->capture_default_str();
  command->add_option("--csv", call.csv_file, "Write CSV ('-': standard output, the default)");
  command->add_option("--json", call.json_file, "Write JSON ('-': standard output)");
  command->callback([&call] { fmcw_cli::spectrum(call); });
}

void describe_settings(CLI::App& app, bool& as_json) {
  CLI::App* const command =
      app.add_subcommand("settings", "Show every setting with default, unit, limits and meaning");
  command->add_flag("--json", as_json, "As JSON");
  command->callback([&as_json] { fmcw_cli::print_settings(as_json); });
}

int fail(int status, const std::string& message) {
  std::string line = message;
  for (char& c : line) {
    c = c == '\n' ? ' ' : c;
  }
  std::cerr << "fmcw: " << line << '\n';
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    CLI::App app("Analyses captured FMCW signals: finds radar chirps and measures each one.",
                 "fmcw");
    app.set_version_flag("--version", FMCW_VERSION);
    app.require_subcommand(1);
    analyze_call_t analyze_call;
    describe_analyze(app, analyze_call);
    transmitter_t transmitter;
    std::string out;
    describe_synth(app, transmitter, out);
    spectrum_call_t spectrum_call;
    describe_spectrum(app, spectrum_call);
    bool settings_as_json = false;
    describe_settings(app, settings_as_json);
    const auto is_named = [&](const CLI::App* command) { return command->get_name() == argv[1]; };
    if (argc > 1 && argv[1][0] != '-' && app.get_subcommands(is_named).empty()) {
      throw fmcw_cli::input_error(
          "there is no command '{}'; allowed are analyze, spectrum, settings, synth", argv[1]);
    }
    try {
      app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
      if (error.get_exit_code() == 0) {
        return app.exit(error);
      }
      return fail(wrong_call, std::string(error.what()) + "; see fmcw --help");
    }
    std::cout.flush();
    return std::cout.good() ? 0 : fail(run_failed, "standard output: cannot be written");
  } catch (const fmcw_cli::input_error& error) {
    return fail(wrong_call, error.what());
  } catch (const std::bad_alloc&) {
    return fail(run_failed, "out of memory; a shorter capture or a larger window step needs less");
  } catch (const std::exception& error) {
    return fail(run_failed, error.what());
  }
}
