#include "common/spans/layout.h"

#include "common/errors.h"
#include "common/memory.h"
#include "common/spans/frame_plan.h"

#include <algorithm>
#include <cmath>

namespace orn::fmcw_host {
namespace {

// Samples that a span owns. Short ones stay nearer to the caches and spread better over threads;
// long enough, what neighbours see as well costs little.
constexpr std::uint64_t least_own = std::uint64_t{1} << 19;
constexpr std::uint64_t most_own = std::uint64_t{1} << 21;
constexpr std::uint64_t chirps_per_span = 16;
constexpr std::uint64_t least_chirps_per_span = 2;

void check(const layout_t& layout, const settings_t& settings) {
  const std::uint64_t longest = layout.longest();
  if (longest <= most_indexed_samples && bytes_of_span(longest) <= memory_of_machine()) {
    return;
  }
  const bool frames = layout.frame_length > 0;
  throw input_error_t(
      "{} cannot be {} s at {} Hz: a span of {} samples needs {:.1f} GB; allowed are 2^31 - 1 "
      "samples and, on this machine, {:.1f} GB",
      frames ? "time_gate_len" : "max_chirp_len",
      frames ? settings.manager.get_time_gate_len() : settings.manager.get_max_chirp_len(),
      settings.manager.get_fs(), longest, static_cast<double>(bytes_of_span(longest)) * 1e-9,
      static_cast<double>(memory_of_machine()) * 1e-9);
}

layout_t lay_out_spans(const settings_t& settings) {
  const double samples = settings.manager.get_max_chirp_len() * settings.manager.get_fs();
  const auto longest_chirp = static_cast<std::uint64_t>(
      std::ceil(std::min(samples, static_cast<double>(most_indexed_samples))));
  layout_t layout;
  layout.lead = longest_chirp + longest_chirp / 4 + seam_margin;
  layout.tail = layout.lead;
  layout.own = std::max(std::clamp(chirps_per_span * longest_chirp, least_own, most_own),
                        least_chirps_per_span * longest_chirp);
  return layout;
}

layout_t lay_out_frames(const settings_t& settings, std::uint64_t sample_count) {
  const frame_plan_t plan = plan_frames(settings, sample_count);
  if (plan.start == plan.end) {
    throw no_span_error(settings, sample_count);
  }
  layout_t layout;
  layout.uncovered = sample_count - std::min(plan.end - plan.start, plan.length * plan.count);
  layout.frame_length = std::max<std::uint64_t>(plan.length, 1);
  if (sample_count <= 2 * most_own) {
    layout.own = sample_count;
    layout.frames_per_span = plan.count;
    return layout;
  }
  layout.begin = plan.start;
  layout.end = std::min(plan.end, plan.start + plan.length * plan.count);
  layout.frames_per_span = std::max<std::uint64_t>(most_own / layout.frame_length, 1);
  layout.own = layout.frames_per_span * layout.frame_length;
  // The frequency at a frame's first sample is a difference across it, and the library counts
  // frames by their duration, which is up to two samples more than their length.
  layout.lead = 1;
  layout.tail = 2 * layout.frames_per_span + 2;
  return layout;
}

}  // namespace

layout_t lay_out(const settings_t& settings, std::optional<std::uint64_t> sample_count) {
  if (settings.search == search_t::frames && !sample_count) {
    throw input_error_t(
        "frames cannot be laid out over a pipe, whose length is not known; allowed "
        "are files, or spans (--set search=spans)");
  }
  const layout_t layout = settings.search == search_t::frames
                              ? lay_out_frames(settings, *sample_count)
                              : lay_out_spans(settings);
  check(layout, settings);
  return layout;
}

// Samples, both frequencies and the phase in double, five traces and two slopes in float, and what
// the library needs on the way.
std::uint64_t bytes_of_span(std::uint64_t sample_count) { return 64 * sample_count; }

}  // namespace orn::fmcw_host
