#include "common/annotations/annotation_writer.h"

#include "common/annotations/chirp_annotation.h"
#include "common/capture/sigmf_description.h"
#include "common/errors.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <optional>
#include <system_error>
#include <utility>

namespace orn::fmcw_host {
namespace {

namespace fs = std::filesystem;
using object_t = json_value_t::object_t;
using array_t = json_value_t::array_t;

/// The dataset's file and, of SigMF, the description's.
const std::string& data_path(const recording_t& recording, const std::vector<std::string>& files) {
  const std::string& format = recording.info().format;
  if (files.empty() || (format != "SigMF" && format != "raw")) {
    throw input_error_t(
        "{}: its chirps cannot be annotated, since no description beside it reaches samples of {}; "
        "allowed are SigMF pairs and raw samples in a file (fmcw convert makes one)",
        recording.info().name,
        files.empty() ? "a pipe" : "a " + format + (format == "WAV" ? " file" : ""));
  }
  return files.front();
}

fs::path folder_of(const std::string& path) {
  const fs::path folder = fs::path(path).parent_path();
  return folder.empty() ? fs::path(".") : folder;
}

std::string name_of(const std::string& path) { return fs::path(path).filename().string(); }

void set(object_t& members, std::string_view name, json_value_t value) {
  const auto found = std::find_if(members.begin(), members.end(),
                                  [&](const json_member_t& m) { return m.name == name; });
  if (found == members.end()) {
    members.push_back({std::string(name), std::move(value)});
  } else {
    found->value = std::move(value);
  }
}

bool declares_extension(const json_value_t& element) {
  const auto* const name = element.find("name");
  const auto* const text = name != nullptr ? name->as<std::string>() : nullptr;
  return text != nullptr && *text == "fmcw";
}

void declare_extension(object_t& global) {
  const json_value_t whole{global};
  const auto* const member = whole.find("core:extensions");
  const auto* const list = member != nullptr ? member->as<array_t>() : nullptr;
  array_t extensions = list != nullptr ? *list : array_t();
  std::erase_if(extensions, declares_extension);
  extensions.push_back(extension_declaration());
  set(global, "core:extensions", {std::move(extensions)});
}

/// The `global` of samples that had no description.
object_t global_of_raw(const recording_t& recording) {
  return {{"core:datatype", {recording.info().datatype}},
          {"core:sample_rate", {recording.info().sample_rate}},
          {"core:version", {std::string("1.2.0")}},
          {"core:num_channels", {std::uint64_t{1}}}};
}

/// The centre that was given for captures which name none.
std::optional<double> given_centre(const recording_t& recording) {
  for (std::size_t i = 0; i < recording.segments().size(); ++i) {
    if (recording.segment_fields(i).find("core:frequency") == nullptr) {
      return recording.segments()[i].centre;
    }
  }
  return std::nullopt;
}

/// Whether the part taken holds all of an annotation's samples.
bool lies_in_part(const annotation_t& annotation, const recording_t& recording) {
  const auto& segments = recording.segments();
  const std::uint64_t end = segments.back().first_sample + segments.back().sample_count.value_or(0);
  return annotation.first_sample >= segments.front().first_sample &&
         annotation.first_sample + annotation.sample_count.value_or(1) <= end;
}

}  // namespace

std::string annotation_path(const annotation_choice_t& choice, const recording_t& recording) {
  const std::vector<std::string> files = recording.files();
  const std::string& data = data_path(recording, files);
  if (choice.path.empty()) {
    if (files.size() < 2) {
      throw input_error_t("{}: has no description to annotate in place; --annotate names a new one",
                          data);
    }
    return files.back();
  }
  if (!choice.path.ends_with(sigmf_meta_ending)) {
    throw input_error_t("--annotate cannot be '{}'; allowed are names that end in {}", choice.path,
                        sigmf_meta_ending);
  }
  std::error_code ignored;
  if (fs::exists(choice.path, ignored) && !choice.in_place) {
    throw input_error_t("{}: is there already; --in-place replaces it", choice.path);
  }
  if (!fs::equivalent(folder_of(choice.path), folder_of(data), ignored)) {
    throw input_error_t(
        "{}: cannot describe {}; allowed are names in the folder of the samples, since a "
        "description names its dataset without a folder",
        choice.path, data);
  }
  return choice.path;
}

annotation_writer_t::annotation_writer_t(const annotation_choice_t& choice,
                                         const recording_t& recording)
    : recording_(recording),
      file_(annotation_path(choice, recording)),
      json_(file_.stream(), json_writer_t::indented) {
  collect_kept();
  json_.begin_object();
  write_global();
  write_captures();
  json_.key("annotations").begin_array();
}

void annotation_writer_t::write_global() {
  const auto* const described = recording_.global_fields().as<object_t>();
  const bool is_raw = recording_.info().format == "raw";
  object_t global = is_raw || described == nullptr ? global_of_raw(recording_) : *described;
  if (recording_.global_fields().find("core:sample_rate") == nullptr) {
    set(global, "core:sample_rate", {recording_.info().sample_rate});
  }
  const std::string data = name_of(recording_.files().front());
  const std::string stem = sigmf_stem(name_of(file_.path()));
  if (data != stem + std::string(sigmf_data_ending)) {
    set(global, "core:dataset", {data});
  } else {
    std::erase_if(global, [](const json_member_t& m) { return m.name == "core:dataset"; });
  }
  declare_extension(global);
  json_.member("global", json_value_t{std::move(global)});
}

void annotation_writer_t::write_captures() {
  const std::optional<double> centre = given_centre(recording_);
  bool any = false;
  const auto put = [&](json_value_t&& capture) {
    auto* const members = std::get_if<object_t>(&capture.value);
    if (centre && members != nullptr && capture.find("core:frequency") == nullptr) {
      members->push_back({"core:frequency", {*centre}});
    }
    json_.value(capture);
    any = true;
  };
  json_.key("captures").begin_array();
  recording_.read_description(
      [&](const std::string& member, std::optional<std::size_t> index, json_value_t&& value) {
        if (member == "captures" && index) {
          put(std::move(value));
        }
      });
  if (!any && (centre || recording_.info().format == "raw")) {
    const auto* const offset = recording_.global_fields().find("core:offset");
    const auto first = offset != nullptr ? offset->whole() : std::nullopt;
    put({object_t{{"core:sample_start", {first.value_or(0)}}}});
  }
  json_.end_array();
}

void annotation_writer_t::collect_kept() {
  recording_.for_all_annotations([&](const annotation_t& annotation) {
    if (!is_measured(annotation) || !lies_in_part(annotation, recording_)) {
      kept_.push_back({annotation.first_sample, annotation.fields});
    }
  });
  std::stable_sort(kept_.begin(), kept_.end(), [](const kept_t& a, const kept_t& b) {
    return a.first_sample < b.first_sample;
  });
}

void annotation_writer_t::put_kept_until(std::uint64_t sample) {
  for (; next_kept_ < kept_.size() && kept_[next_kept_].first_sample <= sample; ++next_kept_) {
    json_.value(kept_[next_kept_].fields);
  }
}

void annotation_writer_t::add(const chirp_t& chirp, std::string_view verdict) {
  put_kept_until(chirp.first_sample);
  json_.value(annotation_of(chirp, verdict));
}

void annotation_writer_t::finish() {
  put_kept_until(std::numeric_limits<std::uint64_t>::max());
  json_.end_array();
  recording_.read_description(
      [&](const std::string& member, std::optional<std::size_t> index, json_value_t&& value) {
        if (!index && member != "global" && member != "captures" && member != "annotations") {
          json_.member(member, value);
        }
      });
  json_.end_object();
}

}  // namespace orn::fmcw_host
