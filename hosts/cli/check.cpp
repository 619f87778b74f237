#include "commands.h"
#include "common/figures/chirp_json.h"
#include "common/figures/figure_table.h"
#include "common/output/json_writer.h"
#include "common/output/output_file.h"
#include "common/output/text.h"
#include "common/trust/statement.h"
#include "diagnosis.h"
#include "errors.h"
#include "help.h"
#include "measurement.h"
#include "option_text.h"
#include "program.h"
#include "progress.h"
#include "table.h"
#include "terminal.h"

#include <cmath>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <vector>

#include <fmt/format.h>

namespace fmcw_cli {
namespace {

using namespace orn::fmcw_host;

struct check_call_t {
  capture_call_t capture;
  settings_source_t settings;
  unsigned jobs = 0;
  bool as_json = false;
};

using take_t = std::function<void(const chirp_t&, const chirp_trust_t&)>;

/// Analyses the capture and hands over each row with its trust. Throws the status where there is no
/// chirp, the reason told.
statement_t state(const check_call_t& call, measurement_t& measurement, const take_t& take) {
  progress_t progress("analysed", measurement.recording.info().sample_count);
  statement_maker_t maker(measurement.settings,
                          measurement.recording.info().clip_levels.has_value());
  std::uint64_t count = 0;
  const recording_totals_t totals = measure(
      measurement, call.jobs > 0 ? call.jobs : all_jobs(),
      {.on_chirp =
           [&](const chirp_t& chirp) {
             ++count;
             take(chirp, maker.add(chirp));
           },
       .on_progress = [&](const analysis_progress_t& state) { progress.show(state.done, count); }});
  progress.finish();
  const auto diagnosis =
      examine(measurement, totals, count, [](const std::string& text) { tell_note(text); });
  if (diagnosis) {
    tell_diagnosis(*diagnosis, call.capture);
    throw CLI::RuntimeError(no_chirps);
  }
  return maker.statement();
}

std::string percent(double share) {
  return std::isnan(share) ? "unknown" : fmt::format("{:.3g} %", 100.0 * share);
}

std::string decibels(double value) {
  return std::isnan(value) ? "unknown" : fmt::format("{:.1f} dB", value);
}

void put_line(const char* name, const std::string& content) {
  std::cout << fmt::format("{:<21}{}\n", name, content);
}

std::string snr_text(const statement_t& s) {
  if (s.told_count == 0) {
    return "unknown: below 5 dB, clipped, or no steady envelope";
  }
  if (s.is_slow()) {
    return fmt::format(
        "{}, of {} chirps, by what disturbs the envelope slowly, as echoes do: they "
        "limit the figures, not noise",
        decibels(s.snr), s.told_count);
  }
  const bool is_white = 2 * s.white_count > s.told_count;
  return fmt::format("{}, of {} chirps; the noise is {}", decibels(s.snr), s.told_count,
                     is_white ? "white" : "coloured: formulas for white noise do not hold");
}

std::string found_text(const statement_t& s) {
  return std::isnan(s.margin)
             ? "unknown"
             : fmt::format("with a probability of {:.4g}; 99 % need {}, the margin is {}",
                           s.found_probability, decibels(s.cliff), decibels(s.margin));
}

std::string merging_text(const statement_t& s) {
  if (std::isnan(s.gap_over_merging)) {
    return "no fly-backs known";
  }
  return fmt::format("fly-backs take {:.3g} of the gap that merges{}", s.gap_over_merging,
                     s.is_merge_risk ? ": chirps end differently by chance" : "");
}

void print_capture(const check_call_t& call, const measurement_t& measurement,
                   const statement_t& s) {
  put_line("capture", printable(measurement.recording.info().name));
  put_line("chirps",
           fmt::format("{}{}", s.chirp_count,
                       s.is_too_short ? ", too short for smoothing over 256 samples" : ""));
  put_line("clipped", percent(s.clipped_share));
  put_line("SNR", snr_text(s));
  put_line("a chirp is found", found_text(s));
  put_line("phase slips", fmt::format("{} chirps suspected", s.slip_count));
  put_line("lost to dead zone",
           std::isnan(s.dead_zone_loss)
               ? "unknown"
               : fmt::format("{} of the boundaries at most", percent(s.dead_zone_loss)));
  put_line("merging", merging_text(s));
  for (const advice_t& advice : s.advice) {
    put_line("advice", advice.sentence);
    if (!advice.options.empty()) {
      put_line("", command_text(call.capture, advice.options));
    }
  }
}

/// "-" for what is unknown or does not apply.
std::string cell(const scaled_unit_t& unit, double value) {
  return std::isnan(value) ? "-" : unit.format(value);
}

/// Two digits: an uncertainty has no more.
std::string rough_cell(const scaled_unit_t& unit, double value) {
  return std::isnan(value) ? "-" : fmt::format("{:.2g}", value * unit.factor);
}

void print_figures(const direction_summary_t& summary) {
  table_t table({"figure", "unit", "value", "bias", "u", "floor", "true", "trust"},
                table_t::turned);
  for (std::size_t i = 0; i < summary.size(); ++i) {
    const figure_t& figure = figure_named(trusted_columns[i]);
    if (is_place(figure)) {
      continue;  // a mean over chirps says nothing
    }
    const figure_trust_t& mean = summary[i].mean;
    const scaled_unit_t unit(std::string(figure.unit), {mean.value});
    table.add({std::string(figure.title), unit.unit, cell(unit, mean.value),
               rough_cell(unit, mean.bias), rough_cell(unit, mean.u), rough_cell(unit, mean.floor),
               cell(unit, mean.truth), std::string(name_of(mean.word))});
  }
  std::cout << table;
}

void print_text(const check_call_t& call, measurement_t& measurement) {
  const statement_t statement =
      state(call, measurement, [](const chirp_t&, const chirp_trust_t&) {});
  print_capture(call, measurement, statement);
  for (const direction_t direction : directions) {
    if (const auto& summary = statement.directions.at(static_cast<std::size_t>(direction))) {
      std::cout << fmt::format("\n{}, means over the chirps\n", name_of(direction));
      print_figures(*summary);
    }
  }
}

void put_statement(json_writer_t& json, const check_call_t& call, const statement_t& s) {
  json.key("trust").begin_object();
  json.member("chirp_count", s.chirp_count)
      .member("told_count", s.told_count)
      .member("white_count", s.white_count)
      .member("clipped_share", s.clipped_share)
      .member("snr_db", s.snr)
      .member("noise_correlation", s.correlation)
      .member("slope_over_slip", s.slope_over_slip)
      .member("cliff_db", s.cliff)
      .member("margin_db", s.margin)
      .member("found_probability", s.found_probability)
      .member("slip_count", s.slip_count)
      .member("dead_zone_loss", s.dead_zone_loss)
      .member("gap_over_merging", s.gap_over_merging)
      .member("merge_risk", s.is_merge_risk)
      .member("too_short", s.is_too_short);
  json.key("advice").begin_array();
  for (const advice_t& advice : s.advice) {
    json.begin_object().member("sentence", std::string_view(advice.sentence)).key("command");
    advice.options.empty()
        ? json.value(nullptr)
        : json.value(std::string_view(command_text(call.capture, advice.options)));
    json.end_object();
  }
  json.end_array().end_object();
}

void print_json(const check_call_t& call, measurement_t& measurement) {
  output_file_t out("-");
  json_writer_t json(out.stream(), json_writer_t::indented);
  json.begin_object().member("capture", std::string_view(measurement.recording.info().name));
  json.key("chirps").begin_array();
  const statement_t statement =
      state(call, measurement, [&](const chirp_t& chirp, const chirp_trust_t& trust) {
        write_json(json, chirp, {"", "", &trust}, false);
      });
  json.end_array();
  put_statement(json, call, statement);
  json.end_object();
  out.commit();
}

void check_capture(const check_call_t& call) {
  measurement_t measurement = open_measurement(call.capture, call.settings);
  look_for_settings(measurement);
  call.as_json ? print_json(call, measurement) : print_text(call, measurement);
}

}  // namespace

void describe_check(CLI::App& app) {
  auto* const command =
      app.add_subcommand("check", "Tell how far the figures of a recording can be trusted");
  const auto call = std::make_shared<check_call_t>();
  describe_capture(*command, call->capture);
  describe_settings_source(*command, call->settings);
  command->add_option("--jobs", call->jobs, "Number of threads; default: one for each processor")
      ->check(CLI::Range(1, 4096));
  command->add_flag("--json", call->as_json, "As JSON, a row for each chirp");
  add_examples(*command,
               {
                   {"fmcw check radar.sigmf-meta",
                    "noise, detection, and bias, uncertainty and floor of each figure"},
                   {"fmcw check lora.cf32 --fs 8M --json > trust.json", "of every chirp, as JSON"},
               });
  command->callback([call] { check_capture(*call); });
}

}  // namespace fmcw_cli
