#include "common/capture/sigmf_description.h"

#include "common/errors.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <utility>

namespace orn::fmcw_host {
namespace {

/// Numbers of samples and bytes: a double holds them, and their sums do not overflow.
constexpr std::uint64_t largest_whole = 1ULL << 53U;

/// The members of one object of a description, each checked as it is asked for.
class fields_t {
 public:
  /// where  names the object in messages, "recording.sigmf-meta: annotation 3"
  fields_t(const json_value_t& object, std::string where)
      : object_(object), where_(std::move(where)) {
    if (object.as<json_value_t::object_t>() == nullptr) {
      throw input_error_t("{} is {}; expected an object", where_, object.text());
    }
  }

  std::optional<std::uint64_t> whole(const char* name) const {
    const auto* const member = object_.find(name);
    const auto value = member != nullptr ? member->whole() : std::nullopt;
    if (member != nullptr && value.value_or(largest_whole + 1) > largest_whole) {
      refuse(name, "a whole number from 0 to 2^53");
    }
    return value;
  }

  std::optional<double> number(const char* name) const {
    const auto* const value = object_.find(name);
    if (value != nullptr && !value->number()) {
      refuse(name, "a number");
    }
    return value != nullptr ? value->number() : std::nullopt;
  }

  std::string text(const char* name) const { return as<std::string>(name, "a text"); }
  bool flag(const char* name) const { return as<bool>(name, "true or false"); }

  template <class Value>
  Value required(const char* name, const std::optional<Value>& value) const {
    if (!value) {
      refuse(name, "a number");
    }
    return *value;
  }

  [[noreturn]] void refuse(const char* name, const std::string& allowed) const {
    const auto* const value = object_.find(name);
    throw input_error_t("{}: {} is {}; allowed is {}", where_, name,
                        value == nullptr ? "missing" : value->text(), allowed);
  }

  const json_value_t* find(const char* name) const { return object_.find(name); }

 private:
  template <class Value>
  Value as(const char* name, const char* allowed) const {
    const auto* const member = object_.find(name);
    const auto* const value = member != nullptr ? member->as<Value>() : nullptr;
    if (member != nullptr && value == nullptr) {
      refuse(name, allowed);
    }
    return value != nullptr ? *value : Value();
  }

  const json_value_t& object_;
  std::string where_;
};

/// Extensions that this program writes and reads.
constexpr std::string_view own_extension = "fmcw";

void check_extensions(const fields_t& global, const std::string& source) {
  const auto* const list = global.find("core:extensions");
  if (list == nullptr) {
    return;
  }
  const auto* const extensions = list->as<json_value_t::array_t>();
  if (extensions == nullptr) {
    global.refuse("core:extensions", "an array of objects");
  }
  for (const json_value_t& extension : *extensions) {
    const fields_t fields(extension, source + ": an element of core:extensions");
    const std::string name = fields.text("name");
    if (fields.find("optional") == nullptr) {
      fields.refuse("optional", "true or false");
    }
    if (!fields.flag("optional") && name != own_extension) {
      throw input_error_t(
          "{}: needs the extension '{}', which is not known here; allowed are extensions marked "
          "optional",
          source, name);
    }
  }
}

void check_version(const fields_t& global) {
  const std::string version = global.text("core:version");
  if (!version.empty() && !version.starts_with("0.") && !version.starts_with("1.")) {
    global.refuse("core:version", "a version below 2");
  }
}

void read_global(json_value_t&& object, const std::string& source,
                 sigmf_description_t& description) {
  const fields_t global(object, source + ": global");
  check_version(global);
  check_extensions(global, source);
  const std::string datatype = global.text("core:datatype");
  description.datatype = find_datatype(datatype);
  if (description.datatype == nullptr || description.datatype->name != datatype) {
    global.refuse("core:datatype", "one of " + sigmf_datatype_names());
  }
  if (global.whole("core:num_channels").value_or(1) != 1) {
    global.refuse("core:num_channels", "1");
  }
  description.sample_rate = global.number("core:sample_rate");
  if (!(description.sample_rate.value_or(1.0) > 0.0)) {
    global.refuse("core:sample_rate", "a rate above 0 Hz");
  }
  description.offset = global.whole("core:offset").value_or(0);
  description.trailing_bytes = global.whole("core:trailing_bytes").value_or(0);
  description.metadata_only = global.flag("core:metadata_only");
  description.dataset = global.text("core:dataset");
  if (description.dataset.find('/') != std::string::npos || description.dataset == "..") {
    global.refuse("core:dataset", "the name of a file in the same folder");
  }
  description.sha512 = global.text("core:sha512");
  for (char& digit : description.sha512) {
    digit = digit >= 'A' && digit <= 'F' ? static_cast<char>(digit - 'A' + 'a') : digit;
  }
  description.global = std::move(object);
}

sigmf_segment_t segment_of(json_value_t&& object, const std::string& where) {
  const fields_t fields(object, where);
  sigmf_segment_t segment;
  segment.first_sample = fields.required("core:sample_start", fields.whole("core:sample_start"));
  segment.header_bytes = fields.whole("core:header_bytes").value_or(0);
  segment.centre = fields.number("core:frequency");
  segment.datetime = fields.text("core:datetime");
  segment.fields = std::move(object);
  return segment;
}

annotation_t annotation_of(json_value_t&& object, const std::string& where) {
  const fields_t fields(object, where);
  annotation_t annotation;
  annotation.first_sample = fields.required("core:sample_start", fields.whole("core:sample_start"));
  annotation.sample_count = fields.whole("core:sample_count");
  annotation.freq_lower = fields.number("core:freq_lower_edge");
  annotation.freq_upper = fields.number("core:freq_upper_edge");
  if (annotation.freq_lower.has_value() != annotation.freq_upper.has_value()) {
    fields.refuse(annotation.freq_lower ? "core:freq_upper_edge" : "core:freq_lower_edge",
                  "a number, since the other edge is given");
  }
  annotation.fields = std::move(object);
  return annotation;
}

/// The segments must rise and none may begin before the first sample of the dataset.
void check_segments(sigmf_description_t& description, const std::string& source) {
  auto& segments = description.segments;
  if (segments.empty()) {
    segments.emplace_back().first_sample = description.offset;
    segments.back().fields.value = json_value_t::object_t();
  }
  std::uint64_t previous = description.offset;
  for (std::size_t i = 0; i < segments.size(); ++i) {
    if (segments[i].first_sample < previous) {
      throw input_error_t(
          "{}: capture {}: core:sample_start is {}; allowed are values from {} up, {}", source, i,
          segments[i].first_sample, previous,
          i == 0 ? "the core:offset" : "where the capture before begins");
    }
    previous = segments[i].first_sample;
  }
}

}  // namespace

std::string sigmf_stem(const std::string& path) {
  for (const std::string_view ending : {sigmf_meta_ending, sigmf_data_ending}) {
    if (path.ends_with(ending)) {
      return path.substr(0, path.size() - ending.size());
    }
  }
  return path;
}

sigmf_description_t read_sigmf_description(const sigmf_text_t& text) {
  sigmf_description_t description;
  bool has_global = false;
  const auto element = [&](const char* list, std::optional<std::size_t> index,
                           const json_value_t& value) {
    const auto* const array = value.as<json_value_t::array_t>();
    if (!index && (array == nullptr || !array->empty())) {
      throw input_error_t("{}: {}s is {}; expected an array", text.source, list, value.text());
    }
    return fmt::format("{}: {} {}", text.source, list, index.value_or(0));
  };
  read_json_object(
      text.open, text.source,
      [&](const std::string& member, std::optional<std::size_t> index, json_value_t&& value) {
        if (member == "global") {
          has_global = true;
          if (index) {
            throw input_error_t("{}: global is an array; expected an object", text.source);
          }
          read_global(std::move(value), text.source, description);
        } else if (member == "captures") {
          const std::string where = element("capture", index, value);
          if (index) {
            description.segments.push_back(segment_of(std::move(value), where));
          }
        } else if (member == "annotations") {
          const std::string where = element("annotation", index, value);
          if (index) {
            annotation_of(std::move(value), where);
            ++description.annotation_count;
          }
        } else if (member == "collection") {
          throw input_error_t("{}: describes a collection; give one of its recordings",
                              text.source);
        }
      });
  if (!has_global) {
    throw input_error_t("{}: has no object 'global'; expected a SigMF description", text.source);
  }
  check_segments(description, text.source);
  return description;
}

void for_each_sigmf_annotation(const sigmf_text_t& text,
                               const std::function<void(const annotation_t&)>& take) {
  read_json_object(
      text.open, text.source,
      [&](const std::string& member, std::optional<std::size_t> index, json_value_t&& value) {
        if (member == "annotations" && index) {
          take(annotation_of(std::move(value),
                             fmt::format("{}: annotation {}", text.source, *index)));
        }
      });
}

std::optional<chirp_truth_t> truth_of(const annotation_t& annotation) {
  if (annotation.fields.find("fmcw:slope") == nullptr) {
    return std::nullopt;
  }
  const fields_t fields(annotation.fields,
                        fmt::format("annotation at sample {}", annotation.first_sample));
  const auto number = [&](const char* name) { return fields.required(name, fields.number(name)); };
  chirp_truth_t chirp;
  chirp.sample_start = annotation.first_sample;
  chirp.sample_count = fields.required("core:sample_count", annotation.sample_count);
  chirp.freq_lower = number("core:freq_lower_edge");
  chirp.freq_upper = number("core:freq_upper_edge");
  chirp.start = number("fmcw:start");
  chirp.length = number("fmcw:length");
  chirp.slope = number("fmcw:slope");
  chirp.power = number("fmcw:power");
  return chirp;
}

}  // namespace orn::fmcw_host
