#pragma once

#include "common/capture/datatype.h"
#include "common/capture/json_value.h"
#include "common/output/output_file.h"

#include <fmcw_demod/types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace orn::fmcw_host {

/// How a recording is to be written.
struct write_options_t {
  std::string format = {};  ///< one of datatype_names(), "wav"; empty: by the name, else cf32_le
  existing_t existing = existing_t::kept;
  double sample_rate = 0.0;                        ///< [Hz]
  std::optional<std::uint64_t> sample_count = {};  ///< nothing: not known before the last sample
};

/// What a SigMF description tells beside what follows from the samples. Other formats leave it out.
struct recording_story_t {
  json_value_t::object_t global;       ///< members of `global`; what the samples tell wins
  std::uint64_t first_sample = 0;      ///< core:offset
  std::vector<json_value_t> captures;  ///< at least one
  /// Hands over every annotation; nothing: none.
  std::function<void(const std::function<void(const json_value_t&)>& put)> annotations;
};

/// What was written.
struct written_t {
  std::vector<std::string> paths;
  std::string datatype;
  std::uint64_t sample_count = 0;
  std::uint64_t clipped_count = 0;  ///< samples beyond the format's range
};

/// Writes a recording of any length piece by piece; its files appear whole or not at all.
class recording_writer_t {
 public:
  recording_writer_t() = default;
  recording_writer_t(const recording_writer_t&) = delete;
  recording_writer_t& operator=(const recording_writer_t&) = delete;
  virtual ~recording_writer_t() = default;

  /// Throws input_error_t for a sample the format cannot hold, run_error_t when the disk is full.
  virtual void write(std::span<const fmcw_demod_lib::sample_t> samples) = 0;

  /// Writes the description and puts everything in place. Throws run_error_t.
  virtual written_t finish(const recording_story_t& story) = 0;
};

/// The files that a recording of that name consists of: two for SigMF, unless it is an archive.
std::vector<std::string> recording_paths(const std::string& path, const std::string& format);

/// Chooses by the name: `.sigmf` an archive, `.wav`, a suffix of raw files, "-" or a device raw
/// samples,
/// anything else a SigMF pair. Throws input_error_t when a file is there and to be kept, cannot be
/// created, or the format cannot hold the recording.
std::unique_ptr<recording_writer_t> create_recording(const std::string& path,
                                                     const write_options_t& options);

}  // namespace orn::fmcw_host
