#include "common/output/recording_copy.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

namespace orn::fmcw_host {
namespace {

using fmcw_demod_lib::sample_t;
using object_t = json_value_t::object_t;

void set(object_t& members, std::string_view name, json_value_t value) {
  const auto found = std::find_if(members.begin(), members.end(),
                                  [&](const json_member_t& m) { return m.name == name; });
  if (found == members.end()) {
    members.push_back({std::string(name), std::move(value)});
  } else {
    found->value = std::move(value);
  }
}

void remove(object_t& members, std::string_view name) {
  std::erase_if(members, [&](const json_member_t& m) { return m.name == name; });
}

object_t members_of(const json_value_t& value) {
  const auto* const members = value.as<object_t>();
  return members != nullptr ? *members : object_t();
}

/// The description of a segment, of which the first samples may have been left out.
json_value_t capture_of(const recording_t& recording, std::size_t index) {
  const segment_t& segment = recording.segments()[index];
  const json_value_t& fields = recording.segment_fields(index);
  object_t capture = members_of(fields);
  const auto* const start = fields.find("core:sample_start");
  const auto* const global_index = fields.find("core:global_index");
  if (start != nullptr && global_index != nullptr && start->whole() && global_index->whole()) {
    const std::uint64_t left_out = segment.first_sample - *start->whole();
    set(capture, "core:global_index", {*global_index->whole() + left_out});
  }
  set(capture, "core:sample_start", {segment.first_sample});
  remove(capture, "core:header_bytes");
  if (segment.centre) {
    set(capture, "core:frequency", {*segment.centre});
  }
  if (segment.datetime.empty()) {
    remove(capture, "core:datetime");
  }
  return {std::move(capture)};
}

/// An annotation cut to what lies in the part. Figures of a chirp hold for the whole of it, so they
/// do not go with less.
json_value_t cut(const annotation_t& annotation, std::uint64_t begin, std::uint64_t end) {
  object_t fields = members_of(annotation.fields);
  const std::uint64_t first = std::max(annotation.first_sample, begin);
  set(fields, "core:sample_start", {first});
  if (annotation.sample_count) {
    const std::uint64_t last = std::min(annotation.first_sample + *annotation.sample_count, end);
    set(fields, "core:sample_count", {last - first});
    if (last - first != *annotation.sample_count) {
      std::erase_if(fields, [](const json_member_t& m) { return m.name.starts_with("fmcw:"); });
    }
  }
  return {std::move(fields)};
}

recording_story_t story_of(const recording_t& recording, std::uint64_t samples_written) {
  recording_story_t story;
  const auto& segments = recording.segments();
  story.global = members_of(recording.global_fields());
  story.first_sample = segments.front().first_sample;
  for (std::size_t i = 0; i < segments.size(); ++i) {
    story.captures.push_back(capture_of(recording, i));
  }
  const std::uint64_t end = story.first_sample + samples_written;
  story.annotations = [&recording, begin = story.first_sample,
                       end](const std::function<void(const json_value_t&)>& put) {
    recording.for_each_annotation([&](const annotation_t& annotation) {
      if (annotation.first_sample < end) {  // others lie behind the samples altogether
        put(cut(annotation, begin, end));
      }
    });
  };
  return story;
}

}  // namespace

written_t copy_recording(const recording_t& recording, const std::string& path,
                         write_options_t options,
                         const std::function<void(std::uint64_t)>& progress) {
  check_outputs(recording.files(), recording_paths(path, options.format));
  options.sample_rate = recording.info().sample_rate;
  options.sample_count = recording.info().sample_count;
  const auto writer = create_recording(path, options);
  constexpr std::size_t piece = 65536;
  std::vector<sample_t> samples(piece);
  std::uint64_t done = 0;
  for (std::size_t i = 0; i < recording.segments().size(); ++i) {
    const auto source = recording.source(i);
    while (const std::size_t count = source->read(samples)) {
      writer->write(std::span(samples).first(count));
      done += count;
      progress(done);
    }
  }
  return writer->finish(story_of(recording, done));
}

}  // namespace orn::fmcw_host
