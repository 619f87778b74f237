#pragma once

#include "common/capture/sample_source.h"
#include "common/capture/sample_store.h"
#include "common/capture/sigmf_description.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace orn::fmcw_host {

/// The files of a recording, opened and understood, whatever their kind.
struct opened_files_t {
  std::string name;                      ///< as the user gave it
  std::string format;                    ///< "SigMF", "SigMF archive", "WAV" or "raw"
  std::string encoding;                  ///< of the samples
  const datatype_t* datatype = nullptr;  ///< null: WAV
  float highest_code = 0.0F;             ///< scaled; 0: floating point
  std::optional<double> sample_rate;     ///< [Hz]
  std::vector<segment_t> segments;
  std::vector<json_value_t> segment_fields;  ///< of each segment
  json_value_t global;                       ///< of the description
  std::string description_path;              ///< its file; empty: none, or in the archive
  sigmf_text_t description_text;             ///< SigMF only
  std::uint64_t annotation_count = 0;
  std::unique_ptr<sample_store_t> store;     ///< null: standard input
  std::shared_ptr<const input_file_t> data;  ///< the file with the samples; null: standard input
  std::uint64_t data_offset = 0;             ///< of the dataset in it
  std::uint64_t data_size = 0;               ///< [bytes]
  std::string sha512;                        ///< promised for the dataset; empty: none
  std::vector<std::string> notes;
};

/// Opens what a user named: SigMF by its endings or as a stem, WAV by its ending, "-" as standard
/// input, anything else as raw samples.
/// format  of raw samples or "wav"; empty: by the name
/// Throws input_error_t.
opened_files_t open_files(const std::string& path, const std::string& format);

/// The files it consists of; none for standard input.
std::vector<std::string> paths_of(const opened_files_t& files);

/// SHA-256 of the dataset, of a file without a description as a whole. Not for standard input.
std::string sha256_of(const opened_files_t& files);

/// Throws input_error_t when the dataset differs from the promised SHA-512, or none is promised.
void check_sha512(const opened_files_t& files);

}  // namespace orn::fmcw_host
