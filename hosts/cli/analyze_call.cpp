#include "analyze_call.h"

#include "common/annotations/annotation_writer.h"
#include "common/output/output_file.h"
#include "errors.h"
#include "measurement.h"
#include "option_text.h"

namespace fmcw_cli {

using namespace orn::fmcw_host;

namespace {

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

}  // namespace

void check(const analyze_call_t& call) {
  if (!call.condition.empty() && (call.report || !call.traces.empty())) {
    throw input_error(
        "--condition cannot be combined with --report or --traces; fmcw filter writes "
        "a conditioned recording, which can");
  }
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

void describe_call(CLI::App& command, analyze_call_t& call) {
  command
      .add_option("CAPTURE", call.captures,
                  "Recordings (see fmcw info --help) or patterns of names, in one table; '-': raw "
                  "samples from standard input")
      ->required()
      ->type_name(file_type);
  describe_reading(command, call.capture.options);
  describe_settings_source(command, call.settings);
  command.add_flag("--auto", call.automatic,
                   "Choose limits that suit the recording (the default without limits or frames)");
  command.add_flag("--frames", call.frames, "Analyse the library's own frames, not spans");
  command.add_option("--jobs", call.jobs, "Number of threads; default: one for each processor")
      ->check(CLI::Range(1, 4096));
  command
      .add_option("--progress", call.progress,
                  "line (the default, on a terminal) or json: a line of JSON after each span, on "
                  "stderr")
      ->check(CLI::IsMember({"line", "json"}));
  command.add_flag("--all", call.outputs.all_figures, "Show every figure of every chirp");
  command.add_flag("--uncertainty", call.outputs.with_uncertainty,
                   "Show the uncertainty of figures, and write it with bias, floor and a word of "
                   "trust as CSV and JSON");
  command.add_flag("--selected", call.outputs.only_selected,
                   "Only the chirps that chirp_start and chirp_count select");
  command.add_flag("--truth", call.outputs.against_truth,
                   "Compare with the chirps annotated in a synthetic recording");
  command
      .add_option("--settling", call.settling,
                  "When a chirp counts as settled: within 0.1% of the sweep or 50kHz, and with "
                  "a comma 2deg; default: 1%,5deg")
      ->type_name("TOLERANCE");
  command
      .add_option("--condition", call.condition,
                  "Filter and decimate first: auto, or decimation, low-pass and shift, such as "
                  "8,7MHz,-20MHz; for sweeps that noise hides")
      ->type_name("auto|D,FC,SHIFT");
  command.add_flag("--report", call.report, "Print the library's own text of the result instead");
  command
      .add_option("--json", call.outputs.json_file,
                  "Write everything as JSON ('-': standard output)")
      ->type_name(file_type);
  command
      .add_option("--csv", call.outputs.csv_file, "Write the chirps as CSV ('-': standard output)")
      ->type_name(file_type);
  describe_verdicts(command, call.verdicts);
  command
      .add_option("--annotate", call.annotate,
                  "Write the recording's description with the chirps as annotations: "
                  "OUT.sigmf-meta")
      ->type_name(file_type);
  command.add_flag(
      "--in-place", call.in_place,
      "Let --annotate replace a file; alone: annotate the recording's own description");
  command
      .add_option("--traces", call.traces,
                  "Write frequency,power,phase,spectrogram (or some) as .npz")
      ->type_name("LIST");
  command.add_option("--npz", call.trace_file, "Where --traces go; default: CAPTURE.npz")
      ->type_name(file_type);
}

}  // namespace fmcw_cli
