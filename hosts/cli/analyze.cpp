#include "analyze_call.h"
#include "commands.h"
#include "common/capture/capture_names.h"
#include "common/capture/statistics.h"
#include "common/output/output_file.h"
#include "common/spans/recording_analysis.h"
#include "common/spans/trace_file.h"
#include "common/trust/statement.h"
#include "diagnosis.h"
#include "errors.h"
#include "help.h"
#include "measurement.h"
#include "option_text.h"
#include "outputs.h"
#include "program.h"
#include "progress.h"
#include "several.h"
#include "table.h"
#include "terminal.h"
#include "truth.h"
#include "whole.h"

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

std::optional<std::uint64_t> total_of(const recording_t& recording) {
  return recording.info().sample_count;
}

settling_tolerance_t settling_of(const analyze_call_t& call) {
  return call.settling.empty() ? settling_tolerance_t{}
                               : parse_settling(call.settling, "--settling");
}

unsigned jobs_of(const analyze_call_t& call) { return call.jobs > 0 ? call.jobs : all_jobs(); }

recording_totals_t run_shown(const analyze_call_t& call, measurement_t& measurement,
                             listener_t listener) {
  progress_t progress("analysed", total_of(measurement.recording),
                      call.progress == "json" ? progress_t::json : progress_t::line);
  std::uint64_t count = 0;
  listener.on_chirp = [&, on_chirp = std::move(listener.on_chirp)](const chirp_t& chirp) {
    ++count;
    on_chirp(chirp);
  };
  listener.on_progress = [&](const analysis_progress_t& state) {
    progress.show(state.done, count);
  };
  recording_totals_t totals = measure(measurement, jobs_of(call), listener, settling_of(call));
  progress.show(totals.sample_count, count);  // the last rows come behind the last span
  progress.finish();
  return totals;
}

void tell_totals(const measurement_t& measurement, const recording_totals_t& totals) {
  const double rate = measurement.recording.info().sample_rate;
  if (totals.nonfinite_count > 0) {
    tell_note(
        fmt::format("{} samples are not finite and were cut out, the first is sample {} ({:.9g} s)",
                    totals.nonfinite_count, *totals.first_nonfinite,
                    static_cast<double>(*totals.first_nonfinite) / rate));
  }
  for (const change_t& change : totals.changes) {
    tell_note(change_text(change));
  }
  if (totals.uncovered_count > 0) {
    tell_note(fmt::format("{} samples ({:.6g} s) are covered by no frame", totals.uncovered_count,
                          static_cast<double>(totals.uncovered_count) / rate));
  }
}

void print_note(const std::string& note) {
  for (const std::string& line : wrapped(note, width_of().value_or(note.size()))) {
    std::cout << line << '\n';
  }
}

void print_notes(const summary_t& summary) {
  for (std::size_t i = 0; i < flag_table.size(); ++i) {
    if (const std::uint64_t count = summary.flag_counts()[i]; count > 0) {
      print_note(fmt::format("{}: {} of {} chirps: {}", flag_table[i].word, count,
                             summary.chirp_count(), flag_table[i].meaning));
    }
  }
  if (summary.uneven_count() > 0) {
    print_note(fmt::format(
        "bandwidth: in {} of {} chirps it differs from the sweep, slope times length, by more than "
        "5 %: noise adds to the bandwidth, not to the sweep",
        summary.uneven_count(), summary.chirp_count()));
  }
}

void print_trust(const statement_t& statement) {
  if (statement.chirp_count > 0) {
    print_note(statement_line(statement) + "; fmcw check tells more");
  }
}

void print_summary(const measurement_t& measurement, const summary_t& summary,
                   const recording_totals_t& totals) {
  const settings_t& settings = measurement.settings;
  const double impedance = settings.manager.get_demod_config().impedance;
  const auto finite_count = static_cast<double>(totals.sample_count - totals.nonfinite_count);
  std::cout << fmt::format("chirps measured           {}\n", summary.chirp_count())
            << fmt::format("capture power             {}{}\n",
                           with_unit(dbm_of(totals.squares / finite_count, impedance), "dBm"),
                           measurement.recording.info().full_scale
                               ? ""
                               : " (1.0 counts as 1 V peak, uncalibrated; see --full-scale)");
  if (summary.chirp_count() > 0) {
    std::cout << fmt::format("highest chirp power       {}\n",
                             with_unit(summary.power_peak(), "dBm"))
              << fmt::format("switching time, std. dev. {}\n",
                             with_unit(summary.switching_time_std(), "s"))
              << fmt::format("  without first chirps    {}\n", with_unit(summary.gap_std(), "s"))
              << fmt::format("mean frequency            {}\n", with_unit(summary.freq_avg(), "Hz"));
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
    return all_found ? no_chirps : run_failed;
  }
  const bool has_failed = outputs.judge().verdict() == verdict_t::fail;
  return has_failed ? limit_failed : all_found ? 0 : run_failed;
}

int analyze_one(const analyze_call_t& call) {
  measurement_t measurement = open_measurement(call.capture, source_of(call), call.condition);
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
    }
    return any ? 0 : no_chirps;
  }
  outputs_t outputs(call.outputs);
  outputs.begin(measurement);
  if (measurement.is_proposed) {
    tell_note(proposal_text(measurement.proposal));
  }
  const auto add = [&](const auto& row) { outputs.add(row); };
  const recording_totals_t totals =
      run_shown(call, measurement, {.on_chirp = add, .on_change = add});
  const auto diagnosis = examine(measurement, totals, outputs.summary().chirp_count(),
                                 [](const std::string& text) { tell_note(text); });
  outputs.end(totals, measurement.settings.manager.get_demod_config().impedance,
              diagnosis ? &*diagnosis : nullptr);
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
    print_notes(outputs.summary());
    print_trust(outputs.trust());
    std::cout << '\n';
    print_summary(measurement, outputs.summary(), totals);
  }
  if (diagnosis) {
    tell_diagnosis(*diagnosis, call.capture);
  }
  outputs.commit(trace_file ? &*trace_file : nullptr);
  return status_of(outputs, all_found);
}

int analyze_all(const analyze_call_t& call, std::vector<std::string> names) {
  outputs_t outputs(call.outputs);
  return analyze_several(
      {std::move(names), call.capture.options, source_of(call), call.condition, jobs_of(call),
       [&](const recording_t& recording) { check_files(call, recording); },
       [&](measurement_t& measurement, unsigned jobs, const listener_t& listener, bool is_shown) {
         return is_shown ? run_shown(call, measurement, listener)
                         : measure(measurement, jobs, listener, settling_of(call));
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
  settling_of(call);  // before any work
  check(call);
  const int status =
      captures.is_several ? analyze_all(call, std::move(captures.names)) : analyze_one(call);
  if (status != 0) {
    throw CLI::RuntimeError(status);
  }
}

}  // namespace

void describe_analyze(CLI::App& app) {
  auto* const command = app.add_subcommand("analyze", "Find and measure the chirps of recordings");
  const auto call = std::make_shared<analyze_call_t>();
  describe_call(*command, *call);
  add_examples(
      *command,
      {
          {"fmcw analyze radar.sigmf-meta", "settings are chosen to suit the recording"},
          {"fmcw analyze lora.cf32 --fs 8M --csv chirps.csv",
           "raw samples; a row of CSV for each chirp"},
          {"fmcw analyze radar.cs16 --fs 125M --set max_chirp_len=150us --all",
           "every figure of chirps below 150 us"},
          {"producer | fmcw analyze - --fs 20M --format cs16 --json - -q", "from a pipe to JSON"},
      });
  command->callback([call] { analyze(*call); });
}

}  // namespace fmcw_cli
