#include "capture.h"

#include "common/capture/sigmf_description.h"
#include "errors.h"
#include "program.h"

#include <algorithm>

namespace fmcw_cli {

using orn::fmcw_host::recording_t;

capture_t read_capture(const std::string& path, const orn::fmcw_host::read_options_t& options) {
  const recording_t recording = recording_t::open(path, options);
  tell_notes(recording);
  if (recording.segments().size() != 1) {
    throw input_error("{}: has {} segments; take one with --from and --for", path,
                      recording.segments().size());
  }
  capture_t capture;
  capture.name = path;
  capture.datatype = recording.info().datatype;
  capture.sample_rate = recording.info().sample_rate;
  capture.signal.fs = static_cast<float>(capture.sample_rate);
  auto& samples = capture.signal.samples;
  const auto source = recording.source(0);
  if (const auto count = recording.info().sample_count) {
    orn::fmcw_host::resize_for("a capture in memory", samples, static_cast<std::size_t>(*count));
    source->read(samples);
  } else {
    constexpr std::size_t piece = 1U << 20U;
    std::size_t filled = 0;
    do {
      orn::fmcw_host::resize_for("a capture in memory", samples, filled + piece);
      filled += source->read(std::span(samples).subspan(filled));
    } while (filled == samples.size());
    samples.resize(filled);
  }
  recording.for_each_annotation([&](const orn::fmcw_host::annotation_t& annotation) {
    if (const auto truth = orn::fmcw_host::truth_of(annotation)) {
      capture.truth.push_back(*truth);
    }
  });
  return capture;
}

}  // namespace fmcw_cli
