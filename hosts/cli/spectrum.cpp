#include "capture.h"
#include "commands.h"
#include "common/output/output_file.h"
#include "errors.h"
#include "help.h"
#include "option_text.h"

#include <cstddef>
#include <memory>
#include <ostream>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace fmcw_cli {
namespace {

using namespace orn::fmcw_demod_lib;
using nlohmann::ordered_json;

using orn::fmcw_host::write_output;

struct spectrum_call_t {
  capture_call_t capture;
  std::string kind = "single";  ///< single, fixed or channel-power
  double impedance = 50.0;      ///< that channel power is into [ohm]; samples are peak volts
  std::string json_file;
  std::string csv_file;
};

/// A spectrum as a table: named columns of equal length, with rows of levels for a spectrogram.
struct spectrum_t {
  std::vector<std::pair<std::string, float>> figures;  ///< single values
  std::vector<std::pair<std::string, std::vector<float>>> columns;
  std::vector<float> level_freq;           ///< heads of the level columns [Hz]
  std::vector<std::vector<float>> levels;  ///< one row each [dB]
};

spectrum_t single_spectrum(const FMCWAnalyze& engine, const SignalStream& signal) {
  std::vector<float> freq;
  std::vector<float> level;
  engine.compute_psd(signal.samples, signal.fs, freq, level);
  return {{}, {{"frequency_hz", freq}, {"level_db", level}}, {}, {}};
}

spectrum_t fixed_spectrogram(const FMCWAnalyze& engine, const SignalStream& signal) {
  fmcw_measure_result_t r;
  engine.compute_spectrogram(signal.samples, signal.fs, r);
  return {{},
          {{"time_s", r.spectrogram_time_axis},
           {"peak_frequency_hz", r.spectrogram_peak_freq},
           {"phase_rad", r.spectrogram_phase_inst}},
          r.spectrogram_freq_axis,
          r.spectrogram};
}

spectrum_t channel_power(const SignalStream& signal, double impedance) {
  std::vector<float> freq;
  std::vector<float> power;
  // Peak volts: half the squared magnitude over R, as everywhere in an analysis.
  const float total = basefunc::calculate_channel_power_db(signal.samples, freq, power, signal.fs,
                                                           static_cast<float>(2.0 * impedance));
  return {{{"total_dbm", total}}, {{"frequency_hz", freq}, {"power_dbm", power}}, {}, {}};
}

void write_csv(std::ostream& out, const spectrum_t& spectrum) {
  std::string line;
  for (const auto& [name, values] : spectrum.columns) {
    line += (line.empty() ? "" : ",") + name;
  }
  for (const float freq : spectrum.level_freq) {
    line += fmt::format(",level_db_at_{}_hz", freq);
  }
  out << line << '\n';
  for (std::size_t i = 0; i < spectrum.columns.front().second.size(); ++i) {
    line.clear();
    for (const auto& [name, values] : spectrum.columns) {
      line += fmt::format("{}{}", line.empty() ? "" : ",", values[i]);
    }
    if (!spectrum.levels.empty()) {
      for (const float level : spectrum.levels[i]) {
        line += fmt::format(",{}", level);
      }
    }
    out << line << '\n';
  }
}

void write_json(std::ostream& out, const spectrum_t& spectrum, const spectrum_call_t& call) {
  ordered_json document = {{"capture", call.capture.path}, {"kind", call.kind}};
  for (const auto& [name, value] : spectrum.figures) {
    document[name] = value;
  }
  for (const auto& [name, values] : spectrum.columns) {
    document[name] = values;
  }
  if (!spectrum.levels.empty()) {
    document["level_frequency_hz"] = spectrum.level_freq;
    document["level_db"] = spectrum.levels;
  }
  out << document << '\n';
}

void spectrum(const spectrum_call_t& call) {
  if (call.json_file == "-" && call.csv_file == "-") {
    throw input_error("--json and --csv cannot both be '-'; standard output takes one of them");
  }
  if (!(call.impedance > 0.0)) {
    throw input_error("--impedance cannot be {}; allowed is above 0 ohm", call.impedance);
  }
  const capture_t capture = read_capture(call.capture.path, call.capture.options);
  const FMCWConfig parameters({}, nullptr, capture.signal.fs);
  const FMCWAnalyze engine(parameters);
  spectrum_t result;
  if (call.kind == "single") {
    result = single_spectrum(engine, capture.signal);
  } else if (call.kind == "fixed") {
    result = fixed_spectrogram(engine, capture.signal);
    if (result.levels.empty()) {
      throw input_error(
          "{}: {} samples make no row of the fixed spectrogram; allowed are 256 or "
          "more",
          call.capture.path, capture.signal.samples.size());
    }
  } else {
    result = channel_power(capture.signal, call.impedance);
  }
  write_output(call.json_file, [&](std::ostream& out) { write_json(out, result, call); });
  const bool to_stdout = call.json_file.empty() && call.csv_file.empty();
  write_output(to_stdout ? "-" : call.csv_file, [&](std::ostream& out) { write_csv(out, result); });
}

}  // namespace

void describe_spectrum(CLI::App& app) {
  auto* const command = app.add_subcommand("spectrum", "Write a spectrum of a capture");
  const auto call = std::make_shared<spectrum_call_t>();
  describe_capture(*command, call->capture);
  command
      ->add_option(
          "--kind", call->kind,
          "single (of the first 1024 samples), fixed (spectrogram of 256-sample windows) or "
          "channel-power")
      ->check(CLI::IsMember({"single", "fixed", "channel-power"}))
      ->capture_default_str();
  command->add_option("--impedance", call->impedance, "Load for channel power [ohm]")
      ->capture_default_str();
  command->add_option("--csv", call->csv_file, "Write CSV ('-': standard output, the default)")
      ->type_name(file_type);
  command->add_option("--json", call->json_file, "Write JSON ('-': standard output)")
      ->type_name(file_type);
  add_examples(*command,
               {
                   {"fmcw spectrum radar.sigmf-meta > spectrum.csv", "of the first 1024 samples"},
                   {"fmcw spectrum radar.sigmf-meta --kind channel-power --json -",
                    "power of the whole capture"},
               });
  command->callback([call] { spectrum(*call); });
}

}  // namespace fmcw_cli
