#include "whole.h"

#include "common/spans/trace_file.h"
#include "common/spans/whole_analysis.h"
#include "errors.h"

#include <fmcw_demod/report.h>

#include <iostream>
#include <vector>

#include <fmt/format.h>

namespace fmcw_cli {

using namespace orn::fmcw_host;

namespace {

orn::fmcw_demod_lib::fmcw_measure_result_t analysis_of(const measurement_t& measurement,
                                                       bool with_spectrogram) {
  const recording_t& recording = measurement.recording;
  std::vector<orn::fmcw_demod_lib::sample_t> samples;
  resize_for("the samples", samples, static_cast<std::size_t>(*recording.info().sample_count));
  recording.source(0)->read(samples);
  return analyze_whole(measurement.settings, std::move(samples), with_spectrogram);
}

}  // namespace

void check_whole(const measurement_t& measurement, bool with_spectrogram) {
  const recording_t& recording = measurement.recording;
  const auto total = recording.info().sample_count;
  if (recording.segments().size() != 1 || !total) {
    throw input_error(
        "{}: --traces and --report take one segment of a file; this has {}: choose a part with "
        "--from and --for",
        recording.info().name,
        total ? fmt::format("{} segments", recording.segments().size())
              : std::string("no known length"));
  }
  check_whole(measurement.settings, *total, with_spectrogram);
}

void write_trace_file(const measurement_t& measurement, const std::string& traces,
                      output_file_t& file) {
  const trace_choice_t choice = parse_traces(traces);
  const auto result = analysis_of(measurement, choice.spectrogram);
  const double rate = measurement.recording.info().sample_rate;
  const double start =
      static_cast<double>(measurement.recording.segments().front().first_sample) / rate;
  write_traces(file.stream(), result, choice, start, rate);
}

bool print_report(const measurement_t& measurement) {
  const auto result = analysis_of(measurement, true);
  std::cout << result;
  return !result.chirp_results.empty();
}

}  // namespace fmcw_cli
