#include "analyze.h"

#include "commands.h"
#include "common/output/output_file.h"
#include "errors.h"
#include "report.h"
#include "settings.h"

#include <common_log/logger_system.h>

#include <iostream>
#include <memory>

#include <unistd.h>

namespace fmcw_cli {
namespace {

using namespace orn::fmcw_demod_lib;
using orn::fmcw_host::write_output;

/// Shows the library's log entries on one line of the terminal while it lives.
class progress_line_t {
 public:
  progress_line_t() {
    if (shown_) {
      common_log::logger_system_t::get_instance().set_sink(
          [](const common_log::log_entry_t& entry) {
            std::cerr << "\r\033[K" << entry.message << std::flush;
          });
    }
  }
  progress_line_t(const progress_line_t&) = delete;
  progress_line_t& operator=(const progress_line_t&) = delete;
  ~progress_line_t() {
    if (shown_) {
      common_log::logger_system_t::get_instance().set_sink({});
      std::cerr << "\r\033[K" << std::flush;
    }
  }

 private:
  bool shown_ = ::isatty(STDERR_FILENO) != 0;
};

struct analyzer_handle_t {
  void* handle = nullptr;
  analyzer_handle_t() = default;
  analyzer_handle_t(const analyzer_handle_t&) = delete;
  analyzer_handle_t& operator=(const analyzer_handle_t&) = delete;
  ~analyzer_handle_t() { destroy_fmcw_analyzer(&handle); }
};

/// The settings of the call over the capture's rate, with a note on stderr for each that a limit
/// moved.
manager_t settings_for(const analyze_call_t& call, const capture_t& capture) {
  manager_t manager;
  manager.set_fs(capture.sample_rate);
  for (const std::string& note : apply_settings(call.settings, manager)) {
    std::cerr << "fmcw: " << note << '\n';
  }
  return manager;
}

void check(int code, const char* step, const ErrorMsg& error) {
  if (code != 0) {
    throw run_error("{} failed with code {}: {}; expected code 0", step, code, error.message);
  }
}

void run(capture_t& capture, const fmcw_demod_config_t& config, fmcw_measure_result_t& result) {
  const progress_line_t progress;
  analyzer_handle_t analyzer;
  ErrorMsg error;
  check(create_fmcw_analyzer(&analyzer.handle, &error), "creating the analyzer", error);
  check(config_fmcw_analyzer(analyzer.handle, capture.signal, &config, &error), "configuring",
        error);
  check(work_fmcw_analyzer(analyzer.handle, capture.signal, &result, &error), "the analysis",
        error);
  if (result.summary_valid == 0) {
    throw run_error(
        "{}: the settings leave no span to analyse: from_start {}, from_end {}, "
        "meas_time {} s, time_gate_len {} s, {} samples at {} Hz",
        capture.name, config.advanced.from_start, config.advanced.from_end,
        config.advanced.meas_time, config.advanced.time_gate_len, capture.signal.samples.size(),
        capture.sample_rate);
  }
}

}  // namespace

void analyze(const analyze_call_t& call) {
  if (call.json_file == "-" && call.csv_file == "-") {
    throw input_error("--json and --csv cannot both be '-'; standard output takes one of them");
  }
  capture_t capture = read_capture(call.capture.path, call.capture.options);
  const manager_t settings = settings_for(call, capture);
  fmcw_measure_result_t result;
  run(capture, settings.get_demod_config(), result);

  const analysis_t analysis{capture, settings, result};
  write_output(call.json_file,
               [&](std::ostream& out) { write_json(out, analysis, !call.without_traces); });
  write_output(call.csv_file, [&](std::ostream& out) { write_csv(out, analysis); });
  if (call.json_file != "-" && call.csv_file != "-") {
    if (call.report) {
      std::cout << result;
      return;
    }
    if (call.against_truth) {
      print_against_truth(std::cout, analysis);
    } else {
      print_chirps(std::cout, analysis, call.all_fields);
    }
    std::cout << '\n';
    print_summary(std::cout, analysis);
  }
}

void describe_analyze(CLI::App& app) {
  auto* const command = app.add_subcommand("analyze", "Find and measure the chirps of a capture");
  const auto call = std::make_shared<analyze_call_t>();
  describe_capture(*command, call->capture);
  command->add_option("--settings", call->settings.file,
                      "JSON file of settings, {\"name\": value}");
  command
      ->add_option("--set", call->settings.assignments, "One setting, name=value; may be repeated")
      ->allow_extra_args(false)
      ->take_all();
  command->add_flag("--all", call->all_fields, "Show every field of every chirp");
  command->add_flag("--truth", call->against_truth,
                    "Compare with the chirps annotated in a synthetic recording");
  command->add_flag("--report", call->report, "Print the library's own text of the result instead");
  command->add_option("--json", call->json_file, "Write everything as JSON ('-': standard output)");
  command->add_option("--csv", call->csv_file, "Write the chirps as CSV ('-': standard output)");
  command->add_flag("--no-traces", call->without_traces,
                    "Leave traces and spectrogram out of the JSON");
  command->callback([call] { analyze(*call); });
}

}  // namespace fmcw_cli
