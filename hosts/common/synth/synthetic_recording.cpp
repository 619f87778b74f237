#include "common/synth/synthetic_recording.h"

#include "common/synth/synthesizer.h"

#include <vector>

#include <fmt/format.h>

namespace orn::fmcw_host {
namespace {

using fmcw_demod_lib::sample_t;
using object_t = json_value_t::object_t;

json_value_t text(const std::string& content) { return {content}; }

json_value_t annotation_of(const chirp_truth_t& chirp) {
  return {object_t{{"core:sample_start", {chirp.sample_start}},
                   {"core:sample_count", {chirp.sample_count}},
                   {"core:freq_lower_edge", {chirp.freq_lower}},
                   {"core:freq_upper_edge", {chirp.freq_upper}},
                   {"core:label", text(chirp.slope < 0.0 ? "down-chirp" : "up-chirp")},
                   {"fmcw:start", {chirp.start}},
                   {"fmcw:length", {chirp.length}},
                   {"fmcw:slope", {chirp.slope}},
                   {"fmcw:power", {chirp.power}}}};
}

recording_story_t story_of(const transmitter_t& t) {
  recording_story_t story;
  const json_value_t extension{
      object_t{{"name", text("fmcw")}, {"version", text(FMCW_VERSION)}, {"optional", {true}}}};
  story.global = {
      {"core:description", text(fmt::format("synthetic FMCW capture: {}, ramps of {} Hz in {} s",
                                            t.triangular ? "triangular" : "sawtooth",
                                            t.falling ? -t.bandwidth : t.bandwidth, t.ramp))},
      {"core:recorder", text("fmcw synth " FMCW_VERSION)},
      {"core:extensions", {json_value_t::array_t{extension}}}};
  story.captures = {
      {object_t{{"core:sample_start", {std::uint64_t{0}}}, {"core:frequency", {0.0}}}}};
  story.annotations = [t](const std::function<void(const json_value_t&)>& put) {
    const std::uint64_t count = truth_count_of(t);
    for (std::uint64_t i = 0; i < count; ++i) {
      put(annotation_of(*truth_of(t, i)));
    }
  };
  return story;
}

}  // namespace

written_t write_synthetic(const transmitter_t& transmitter, const std::string& path,
                          existing_t existing, const std::function<void(std::uint64_t)>& progress) {
  synthesizer_t synthesizer(transmitter);
  const auto writer =
      create_recording(path, {"", existing, transmitter.sample_rate, sample_count_of(transmitter)});
  constexpr std::size_t piece = 65536;
  std::vector<sample_t> samples(piece);
  std::uint64_t done = 0;
  while (const std::size_t count = synthesizer.read(samples)) {
    writer->write(std::span(samples).first(count));
    done += count;
    progress(done);
  }
  return writer->finish(story_of(transmitter));
}

}  // namespace orn::fmcw_host
