#pragma once

#include "common/capture/recording.h"
#include "common/figures/chirp.h"
#include "common/output/json_writer.h"
#include "common/output/output_file.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace orn::fmcw_host {

/// Where chirps are to be annotated.
struct annotation_choice_t {
  std::string path;       ///< a .sigmf-meta; empty: the recording's own description
  bool in_place = false;  ///< a file that is there already may be replaced
};

/// The file that a choice leads to.
/// Throws input_error_t where it cannot describe the recording: another ending, a file there that
/// is not to be replaced, another folder than that of the samples, and samples of a pipe, an
/// archive or a WAV file, which no description beside them reaches.
std::string annotation_path(const annotation_choice_t& choice, const recording_t& recording);

/// Writes the description of a recording anew with its chirps as annotations, as they come. What
/// the description says stays: `global` (but for the extension's declaration, the name of the
/// dataset where it follows no more from the file's, and a rate nobody told before), `captures`, and
/// annotations, except those that this program measured earlier and that lie in the part taken. Annotations come
/// sorted by their first sample. Raw samples get a description that names their file.
///
/// Memory: that of the annotations kept. The recording must outlive the writer.
class annotation_writer_t {
 public:
  /// Throws as annotation_path() does, and for a file that cannot be created.
  annotation_writer_t(const annotation_choice_t& choice, const recording_t& recording);

  /// verdict  as annotation_of() takes it
  void add(const chirp_t& chirp, std::string_view verdict);

  /// Writes what comes after the chirps.
  void finish();

  /// To be put in place after finish(). The recording's annotations cannot be read again where it
  /// takes the place of theirs.
  output_file_t& file() { return file_; }

 private:
  void write_global();
  void write_captures();
  void collect_kept();
  void put_kept_until(std::uint64_t sample);

  struct kept_t {
    std::uint64_t first_sample;
    json_value_t fields;
  };
  const recording_t& recording_;
  output_file_t file_;
  json_writer_t json_;
  std::vector<kept_t> kept_;
  std::size_t next_kept_ = 0;
};

}  // namespace orn::fmcw_host
