#pragma once

#include "common/capture/annotation.h"
#include "common/capture/datatype.h"
#include "common/capture/json_value.h"

#include <cstdint>
#include <functional>
#include <istream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace orn::fmcw_host {

inline constexpr std::string_view sigmf_meta_ending = ".sigmf-meta";
inline constexpr std::string_view sigmf_data_ending = ".sigmf-data";
inline constexpr std::string_view sigmf_archive_ending = ".sigmf";
inline constexpr std::string_view sigmf_collection_ending = ".sigmf-collection";

/// `path` without a SigMF file ending.
std::string sigmf_stem(const std::string& path);

/// The text of a description, from its start, and its name for messages.
struct sigmf_text_t {
  std::function<std::unique_ptr<std::istream>()> open;
  std::string source;
};

/// One element of `captures`.
struct sigmf_segment_t {
  std::uint64_t first_sample = 0;
  std::uint64_t header_bytes = 0;  ///< before its samples
  std::optional<double> centre;    ///< [Hz]
  std::string datetime;            ///< ISO 8601, empty when not told
  json_value_t fields;
};

/// What a description says of its samples.
struct sigmf_description_t {
  const datatype_t* datatype = nullptr;  ///< never null
  std::optional<double> sample_rate;     ///< [Hz]
  std::uint64_t offset = 0;              ///< number of the dataset's first sample
  std::uint64_t trailing_bytes = 0;      ///< after the samples
  std::string dataset;                   ///< file beside the description; empty: by its stem
  bool metadata_only = false;
  std::string sha512;                     ///< lower-case digits, empty when not told
  std::vector<sigmf_segment_t> segments;  ///< at least one, in order
  std::uint64_t annotation_count = 0;
  json_value_t global;
};

/// Reads and checks a whole description, annotations included, in bounded memory. Throws
/// input_error_t naming the field, its value and what is allowed.
sigmf_description_t read_sigmf_description(const sigmf_text_t& text);

/// Hands over every annotation, in order. Throws input_error_t.
void for_each_sigmf_annotation(const sigmf_text_t& text,
                               const std::function<void(const annotation_t&)>& take);

/// What an annotation of a synthetic recording promises; nothing for any other annotation. Throws
/// input_error_t when a promised figure is missing or no number.
std::optional<chirp_truth_t> truth_of(const annotation_t& annotation);

}  // namespace orn::fmcw_host
