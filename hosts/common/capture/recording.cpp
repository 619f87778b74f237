#include "common/capture/recording.h"

#include "common/capture/checksum.h"
#include "common/capture/extent.h"
#include "common/capture/recording_files.h"
#include "common/capture/stream_source.h"
#include "common/errors.h"

#include <algorithm>
#include <limits>
#include <utility>

#include <unistd.h>

namespace orn::fmcw_host {
namespace {

using fmcw_demod_lib::sample_t;

/// The part of a segment that was taken.
struct part_t {
  std::size_t segment;     ///< of the store and the description
  std::uint64_t position;  ///< of its first sample there
};

void multiply(std::span<sample_t> samples, float gain) {
  if (gain != 1.0F) {
    for (sample_t& sample : samples) {
      sample *= gain;
    }
  }
}

class stored_source_t : public sample_source_t {
 public:
  stored_source_t(const sample_store_t& store, part_t part, std::uint64_t count, float gain)
      : store_(store), part_(part), left_(count), gain_(gain) {}

  std::size_t read(std::span<sample_t> out) override {
    const auto wanted =
        out.first(static_cast<std::size_t>(std::min<std::uint64_t>(out.size(), left_)));
    store_.read(part_.segment, part_.position, wanted);
    multiply(wanted, gain_);
    part_.position += wanted.size();
    left_ -= wanted.size();
    return wanted.size();
  }

 private:
  const sample_store_t& store_;
  part_t part_;
  std::uint64_t left_;
  float gain_;
};

class piped_source_t : public sample_source_t {
 public:
  /// sha256  gets the bytes read; may be null
  piped_source_t(const opened_files_t& files, std::uint64_t skip,
                 std::optional<std::uint64_t> count, float gain, sha256_t* sha256)
      : source_(STDIN_FILENO, "standard input", *files.datatype, skip, count, sha256),
        gain_(gain) {}

  std::size_t read(std::span<sample_t> out) override {
    const std::size_t count = source_.read(out);
    multiply(out.first(count), gain_);
    return count;
  }

 private:
  stream_source_t source_;
  float gain_;
};

/// A rate that the library can take: its stream holds it in single precision.
void check_rate(const std::string& source, double rate) {
  if (!(rate >= std::numeric_limits<float>::min() && rate <= std::numeric_limits<float>::max())) {
    throw input_error_t("{}: sample rate {} Hz cannot be; allowed are rates above 0 Hz", source,
                        rate);
  }
}

double rate_of(const opened_files_t& files, const std::optional<double>& given) {
  if (!files.sample_rate && !given) {
    throw input_error_t("{}: {}; give its sample rate with --fs, in Hz", files.name,
                        files.global.find("core:datatype") != nullptr
                            ? "core:sample_rate is missing"
                            : "tells no sample rate");
  }
  if (files.sample_rate && given && *files.sample_rate != *given) {
    throw input_error_t("{}: has a sample rate of {} Hz; --fs cannot make it {} Hz", files.name,
                        *files.sample_rate, *given);
  }
  const double rate = files.sample_rate ? *files.sample_rate : *given;
  check_rate(files.name, rate);
  return rate;
}

float checked_gain(const std::optional<double>& full_scale) {
  const double volts = full_scale.value_or(1.0);
  if (!(volts >= 1e-15 && volts <= 1e15)) {
    throw input_error_t("--full-scale cannot be {}; allowed are 1e-15 to 1e15 V", volts);
  }
  return static_cast<float>(volts);
}

/// A stretch of the recording's axis, its end not included.
struct stretch_t {
  std::uint64_t begin = 0;
  std::uint64_t end = std::numeric_limits<std::uint64_t>::max();
};

stretch_t stretch_of(const read_options_t& options, double rate, std::uint64_t first_sample) {
  stretch_t stretch;
  if (!options.from.empty()) {
    stretch.begin = first_sample + sample_count_of(options.from, rate, "--from");
  }
  if (!options.duration.empty()) {
    const std::uint64_t count = sample_count_of(options.duration, rate, "--for");
    if (count == 0) {
      throw input_error_t("--for cannot be '{}'; allowed is at least one sample", options.duration);
    }
    stretch.end = std::max(stretch.begin, first_sample) + count;
  }
  return stretch;
}

/// What a segment and a stretch have in common; nothing when that is nothing.
std::optional<segment_t> common_part(const segment_t& segment, const stretch_t& stretch) {
  segment_t part = segment;
  part.first_sample = std::max(segment.first_sample, stretch.begin);
  if (!segment.sample_count) {  // a pipe, of which only the stretch may know the end
    if (stretch.end != stretch_t().end) {
      part.sample_count = stretch.end - part.first_sample;
    }
    return part;
  }
  const std::uint64_t end = std::min(segment.first_sample + *segment.sample_count, stretch.end);
  if (end <= part.first_sample) {
    return std::nullopt;
  }
  part.sample_count = end - part.first_sample;
  if (part.first_sample != segment.first_sample) {
    part.datetime.clear();  // it was that of another sample
  }
  return part;
}

}  // namespace

struct recording_t::state_t {
  recording_info_t info;
  opened_files_t files;
  std::vector<segment_t> segments;
  std::vector<part_t> parts;  ///< where each of them lies
  stretch_t stretch;
  float gain = 1.0F;
  std::unique_ptr<sha256_t> piped_sha256;  ///< of a pipe, where it was asked for

  void take(const stretch_t& wanted) {
    stretch = wanted;
    for (std::size_t i = 0; i < files.segments.size(); ++i) {
      if (const auto part = common_part(files.segments[i], stretch)) {
        segments.push_back(*part);
        parts.push_back({i, part->first_sample - files.segments[i].first_sample});
      }
    }
    if (segments.empty()) {
      const segment_t& last = files.segments.back();
      throw input_error_t("{}: has no samples from sample {} on; it ends at sample {}", files.name,
                          stretch.begin, last.first_sample + last.sample_count.value_or(0));
    }
    if (files.store != nullptr) {
      info.sample_count = 0;
      for (const segment_t& segment : segments) {
        *info.sample_count += *segment.sample_count;
      }
    } else {
      info.sample_count = segments.front().sample_count;
    }
  }
};

recording_t recording_t::open(const std::string& path, const read_options_t& options) {
  if (options.sample_rate) {
    check_rate("--fs", *options.sample_rate);
  }
  auto state = std::make_unique<state_t>();
  state->gain = checked_gain(options.full_scale);
  state->files = open_files(path, options.format);
  const opened_files_t& files = state->files;
  if (options.with_sha256 && files.store == nullptr) {
    state->piped_sha256 = std::make_unique<sha256_t>();
  }
  recording_info_t& info = state->info;
  info.name = path;
  info.format = files.format;
  info.datatype = files.encoding;
  info.sample_rate = rate_of(files, options.sample_rate);
  info.full_scale = options.full_scale;
  info.notes = files.notes;
  info.annotation_count = files.annotation_count;
  if (files.highest_code != 0.0F) {
    info.clip_levels = clip_levels_t{-state->gain, files.highest_code * state->gain};
  }
  state->take(stretch_of(options, info.sample_rate, files.segments.front().first_sample));
  for (segment_t& segment : state->segments) {
    segment.centre = segment.centre ? segment.centre : options.centre;
  }
  return recording_t(std::move(state));
}

recording_t::recording_t(std::unique_ptr<state_t> state) : state_(std::move(state)) {}
recording_t::recording_t(recording_t&& other) noexcept = default;
recording_t& recording_t::operator=(recording_t&& other) noexcept = default;
recording_t::~recording_t() = default;

const recording_info_t& recording_t::info() const { return state_->info; }

const std::vector<segment_t>& recording_t::segments() const { return state_->segments; }

std::unique_ptr<sample_source_t> recording_t::source(std::size_t segment, std::uint64_t skip,
                                                     std::optional<std::uint64_t> count) const {
  const auto total = state_->segments.at(segment).sample_count;
  part_t part = state_->parts[segment];
  if (state_->files.store == nullptr) {
    std::optional<std::uint64_t> wanted = count;
    if (total) {
      const std::uint64_t left = *total - std::min(skip, *total);
      wanted = std::min(count.value_or(left), left);
    }
    return std::make_unique<piped_source_t>(state_->files, part.position + skip, wanted,
                                            state_->gain, state_->piped_sha256.get());
  }
  skip = std::min(skip, *total);
  part.position += skip;
  return std::make_unique<stored_source_t>(
      *state_->files.store, part, std::min(count.value_or(*total), *total - skip), state_->gain);
}

void recording_t::read(std::uint64_t first, std::span<sample_t> out) const {
  for (std::size_t i = 0; i < state_->segments.size(); ++i) {
    const segment_t& segment = state_->segments[i];
    if (state_->files.store == nullptr || first < segment.first_sample ||
        first - segment.first_sample > *segment.sample_count ||
        out.size() > *segment.sample_count - (first - segment.first_sample)) {
      continue;
    }
    const part_t part = state_->parts[i];
    state_->files.store->read(part.segment, part.position + (first - segment.first_sample), out);
    multiply(out, state_->gain);
    return;
  }
  throw input_error_t(
      "{}: {} samples from sample {} on cannot be read; allowed are those of one "
      "segment of a file",
      state_->info.name, out.size(), first);
}

void recording_t::for_all_annotations(const std::function<void(const annotation_t&)>& take) const {
  if (state_->info.annotation_count != 0) {
    for_each_sigmf_annotation(state_->files.description_text, take);
  }
}

void recording_t::read_description(const json_visitor_t& visit) const {
  const sigmf_text_t& text = state_->files.description_text;
  if (text.open) {
    read_json_object(text.open, text.source, visit);
  }
}

void recording_t::for_each_annotation(const std::function<void(const annotation_t&)>& take) const {
  for_all_annotations([&](const annotation_t& annotation) {
    const std::uint64_t end = annotation.first_sample + annotation.sample_count.value_or(1);
    if (end > state_->stretch.begin && annotation.first_sample < state_->stretch.end) {
      take(annotation);
    }
  });
}

const json_value_t& recording_t::global_fields() const { return state_->files.global; }

const json_value_t& recording_t::segment_fields(std::size_t segment) const {
  return state_->files.segment_fields[state_->parts.at(segment).segment];
}

std::vector<std::string> recording_t::files() const { return paths_of(state_->files); }

std::string recording_t::sha256() const {
  return state_->files.store != nullptr ? sha256_of(state_->files) : state_->piped_sha256->digest();
}

std::vector<std::byte> recording_t::first_bytes(std::size_t count, bytes_t which) const {
  const opened_files_t& files = state_->files;
  if (files.data == nullptr) {
    return {};
  }
  const std::uint64_t offset = which == of_file ? 0 : files.data_offset;
  std::vector<std::byte> bytes(
      static_cast<std::size_t>(std::min<std::uint64_t>(count, files.data->size() - offset)));
  files.data->read(offset, bytes);
  return bytes;
}

void recording_t::verify_checksum() const { check_sha512(state_->files); }

}  // namespace orn::fmcw_host
