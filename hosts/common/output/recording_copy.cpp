#include "common/output/recording_copy.h"

#include <algorithm>
#include <optional>
#include <span>
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

/// Where samples of the recording lie in the copy, and what frequencies are there.
class copied_axis_t {
 public:
  explicit copied_axis_t(const conditioning_t& conditioning) : conditioning_(conditioning) {}

  bool is_same() const { return conditioning_.decimate == 1; }
  double shift() const { return conditioning_.shift; }

  /// The first sample of the copy from that position on.
  std::uint64_t operator()(std::uint64_t position) const {
    return conditioned_count(0, position, conditioning_.decimate);
  }

 private:
  conditioning_t conditioning_;
};

/// The description of a segment, of which the first samples may have been left out.
json_value_t capture_of(const recording_t& recording, std::size_t index,
                        const copied_axis_t& axis) {
  const segment_t& segment = recording.segments()[index];
  const json_value_t& fields = recording.segment_fields(index);
  object_t capture = members_of(fields);
  const auto* const start = fields.find("core:sample_start");
  const auto* const global_index = fields.find("core:global_index");
  if (!axis.is_same()) {
    remove(capture, "core:global_index");  // counts the samples of another rate
  } else if (start != nullptr && global_index != nullptr && start->whole() &&
             global_index->whole()) {
    const std::uint64_t left_out = segment.first_sample - *start->whole();
    set(capture, "core:global_index", {*global_index->whole() + left_out});
  }
  set(capture, "core:sample_start", {axis(segment.first_sample)});
  remove(capture, "core:header_bytes");
  if (segment.centre) {
    set(capture, "core:frequency", {*segment.centre - axis.shift()});
  }
  if (segment.datetime.empty()) {
    remove(capture, "core:datetime");
  }
  return {std::move(capture)};
}

/// An annotation cut to what lies in the part. Figures of a chirp hold for the whole of it, so they
/// do not go with less.
json_value_t cut(const annotation_t& annotation, std::uint64_t begin, std::uint64_t end,
                 const copied_axis_t& axis) {
  object_t fields = members_of(annotation.fields);
  const std::uint64_t first = std::max(annotation.first_sample, begin);
  set(fields, "core:sample_start", {axis(first)});
  if (annotation.sample_count) {
    const std::uint64_t last = std::min(annotation.first_sample + *annotation.sample_count, end);
    set(fields, "core:sample_count", {axis(last) - axis(first)});
    if (last - first != *annotation.sample_count) {
      std::erase_if(fields, [](const json_member_t& m) { return m.name.starts_with("fmcw:"); });
    }
  }
  return {std::move(fields)};
}

/// end  one past the last sample that was read, on the recording's axis
recording_story_t story_of(const recording_t& recording, std::uint64_t end,
                           const copied_axis_t& axis) {
  recording_story_t story;
  const auto& segments = recording.segments();
  const std::uint64_t begin = segments.front().first_sample;
  story.global = members_of(recording.global_fields());
  story.first_sample = axis(begin);
  for (std::size_t i = 0; i < segments.size(); ++i) {
    story.captures.push_back(capture_of(recording, i, axis));
  }
  story.annotations = [&recording, begin, end,
                       axis](const std::function<void(const json_value_t&)>& put) {
    recording.for_each_annotation([&](const annotation_t& annotation) {
      if (annotation.first_sample < end) {  // others lie behind the samples altogether
        put(cut(annotation, begin, end, axis));
      }
    });
  };
  return story;
}

/// Counts what passes.
class counted_source_t : public sample_source_t {
 public:
  explicit counted_source_t(sample_source_t& source) : source_(source) {}
  std::size_t read(std::span<sample_t> out) override {
    const std::size_t got = source_.read(out);
    count_ += got;
    return got;
  }
  std::uint64_t count() const { return count_; }

 private:
  sample_source_t& source_;
  std::uint64_t count_ = 0;
};

std::optional<std::uint64_t> copied_count(const recording_t& recording, std::uint32_t decimate) {
  std::uint64_t total = 0;
  for (const segment_t& segment : recording.segments()) {
    if (!segment.sample_count) {
      return std::nullopt;
    }
    total += conditioned_count(segment.first_sample, *segment.sample_count, decimate);
  }
  return total;
}

}  // namespace

written_t copy_recording(const recording_t& recording, const std::string& path,
                         write_options_t options, const conditioning_t& conditioning,
                         const std::function<void(std::uint64_t)>& progress) {
  check_outputs(recording.files(), recording_paths(path, options.format));
  const double rate = recording.info().sample_rate;
  check(conditioning, rate);
  options.sample_rate = rate / conditioning.decimate;
  options.sample_count = copied_count(recording, conditioning.decimate);
  const auto writer = create_recording(path, options);
  constexpr std::size_t piece = 65536;
  std::vector<sample_t> samples(piece);
  std::uint64_t done = 0;
  std::uint64_t end = 0;
  for (std::size_t i = 0; i < recording.segments().size(); ++i) {
    const std::uint64_t first = recording.segments()[i].first_sample;
    const auto source = recording.source(i);
    counted_source_t counted(*source);
    conditioned_source_t conditioned(counted, conditioning, first, rate);
    while (const std::size_t count = conditioned.read(samples)) {
      writer->write(std::span(samples).first(count));
      progress(done + counted.count());
    }
    done += counted.count();
    end = first + counted.count();
  }
  return writer->finish(story_of(recording, end, copied_axis_t(conditioning)));
}

}  // namespace orn::fmcw_host
