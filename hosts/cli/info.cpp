#include "commands.h"
#include "common/capture/statistics.h"
#include "common/output/json_writer.h"
#include "common/output/output_file.h"
#include "common/output/text.h"
#include "common/spans/proposal.h"
#include "errors.h"
#include "help.h"
#include "program.h"
#include "progress.h"
#include "table.h"

#include <cmath>
#include <iostream>
#include <memory>
#include <vector>

#include <fmt/format.h>

namespace fmcw_cli {
namespace {

using namespace orn::fmcw_host;

struct info_call_t {
  capture_call_t capture;
  double impedance = 50.0;
  bool as_json = false;
  bool verify = false;
};

std::string time_text(std::uint64_t samples, double rate) {
  return with_unit(static_cast<double>(samples) / rate, "s");
}

std::string count_text(std::uint64_t count, std::optional<std::uint64_t> first, double rate) {
  return first ? fmt::format("{}, the first at sample {} ({})", count, *first,
                             time_text(*first, rate))
               : "none";
}

std::string centre_text(const segment_t& segment) {
  return segment.centre ? with_unit(*segment.centre, "Hz") : "not told";
}

void put_line(const char* name, const std::string& content) {
  std::cout << fmt::format("{:<19}{}\n", name, printable(content));
}

void put_segments(const recording_t& recording, const sample_statistics_t& statistics) {
  const double rate = recording.info().sample_rate;
  for (const segment_t& segment : recording.segments()) {
    const std::uint64_t count = segment.sample_count.value_or(statistics.sample_count);
    put_line("  segment",
             fmt::format("from sample {} ({}), {} samples, centre {}{}{}", segment.first_sample,
                         time_text(segment.first_sample, rate), count, centre_text(segment),
                         segment.datetime.empty() ? "" : ", ", segment.datetime));
  }
}

/// What `fmcw suggest` would say; empty for a pipe, whose samples can be had once.
std::string proposed_settings(const recording_t& recording) {
  if (!recording.info().sample_count) {
    return "";
  }
  std::vector<orn::fmcw_demod_lib::sample_t> read;
  return proposal_text(propose(*recording.source(0), recording.info().sample_rate, read));
}

void print_text(const info_call_t& call, const recording_t& recording,
                const sample_statistics_t& statistics) {
  const recording_info_t& info = recording.info();
  const double rate = info.sample_rate;
  put_line("recording", info.name);
  put_line("format", fmt::format("{}, {}", info.format, info.datatype));
  put_line("sample rate", with_unit(rate, "Hz"));
  put_line("centre", centre_text(recording.segments().front()));
  put_line("duration", fmt::format("{}, {} samples", time_text(statistics.sample_count, rate),
                                   statistics.sample_count));
  put_line("segments", fmt::format("{}", recording.segments().size()));
  if (recording.segments().size() > 1) {
    put_segments(recording, statistics);
  }
  put_line("annotations", fmt::format("{}", info.annotation_count));
  put_line("clipped samples",
           info.clip_levels ? count_text(statistics.clipped_count, statistics.first_clipped, rate)
                            : "unknown, floating point has no end of its range");
  put_line("non-finite samples",
           count_text(statistics.nonfinite_count, statistics.first_nonfinite, rate));
  put_line("power", fmt::format("mean {:.6g} dBm, peak {:.6g} dBm into {} ohm",
                                dbm_of(statistics.mean_square, call.impedance),
                                dbm_of(statistics.peak_square, call.impedance), call.impedance));
  put_line("full scale", info.full_scale
                             ? fmt::format("1.0 is {} V peak", *info.full_scale)
                             : "1.0 counts as 1 V peak, uncalibrated; --full-scale sets it");
  put_line("proposal", proposed_settings(recording));
}

void put_optional(json_writer_t& json, const char* name,
                  const std::optional<std::uint64_t>& value) {
  json.key(name);
  value ? json.value(*value) : json.value(nullptr);
}

void put_optional(json_writer_t& json, const char* name, const std::optional<double>& value) {
  json.key(name);
  value ? json.value(*value) : json.value(nullptr);
}

void print_json(const info_call_t& call, const recording_t& recording,
                const sample_statistics_t& statistics) {
  const recording_info_t& info = recording.info();
  output_file_t out("-");
  json_writer_t json(out.stream(), json_writer_t::indented);
  json.begin_object()
      .member("capture", std::string_view(info.name))
      .member("format", std::string_view(info.format))
      .member("datatype", std::string_view(info.datatype))
      .member("sample_rate_hz", info.sample_rate)
      .member("sample_count", statistics.sample_count)
      .member("duration_s", static_cast<double>(statistics.sample_count) / info.sample_rate)
      .member("annotation_count", info.annotation_count);
  put_optional(json, "full_scale_v", info.full_scale);
  put_optional(json, "clipped_count",
               info.clip_levels ? std::optional(statistics.clipped_count) : std::nullopt);
  put_optional(json, "first_clipped_sample", statistics.first_clipped);
  json.member("nonfinite_count", statistics.nonfinite_count);
  put_optional(json, "first_nonfinite_sample", statistics.first_nonfinite);
  json.member("power_avg_dbm", dbm_of(statistics.mean_square, call.impedance))
      .member("power_peak_dbm", dbm_of(statistics.peak_square, call.impedance))
      .member("impedance_ohm", call.impedance)
      .member("proposal", std::string_view(proposed_settings(recording)))
      .key("segments")
      .begin_array();
  for (const segment_t& segment : recording.segments()) {
    json.begin_object()
        .member("first_sample", segment.first_sample)
        .member("sample_count", segment.sample_count.value_or(statistics.sample_count));
    put_optional(json, "centre_hz", segment.centre);
    json.key("datetime");
    segment.datetime.empty() ? json.value(nullptr) : json.value(std::string_view(segment.datetime));
    json.end_object();
  }
  json.end_array().end_object();
  out.commit();
}

void info(const info_call_t& call) {
  if (!(call.impedance > 0.0 && std::isfinite(call.impedance))) {
    throw input_error("--impedance cannot be {}; allowed is above 0 ohm", call.impedance);
  }
  const recording_t recording = recording_t::open(call.capture.path, call.capture.options);
  tell_notes(recording);
  if (call.verify) {
    recording.verify_checksum();
  }
  sample_statistics_t statistics;
  {
    progress_t progress("looked at", recording.info().sample_count);
    statistics = statistics_of(recording, [&](std::uint64_t done) { progress.show(done); });
  }
  if (call.as_json) {
    print_json(call, recording, statistics);
  } else {
    print_text(call, recording, statistics);
  }
}

}  // namespace

void describe_info(CLI::App& app) {
  auto* const command =
      app.add_subcommand("info", "Tell what a recording is: format, rate, length, clipping, power");
  const auto call = std::make_shared<info_call_t>();
  describe_capture(*command, call->capture);
  command->add_option("--impedance", call->impedance, "Load that powers are into [ohm]")
      ->capture_default_str();
  command->add_flag("--verify", call->verify, "Compare the samples with their core:sha512");
  command->add_flag("--json", call->as_json, "As JSON");
  add_examples(
      *command,
      {
          {"fmcw info radar.sigmf-meta", "rate, length, clipping, power, settings that would suit"},
          {"fmcw info drone.cs16 --fs 20M --full-scale 0.5V", "of raw samples, powers calibrated"},
          {"fmcw info radar.sigmf --verify --json", "compare the checksum; for a program"},
      });
  command->callback([call] { info(*call); });
}

}  // namespace fmcw_cli
