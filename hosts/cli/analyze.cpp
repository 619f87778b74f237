#include "commands.h"
#include "common/capture/statistics.h"
#include "common/output/output_file.h"
#include "common/spans/recording_analysis.h"
#include "common/spans/trace_file.h"
#include "diagnosis.h"
#include "errors.h"
#include "measurement.h"
#include "outputs.h"
#include "program.h"
#include "progress.h"
#include "table.h"
#include "truth.h"
#include "whole.h"

#include <algorithm>
#include <array>
#include <iostream>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

#include <fmt/format.h>

namespace fmcw_cli {
namespace {

using namespace orn::fmcw_host;

/// The call of `fmcw analyze`.
struct analyze_call_t {
  capture_call_t capture;
  settings_source_t settings;
  bool automatic = false;
  bool frames = false;
  bool report = false;
  unsigned jobs = 0;  ///< 0: one for each processor
  std::string progress;
  output_choice_t outputs;
  std::string traces;
  std::string trace_file;
  std::string settling;
};

void check(const analyze_call_t& call) {
  if (call.automatic && call.frames) {
    throw input_error("--auto and --frames cannot both be given; allowed is one of them");
  }
  if (call.report && (call.outputs.against_truth || !call.outputs.json_file.empty() ||
                      !call.outputs.csv_file.empty())) {
    throw input_error("--report cannot be combined with --json, --csv or --truth");
  }
}

void check_files(const analyze_call_t& call, const recording_t& recording) {
  std::vector<std::string> inputs = recording.files();
  inputs.push_back(call.settings.file);
  const std::array outputs = {call.outputs.json_file, call.outputs.csv_file, call.trace_file};
  check_outputs(inputs, outputs);
}

settings_source_t source_of(const analyze_call_t& call) {
  settings_source_t source = call.settings;
  if (call.automatic) {
    source.assignments.emplace_back("search=automatic");
  }
  if (call.frames) {
    source.assignments.emplace_back("search=frames");
  }
  return source;
}

std::optional<std::uint64_t> total_of(const recording_t& recording) {
  return recording.info().sample_count;
}

recording_totals_t run(const analyze_call_t& call, measurement_t& measurement, outputs_t& outputs) {
  const auto total = total_of(measurement.recording);
  progress_t progress(total, call.progress == "json" ? progress_t::json : progress_t::line);
  const unsigned jobs =
      call.jobs > 0 ? call.jobs : std::max(std::thread::hardware_concurrency(), 1U);
  recording_analysis_t analysis(
      measurement.settings, jobs,
      {[&](const chirp_t& chirp) { outputs.add(chirp); },
       [&](const change_t& change) { outputs.add(change); },
       [&](const analysis_progress_t& state) { progress.show(state.done); }},
      total, measurement.proposal.coverage,
      {call.settling.empty() ? settling_tolerance_t{} : parse_settling(call.settling, "--settling"),
       measurement.recording.info().clip_levels});
  const auto& segments = measurement.recording.segments();
  for (std::size_t i = 0; i < segments.size(); ++i) {
    const auto source = measurement.source(i);
    analysis.analyze(segments[i], *source);
  }
  progress.finish();
  return analysis.totals();
}

void tell_totals(const measurement_t& measurement, const recording_totals_t& totals) {
  const double rate = measurement.recording.info().sample_rate;
  if (totals.nonfinite_count > 0) {
    tell(
        fmt::format("{} samples are not finite and were cut out, the first is sample {} ({:.9g} s)",
                    totals.nonfinite_count, *totals.first_nonfinite,
                    static_cast<double>(*totals.first_nonfinite) / rate)
            .c_str());
  }
  for (const change_t& change : totals.changes) {
    tell(change_text(change).c_str());
  }
  if (totals.uncovered_count > 0) {
    tell(fmt::format("{} samples ({:.6g} s) are covered by no frame", totals.uncovered_count,
                     static_cast<double>(totals.uncovered_count) / rate)
             .c_str());
  }
}

void print_notes(const summary_t& summary) {
  for (std::size_t i = 0; i < flag_table.size(); ++i) {
    if (const std::uint64_t count = summary.flag_counts()[i]; count > 0) {
      std::cout << fmt::format("{}: {} of {} chirps: {}\n", flag_table[i].word, count,
                               summary.chirp_count(), flag_table[i].meaning);
    }
  }
  if (summary.uneven_count() > 0) {
    std::cout << fmt::format(
        "bandwidth: in {} of {} chirps it differs from the sweep, slope times length, by more than "
        "5 %: noise adds to the bandwidth, not to the sweep\n",
        summary.uneven_count(), summary.chirp_count());
  }
}

void print_summary(const measurement_t& measurement, const summary_t& summary,
                   const recording_totals_t& totals) {
  const settings_t& settings = measurement.settings;
  const double impedance = settings.manager.get_demod_config().impedance;
  const auto finite_count = static_cast<double>(totals.sample_count - totals.nonfinite_count);
  const scaled_unit_t frequency("Hz", {summary.freq_avg()});
  std::cout << fmt::format("chirps measured           {}\n", summary.chirp_count())
            << fmt::format("capture power             {:.6g} dBm{}\n",
                           dbm_of(totals.squares / finite_count, impedance),
                           measurement.recording.info().full_scale
                               ? ""
                               : " (1.0 counts as 1 V peak, uncalibrated; see --full-scale)");
  if (summary.chirp_count() > 0) {
    std::cout << fmt::format("highest chirp power       {:.6g} dBm\n", summary.power_peak())
              << fmt::format("switching time, std. dev. {:.6g} us\n",
                             summary.switching_time_std() * 1e6)
              << fmt::format("  without first chirps    {:.6g} us\n", summary.gap_std() * 1e6)
              << fmt::format("mean frequency            {} {}\n",
                             frequency.format(summary.freq_avg()), frequency.unit);
  }
}

void analyze(analyze_call_t call) {
  if (!call.traces.empty()) {
    parse_traces(call.traces);
    call.trace_file = call.trace_file.empty() ? call.capture.path + ".npz" : call.trace_file;
  }
  if (!call.settling.empty()) {
    parse_settling(call.settling, "--settling");  // before any work
  }
  check(call);
  measurement_t measurement = open_measurement(call.capture, source_of(call));
  check_files(call, measurement.recording);
  if (call.report || !call.traces.empty()) {
    check_whole(measurement, call.report || parse_traces(call.traces).spectrogram);
  }
  look_for_settings(measurement);
  std::optional<output_file_t> trace_file;
  if (!call.traces.empty()) {
    write_trace_file(measurement, call.traces, trace_file.emplace(call.trace_file));
  }
  if (call.report) {
    const bool any = print_report(measurement);
    if (trace_file) {
      trace_file->commit();
    }
    if (!any) {
      tell("no chirps; without --report, the reason is told");
      throw CLI::RuntimeError(no_chirps);
    }
    return;
  }
  outputs_t outputs(call.outputs, measurement);
  if (measurement.is_proposed) {
    tell(proposal_text(measurement.proposal).c_str());
  }
  const recording_totals_t totals = run(call, measurement, outputs);
  const data_look_t look = look_at_recording(measurement.recording);
  std::optional<diagnosis_t> diagnosis;
  if (outputs.summary().chirp_count() == 0) {
    diagnosis = diagnose(measurement.recording.info(), totals, measurement.settings,
                         measurement.is_proposed, look);
  } else if (look.kind != data_look_t::ordinary) {
    tell((look_sentence(measurement.recording.info(), look) + "; are these chirps?").c_str());
  }
  outputs.finish(totals, measurement.settings.manager.get_demod_config().impedance,
                 diagnosis ? &*diagnosis : nullptr);
  tell_totals(measurement, totals);
  bool all_found = true;
  if (call.outputs.against_truth) {
    all_found = print_against_truth(std::cout, measurement.recording, measurement.settings,
                                    outputs.collected());
  }
  if (!takes_stdout(call.outputs)) {
    print_notes(outputs.summary());
    std::cout << '\n';
    print_summary(measurement, outputs.summary(), totals);
  }
  if (diagnosis) {
    tell_diagnosis(*diagnosis, call.capture);
  }
  outputs.commit(trace_file ? &*trace_file : nullptr);
  if (!all_found || diagnosis) {
    throw CLI::RuntimeError(all_found ? no_chirps : run_failed);
  }
}

}  // namespace

void describe_analyze(CLI::App& app) {
  auto* const command = app.add_subcommand("analyze", "Find and measure the chirps of a recording");
  const auto call = std::make_shared<analyze_call_t>();
  describe_capture(*command, call->capture);
  describe_settings_source(*command, call->settings);
  command->add_flag("--auto", call->automatic,
                    "Choose limits that suit the recording (the default without limits or frames)");
  command->add_flag("--frames", call->frames, "Analyse the library's own frames, not spans");
  command->add_option("--jobs", call->jobs, "Number of threads; default: one for each processor")
      ->check(CLI::Range(1, 4096));
  command
      ->add_option("--progress", call->progress,
                   "line (the default, on a terminal) or json: a line of JSON after each span, on "
                   "stderr")
      ->check(CLI::IsMember({"line", "json"}));
  command->add_flag("--all", call->outputs.all_figures, "Show every figure of every chirp");
  command->add_flag("--selected", call->outputs.only_selected,
                    "Only the chirps that chirp_start and chirp_count select");
  command->add_flag("--truth", call->outputs.against_truth,
                    "Compare with the chirps annotated in a synthetic recording");
  command->add_option("--settling", call->settling,
                      "When a chirp counts as settled: within 0.1% of the sweep or 50kHz, and with "
                      "a comma 2deg; default: 1%,5deg");
  command->add_flag("--report", call->report, "Print the library's own text of the result instead");
  command->add_option("--json", call->outputs.json_file,
                      "Write everything as JSON ('-': standard output)");
  command->add_option("--csv", call->outputs.csv_file,
                      "Write the chirps as CSV ('-': standard output)");
  command->add_option("--traces", call->traces,
                      "Write frequency,power,phase,spectrogram (or some) as .npz");
  command->add_option("--npz", call->trace_file, "Where --traces go; default: CAPTURE.npz");
  command->callback([call] { analyze(*call); });
}

}  // namespace fmcw_cli
