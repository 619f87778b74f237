#include "commands.h"
#include "common/capture/capture_names.h"
#include "common/capture/statistics.h"
#include "common/output/output_file.h"
#include "common/spans/recording_analysis.h"
#include "common/spans/trace_file.h"
#include "common/spans/whole_analysis.h"
#include "errors.h"
#include "measurement.h"
#include "outputs.h"
#include "program.h"
#include "progress.h"
#include "several.h"
#include "table.h"
#include "truth.h"

#include <fmcw_demod/report.h>

#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include <fmt/format.h>

namespace fmcw_cli {
namespace {

using namespace orn::fmcw_host;

/// The call of `fmcw analyze`.
struct analyze_call_t {
  std::vector<std::string> captures;
  capture_call_t capture;  ///< where there is one
  settings_source_t settings;
  bool automatic = false;
  bool frames = false;
  bool report = false;
  unsigned jobs = 0;  ///< 0: one for each processor
  std::string progress;
  output_choice_t outputs;
  verdict_call_t verdicts;
  std::string annotate;
  bool in_place = false;
  std::string traces;
  std::string trace_file;
};

void check_several(const analyze_call_t& call) {
  if (call.report || call.outputs.against_truth || !call.traces.empty() || !call.annotate.empty()) {
    throw input_error("{} cannot be combined with several captures; allowed is one",
                      call.report                  ? "--report"
                      : call.outputs.against_truth ? "--truth"
                      : call.traces.empty()
                          ? "--annotate with a name (--in-place alone takes several)"
                          : "--traces");
  }
}

void check(const analyze_call_t& call) {
  if (call.automatic && call.frames) {
    throw input_error("--auto and --frames cannot both be given; allowed is one of them");
  }
  if (call.report && (call.outputs.against_truth || !call.outputs.json_file.empty() ||
                      !call.outputs.csv_file.empty())) {
    throw input_error("--report cannot be combined with --json, --csv or --truth");
  }
  const verdict_call_t& verdicts = call.verdicts;
  const bool is_annotated = !call.annotate.empty() || call.in_place;
  if (call.report && (verdicts.with_statistics || !verdicts.chart.empty() ||
                      !call.outputs.verdicts.limits.empty() || is_annotated)) {
    throw input_error(
        "--report cannot be combined with --stats, --chart, --limits, --limit or --annotate");
  }
  if (takes_stdout(call.outputs) && (verdicts.with_statistics || !verdicts.chart.empty())) {
    throw input_error(
        "--stats and --chart go to standard output, which --json or --csv takes; allowed is a file "
        "name for those");
  }
  if (call.outputs.is_several) {
    check_several(call);
  }
}

void check_files(const analyze_call_t& call, const recording_t& recording) {
  std::vector<std::string> inputs = recording.files();
  inputs.push_back(call.settings.file);
  std::vector<std::string> outputs = {call.outputs.json_file, call.outputs.csv_file,
                                      call.trace_file};
  inputs.insert(inputs.end(), call.verdicts.limits_files.begin(), call.verdicts.limits_files.end());
  check_outputs(inputs, outputs);
  if (!call.annotate.empty()) {  // which may take the place of the description
    outputs.push_back(annotation_path(*call.outputs.annotation, recording));
    check_outputs({}, outputs);
  }
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

unsigned jobs_of(const analyze_call_t& call) { return call.jobs > 0 ? call.jobs : all_jobs(); }

recording_totals_t run_shown(const analyze_call_t& call, measurement_t& measurement,
                             const std::function<void(const chirp_t&)>& on_chirp) {
  progress_t progress(total_of(measurement.recording),
                      call.progress == "json" ? progress_t::json : progress_t::line);
  const recording_totals_t totals =
      measure(measurement, jobs_of(call),
              {on_chirp, [&](const analysis_progress_t& state) { progress.show(state.done); }});
  progress.finish();
  return totals;
}

/// The part taken, in memory whole.
std::vector<orn::fmcw_demod_lib::sample_t> read_whole(const measurement_t& measurement) {
  const recording_t& recording = measurement.recording;
  if (recording.segments().size() != 1 || !total_of(recording)) {
    throw input_error(
        "{}: --traces and --report take one segment of a file; this has {}: choose a part with "
        "--from and --for",
        recording.info().name,
        total_of(recording) ? fmt::format("{} segments", recording.segments().size())
                            : std::string("no known length"));
  }
  std::vector<orn::fmcw_demod_lib::sample_t> samples;
  resize_for("the samples", samples, static_cast<std::size_t>(*total_of(recording)));
  recording.source(0)->read(samples);
  return samples;
}

void write_trace_file(const analyze_call_t& call, const measurement_t& measurement) {
  const trace_choice_t choice = parse_traces(call.traces);
  const auto result =
      analyze_whole(measurement.settings, read_whole(measurement), choice.spectrogram);
  const double rate = measurement.recording.info().sample_rate;
  const double start =
      static_cast<double>(measurement.recording.segments().front().first_sample) / rate;
  write_output(call.trace_file,
               [&](std::ostream& out) { write_traces(out, result, choice, start, rate); });
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
    const double seconds = static_cast<double>(change.first_sample) / rate;
    tell(
        fmt::format("about {:.6g} s on: {}, which these settings leave out; look there with --from "
                    "{}",
                    seconds, group_text(change.others), change.first_sample)
            .c_str());
  }
  if (totals.uncovered_count > 0) {
    tell(fmt::format("{} samples ({:.6g} s) are covered by no frame", totals.uncovered_count,
                     static_cast<double>(totals.uncovered_count) / rate)
             .c_str());
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
              << fmt::format("mean frequency            {} {}\n",
                             frequency.format(summary.freq_avg()), frequency.unit);
  }
}

/// The limits that failed go to stderr where standard output is taken.
void tell_failures(const outputs_t& outputs) {
  for (const limit_outcome_t& outcome : outputs.judge().outcomes()) {
    if (outcome.verdict() == verdict_t::fail) {
      tell(failure_text(outcome).c_str());
    }
  }
}

int status_of(const outputs_t& outputs, bool all_found) {
  if (outputs.summary().chirp_count() == 0) {
    return no_chirps;
  }
  const bool has_failed = outputs.judge().verdict() == verdict_t::fail;
  return has_failed ? limit_failed : all_found ? 0 : run_failed;
}

int analyze_one(const analyze_call_t& call) {
  measurement_t measurement = prepare_measurement(call.capture, source_of(call));
  check_files(call, measurement.recording);
  if (!call.traces.empty()) {
    write_trace_file(call, measurement);
  }
  if (call.report) {
    std::cout << analyze_whole(measurement.settings, read_whole(measurement), true);
    return 0;
  }
  outputs_t outputs(call.outputs);
  outputs.begin(measurement);
  if (measurement.is_proposed) {
    tell(proposal_text(measurement.proposal).c_str());
  }
  const recording_totals_t totals =
      run_shown(call, measurement, [&](const chirp_t& chirp) { outputs.add(chirp); });
  outputs.end(totals, measurement.settings.manager.get_demod_config().impedance);
  outputs.finish();
  tell_totals(measurement, totals);
  bool all_found = true;
  if (call.outputs.against_truth) {
    all_found = print_against_truth(std::cout, measurement.recording, measurement.settings,
                                    outputs.collected());
  }
  if (takes_stdout(call.outputs)) {
    tell_failures(outputs);
  } else {
    outputs.print_verdicts(std::cout);
    std::cout << '\n';
    print_summary(measurement, outputs.summary(), totals);
  }
  outputs.commit_annotations();
  return status_of(outputs, all_found);
}

int analyze_all(const analyze_call_t& call, std::vector<std::string> names) {
  outputs_t outputs(call.outputs);
  return analyze_several(
      {std::move(names), call.capture.options, source_of(call), jobs_of(call),
       [&](const recording_t& recording) { check_files(call, recording); },
       [&](measurement_t& measurement, unsigned jobs, const auto& on_chirp, bool is_shown) {
         return is_shown ? run_shown(call, measurement, on_chirp)
                         : measure(measurement, jobs, {on_chirp, nullptr});
       },
       tell_totals},
      outputs);
}

void analyze(analyze_call_t call) {
  capture_names_t captures = expand_captures(call.captures);
  call.outputs.is_several = captures.is_several;
  call.outputs.verdicts = verdict_choice_of(call.verdicts);
  call.capture.path = captures.names.front();
  call.capture.options.with_sha256 = !call.outputs.json_file.empty();
  if (!call.annotate.empty() || call.in_place) {
    call.outputs.annotation = {call.annotate, call.in_place};
  }
  if (!call.traces.empty()) {
    parse_traces(call.traces);
    call.trace_file = call.trace_file.empty() ? call.capture.path + ".npz" : call.trace_file;
  }
  check(call);
  const int status =
      captures.is_several ? analyze_all(call, std::move(captures.names)) : analyze_one(call);
  if (status != 0) {
    throw CLI::RuntimeError(status);
  }
}

}  // namespace

void describe_analyze(CLI::App& app) {
  auto* const command = app.add_subcommand("analyze", "Find and measure the chirps of a recording");
  const auto call = std::make_shared<analyze_call_t>();
  command
      ->add_option("CAPTURE", call->captures,
                   "Recordings (see fmcw info --help) or patterns of names, in one table; '-': raw "
                   "samples from standard input")
      ->required();
  describe_reading(*command, call->capture.options);
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
  command->add_flag("--report", call->report, "Print the library's own text of the result instead");
  command->add_option("--json", call->outputs.json_file,
                      "Write everything as JSON ('-': standard output)");
  command->add_option("--csv", call->outputs.csv_file,
                      "Write the chirps as CSV ('-': standard output)");
  describe_verdicts(*command, call->verdicts);
  command->add_option("--annotate", call->annotate,
                      "Write the recording's description with the chirps as annotations: "
                      "OUT.sigmf-meta");
  command->add_flag(
      "--in-place", call->in_place,
      "Let --annotate replace a file; alone: annotate the recording's own description");
  command->add_option("--traces", call->traces,
                      "Write frequency,power,phase,spectrogram (or some) as .npz");
  command->add_option("--npz", call->trace_file, "Where --traces go; default: CAPTURE.npz");
  command->callback([call] { analyze(*call); });
}

}  // namespace fmcw_cli
