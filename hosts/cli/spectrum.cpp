#include "commands.h"
#include "common/output/csv_writer.h"
#include "common/output/json_writer.h"
#include "common/output/output_file.h"
#include "common/spectrum/channel_power.h"
#include "common/spectrum/fixed_spectrogram.h"
#include "errors.h"
#include "help.h"
#include "option_text.h"
#include "program.h"
#include "progress.h"
#include "quantity_option.h"

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

#include <fmt/format.h>

namespace fmcw_cli {
namespace {

using namespace orn::fmcw_host;

struct spectrum_call_t {
  capture_call_t capture;
  std::string kind = "single";  ///< single, fixed or channel-power
  double impedance = 50.0;      ///< that channel power is into [ohm]
  std::string json_file;
  std::string csv_file;
};

/// The files that a spectrum goes to, CSV on standard output where none is named.
class spectrum_files_t {
 public:
  explicit spectrum_files_t(const spectrum_call_t& call) {
    if (!call.json_file.empty()) {
      json_file_.emplace(call.json_file);
      json_.emplace(json_file_->stream());
      json_->begin_object()
          .member("capture", std::string_view(call.capture.path))
          .member("kind", std::string_view(call.kind));
    }
    if (!call.csv_file.empty() || !json_) {
      csv_file_.emplace(call.csv_file.empty() ? "-" : call.csv_file);
      csv_.emplace(csv_file_->stream());
    }
  }

  json_writer_t* json() { return json_ ? &*json_ : nullptr; }
  csv_writer_t* csv() { return csv_ ? &*csv_ : nullptr; }

  void commit() {
    std::vector<output_file_t*> files;
    if (json_) {
      json_->end_object();
      json_file_->stream() << '\n';
      files.push_back(&*json_file_);
    }
    if (csv_file_) {
      files.push_back(&*csv_file_);
    }
    output_file_t::commit_together(files);
  }

 private:
  std::optional<output_file_t> json_file_;
  std::optional<json_writer_t> json_;
  std::optional<output_file_t> csv_file_;
  std::optional<csv_writer_t> csv_;
};

void put_array(json_writer_t& json, const char* name, const std::vector<float>& values) {
  json.key(name).begin_array();
  for (const float value : values) {
    json.value(value);
  }
  json.end_array();
}

/// A spectrum as two columns of equal length.
void put_columns(spectrum_files_t& files, const std::vector<float>& frequencies,
                 const char* level_name, const std::vector<float>& levels) {
  if (json_writer_t* const json = files.json()) {
    put_array(*json, "frequency_hz", frequencies);
    put_array(*json, level_name, levels);
  }
  if (csv_writer_t* const csv = files.csv()) {
    csv->cell("frequency_hz").cell(level_name).end_row();
    for (std::size_t i = 0; i < frequencies.size(); ++i) {
      csv->cell(frequencies[i]).cell(levels[i]).end_row();
    }
  }
}

void put_single(const recording_t& recording, spectrum_files_t& files) {
  constexpr std::size_t most_samples = 1024;
  std::vector<orn::fmcw_demod_lib::sample_t> samples(most_samples);
  samples.resize(recording.source(0)->read(samples));
  const auto rate = static_cast<float>(recording.info().sample_rate);
  const orn::fmcw_demod_lib::FMCWConfig parameters({}, nullptr, rate);
  const orn::fmcw_demod_lib::FMCWAnalyze engine(parameters);
  std::vector<float> frequencies;
  std::vector<float> levels;
  engine.compute_psd(samples, rate, frequencies, levels);
  put_columns(files, frequencies, "level_db", levels);
}

void put_channel_power(const recording_t& recording, double impedance, spectrum_files_t& files) {
  const recording_info_t& info = recording.info();
  const channel_power_t power =
      channel_power_of(*recording.source(0), info.sample_count, info.sample_rate, impedance);
  if (json_writer_t* const json = files.json()) {
    json->member("total_dbm", power.total);
  }
  put_columns(files, power.frequencies, "power_dbm", power.powers);
}

void begin_rows(spectrum_files_t& files, const std::vector<float>& frequencies) {
  if (json_writer_t* const json = files.json()) {
    put_array(*json, "level_frequency_hz", frequencies);
    json->key("rows").begin_array();
  }
  if (csv_writer_t* const csv = files.csv()) {
    csv->cell("time_s").cell("peak_frequency_hz").cell("phase_rad");
    for (const float frequency : frequencies) {
      csv->cell(fmt::format("level_db_at_{}_hz", frequency));
    }
    csv->end_row();
  }
}

void put_row(spectrum_files_t& files, const fixed_spectrogram_t& rows, std::size_t i) {
  if (json_writer_t* const json = files.json()) {
    json->begin_object()
        .member("time_s", rows.time(i))
        .member("peak_frequency_hz", rows.peak_freq(i))
        .member("phase_rad", rows.phase(i));
    put_array(*json, "level_db", rows.levels(i));
    json->end_object();
  }
  if (csv_writer_t* const csv = files.csv()) {
    csv->cell(rows.time(i)).cell(rows.peak_freq(i)).cell(rows.phase(i));
    for (const float level : rows.levels(i)) {
      csv->cell(level);
    }
    csv->end_row();
  }
}

void put_fixed(const recording_t& recording, spectrum_files_t& files) {
  const recording_info_t& info = recording.info();
  const auto source = recording.source(0);
  fixed_spectrogram_t rows(*source, recording.segments().front().first_sample, info.sample_rate);
  if (!rows.next()) {
    throw input_error("{}: {} samples make no row of the fixed spectrogram; allowed are {} or more",
                      info.name, rows.sample_count(), fixed_window);
  }
  begin_rows(files, rows.frequencies());
  progress_t progress("transformed", info.sample_count);
  std::uint64_t done = 0;
  do {
    for (std::size_t i = 0; i < rows.row_count(); ++i) {
      put_row(files, rows, i);
    }
    done += rows.row_count() * fixed_hop;
    progress.show(done);
  } while (rows.next());
  progress.finish();
  if (json_writer_t* const json = files.json()) {
    json->end_array();
  }
}

void spectrum(const spectrum_call_t& call) {
  if (!(call.impedance > 0.0)) {
    throw input_error("--impedance cannot be {}; allowed is above 0 ohm", call.impedance);
  }
  const recording_t recording = recording_t::open(call.capture.path, call.capture.options);
  tell_notes(recording);
  if (recording.segments().size() != 1) {
    throw input_error("{}: has {} segments; take one with --from and --for", call.capture.path,
                      recording.segments().size());
  }
  check_outputs(recording.files(), std::array{call.json_file, call.csv_file});
  spectrum_files_t files(call);
  if (call.kind == "single") {
    put_single(recording, files);
  } else if (call.kind == "fixed") {
    put_fixed(recording, files);
  } else {
    put_channel_power(recording, call.impedance, files);
  }
  files.commit();
}

}  // namespace

void describe_spectrum(CLI::App& app) {
  auto* const command = app.add_subcommand("spectrum", "Write a spectrum of a recording");
  const auto call = std::make_shared<spectrum_call_t>();
  describe_capture(*command, call->capture);
  command
      ->add_option(
          "--kind", call->kind,
          "single (of the first 1024 samples), fixed (spectrogram of 256-sample windows) or "
          "channel-power (of all samples at once)")
      ->check(CLI::IsMember({"single", "fixed", "channel-power"}))
      ->capture_default_str();
  add_quantity(*command, "--impedance", call->impedance, {"ohm", "above 0", "75ohm"},
               "Load for channel power");
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
