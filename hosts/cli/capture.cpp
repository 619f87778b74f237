#include "capture.h"

#include "errors.h"
#include "output_file.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>

#include <nlohmann/json.hpp>

namespace fmcw_cli {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using orn::fmcw_demod_lib::sample_t;

static_assert(std::endian::native == std::endian::little, "samples are read as they lie in memory");

constexpr std::string_view meta_ending = ".sigmf-meta";
constexpr std::string_view data_ending = ".sigmf-data";

template <class Component>
void decode_as(const std::vector<char>& bytes, float offset, float scale,
               std::vector<sample_t>& samples) {
  std::array<Component, 2> pair{};
  for (std::size_t i = 0; i < samples.size(); ++i) {
    std::memcpy(pair.data(), bytes.data() + i * sizeof(pair), sizeof(pair));
    samples[i] = {(static_cast<float>(pair[0]) - offset) * scale,
                  (static_cast<float>(pair[1]) - offset) * scale};
  }
}

struct datatype_t {
  std::string_view name;
  std::size_t sample_bytes;
  void (*decode)(const std::vector<char>& bytes, std::vector<sample_t>& samples);
};

constexpr std::array<datatype_t, 4> datatypes = {{
    {"cf32_le", 8, [](const auto& bytes, auto& out) { decode_as<float>(bytes, 0, 1, out); }},
    {"ci16_le", 4,
     [](const auto& bytes, auto& out) { decode_as<std::int16_t>(bytes, 0, 0x1p-15F, out); }},
    {"ci8", 2,
     [](const auto& bytes, auto& out) { decode_as<std::int8_t>(bytes, 0, 0x1p-7F, out); }},
    {"cu8", 2,
     [](const auto& bytes, auto& out) { decode_as<std::uint8_t>(bytes, 128, 0x1p-7F, out); }},
}};

const datatype_t& datatype_of(const std::string& name, const std::string& source) {
  const auto* const found = std::find_if(datatypes.begin(), datatypes.end(),
                                         [&](const auto& type) { return type.name == name; });
  if (found == datatypes.end()) {
    throw input_error("{}: datatype '{}' is unknown; allowed are {}", source, name,
                      datatype_names());
  }
  return *found;
}

std::vector<char> read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  if (!file || !fs::is_regular_file(path)) {
    throw input_error("{}: cannot be read; expected a capture file", path);
  }
  std::vector<char> bytes(static_cast<std::size_t>(file.tellg()));
  file.seekg(0);
  file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!file) {
    throw input_error("{}: reading stopped before its end; expected {} bytes", path, bytes.size());
  }
  return bytes;
}

/// A rate the library can take: its stream holds it in single precision.
double checked_rate(double rate, const std::string& source) {
  if (!(rate > 0.0 && rate <= static_cast<double>(std::numeric_limits<float>::max()))) {
    throw input_error("{}: sample rate {} Hz cannot be; allowed are rates above 0", source, rate);
  }
  return rate;
}

void read_samples(const std::string& path, capture_t& capture) {
  const datatype_t& type = datatype_of(capture.datatype, capture.name);
  const std::vector<char> bytes = read_file(path);
  if (bytes.empty() || bytes.size() % type.sample_bytes != 0) {
    throw input_error(
        "{}: {} bytes is the wrong size; allowed is a positive multiple of {} bytes, "
        "one {} sample",
        path, bytes.size(), type.sample_bytes, type.name);
  }
  capture.signal.samples.resize(bytes.size() / type.sample_bytes);
  capture.signal.fs = static_cast<float>(capture.sample_rate);
  type.decode(bytes, capture.signal.samples);
}

/// A member of a JSON object as a number; throws naming it when it is something else.
double number(const json& object, const char* key, const std::string& source) {
  const auto found = object.find(key);
  if (found == object.end() || !found->is_number()) {
    throw input_error("{}: {} is {}; allowed is a number", source, key,
                      found == object.end() ? "missing" : found->dump());
  }
  return found->get<double>();
}

std::vector<chirp_truth_t> read_truth(const json& meta, const std::string& source) {
  std::vector<chirp_truth_t> truth;
  const auto annotations = meta.find("annotations");
  if (annotations == meta.end() || !annotations->is_array()) {
    return truth;
  }
  for (const json& annotation : *annotations) {
    if (!annotation.is_object() || !annotation.contains("fmcw:slope")) {
      continue;
    }
    chirp_truth_t chirp;
    chirp.sample_start =
        static_cast<std::uint64_t>(number(annotation, "core:sample_start", source));
    chirp.sample_count =
        static_cast<std::uint64_t>(number(annotation, "core:sample_count", source));
    chirp.freq_lower = number(annotation, "core:freq_lower_edge", source);
    chirp.freq_upper = number(annotation, "core:freq_upper_edge", source);
    chirp.start = number(annotation, "fmcw:start", source);
    chirp.length = number(annotation, "fmcw:length", source);
    chirp.slope = number(annotation, "fmcw:slope", source);
    chirp.power = number(annotation, "fmcw:power", source);
    truth.push_back(chirp);
  }
  return truth;
}

capture_t read_sigmf(const std::string& path) {
  const std::string stem = sigmf_stem(path);
  const std::string meta_path = stem + std::string(meta_ending);
  const std::vector<char> text = read_file(meta_path);
  const json meta = json::parse(text, nullptr, false);
  if (meta.is_discarded() || !meta.is_object()) {
    throw input_error("{}: is not JSON; expected a SigMF description (an object)", meta_path);
  }
  const auto global = meta.find("global");
  if (global == meta.end() || !global->is_object()) {
    throw input_error("{}: has no object 'global'; expected a SigMF description", meta_path);
  }
  const auto datatype = global->find("core:datatype");
  if (datatype == global->end() || !datatype->is_string()) {
    throw input_error("{}: core:datatype is {}; allowed are {}", meta_path,
                      datatype == global->end() ? "missing" : datatype->dump(), datatype_names());
  }
  const auto channels = global->find("core:num_channels");
  if (channels != global->end() && *channels != 1) {
    throw input_error("{}: core:num_channels is {}; allowed is 1", meta_path, channels->dump());
  }
  capture_t capture;
  capture.name = path;
  capture.datatype = datatype->get<std::string>();
  datatype_of(capture.datatype, meta_path);
  capture.sample_rate = checked_rate(number(*global, "core:sample_rate", meta_path),
                                     meta_path + ": core:sample_rate");
  capture.truth = read_truth(meta, meta_path);
  read_samples(stem + std::string(data_ending), capture);
  return capture;
}

json annotation_of(const chirp_truth_t& chirp) {
  return {{"core:sample_start", chirp.sample_start},
          {"core:sample_count", chirp.sample_count},
          {"core:freq_lower_edge", chirp.freq_lower},
          {"core:freq_upper_edge", chirp.freq_upper},
          {"core:label", chirp.slope < 0.0 ? "down-chirp" : "up-chirp"},
          {"fmcw:start", chirp.start},
          {"fmcw:length", chirp.length},
          {"fmcw:slope", chirp.slope},
          {"fmcw:power", chirp.power}};
}

}  // namespace

std::string datatype_names() {
  std::string names;
  for (const auto& type : datatypes) {
    names += names.empty() ? "" : ", ";
    names += type.name;
  }
  return names;
}

std::string sigmf_stem(const std::string& path) {
  for (const std::string_view ending : {meta_ending, data_ending}) {
    if (path.ends_with(ending)) {
      return path.substr(0, path.size() - ending.size());
    }
  }
  return path;
}

capture_t read_capture(const std::string& path, const raw_format_t& raw) {
  if (!raw.sample_rate && !raw.datatype) {
    const std::string stem = sigmf_stem(path);
    if (stem == path && fs::is_regular_file(path)) {
      throw input_error("{}: is no SigMF file; for raw samples give --fs (in Hz) and --format ({})",
                        path, datatype_names());
    }
    return read_sigmf(path);
  }
  if (!raw.sample_rate || !raw.datatype) {
    throw input_error("{}: raw samples need both --fs (in Hz) and --format ({})", path,
                      datatype_names());
  }
  capture_t capture;
  capture.name = path;
  capture.datatype = *raw.datatype;
  datatype_of(capture.datatype, "--format");
  capture.sample_rate = checked_rate(*raw.sample_rate, "--fs");
  read_samples(path, capture);
  return capture;
}

void write_sigmf(const std::string& stem, const std::vector<sample_t>& samples, double sample_rate,
                 const std::vector<chirp_truth_t>& truth, const std::string& description) {
  json meta = {
      {"global",
       {{"core:datatype", "cf32_le"},
        {"core:sample_rate", sample_rate},
        {"core:version", "1.0.0"},
        {"core:num_channels", 1},
        {"core:description", description},
        {"core:recorder", "fmcw synth " FMCW_VERSION},
        {"core:extensions", {{{"name", "fmcw"}, {"version", FMCW_VERSION}, {"optional", true}}}}}},
      {"captures", {{{"core:sample_start", 0}, {"core:frequency", 0.0}}}},
      {"annotations", json::array()}};
  for (const chirp_truth_t& chirp : truth) {
    meta["annotations"].push_back(annotation_of(chirp));
  }
  output_file_t data(stem + std::string(data_ending));
  output_file_t description_file(stem + std::string(meta_ending));
  data.stream().write(reinterpret_cast<const char*>(samples.data()),
                      static_cast<std::streamsize>(samples.size() * sizeof(sample_t)));
  description_file.stream() << meta.dump(2) << '\n';
  data.commit();
  description_file.commit();
}

}  // namespace fmcw_cli
