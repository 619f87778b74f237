#pragma once

#include "common/capture/annotation.h"
#include "common/capture/sample_source.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace orn::fmcw_host {

/// How a recording is to be read. What is not set was not given.
struct read_options_t {
  std::optional<double> sample_rate = {};  ///< where the file names none [Hz]
  std::string format =
      {};  ///< of raw samples, one of datatype_names() or "wav"; empty: by the name
  std::optional<double> centre = {};      ///< RF frequency of 0 Hz, where the file names none [Hz]
  std::optional<double> full_scale = {};  ///< peak voltage that 1.0 stands for [V], > 0
  std::string from = {};  ///< where to begin, "20ms" or a number of samples; empty: at the start
  std::string duration = {};  ///< how much to take, likewise; empty: all
  bool with_sha256 = false;   ///< whether sha256() of a pipe will be asked for
};

/// Components from which on a converter was at its end [V]; either bound counts.
struct clip_levels_t {
  float lowest = 0.0F;
  float highest = 0.0F;
};

/// What is known of a recording.
struct recording_info_t {
  std::string name;                           ///< as the user gave it
  std::string format;                         ///< "SigMF", "SigMF archive", "WAV" or "raw"
  std::string datatype;                       ///< of its samples, as SigMF names it
  double sample_rate = 0.0;                   ///< [Hz], above 0
  std::optional<double> full_scale;           ///< [V]; nothing: 1.0 counts as 1 V peak
  std::optional<clip_levels_t> clip_levels;   ///< of whole-number formats
  std::optional<std::uint64_t> sample_count;  ///< of all segments; nothing: a pipe
  std::uint64_t annotation_count = 0;
  std::vector<std::string> notes;  ///< what was assumed or left out, one sentence each
};

/// A recording of any length: samples are read piece by piece where they lie, with pread() rather
/// than through a mapping, so that a file that shrinks meanwhile is an error and no signal.
/// Reading leaves the recording as it is; any number of threads may do so at once.
class recording_t {
 public:
  /// Opens a SigMF recording (either file of the pair, their stem, or an archive), a WAV file of
  /// two channels, raw samples, or the raw samples of standard input ("-"). Throws input_error_t.
  static recording_t open(const std::string& path, const read_options_t& options = {});

  recording_t(recording_t&& other) noexcept;
  recording_t& operator=(recording_t&& other) noexcept;
  ~recording_t();

  const recording_info_t& info() const;

  /// In the order of their samples; at least one.
  const std::vector<segment_t>& segments() const;

  /// The samples of segments()[segment] after the first `skip`, `count` of them or all. Must not
  /// outlive the recording. The samples of a pipe can be had once.
  std::unique_ptr<sample_source_t> source(std::size_t segment, std::uint64_t skip = 0,
                                          std::optional<std::uint64_t> count = std::nullopt) const;

  /// Fills `out` with the samples from `first` on the recording's axis, which must lie in one
  /// segment. Throws input_error_t when they do not, and for pipes.
  void read(std::uint64_t first, std::span<fmcw_demod_lib::sample_t> out) const;

  /// Hands over the annotations that touch the part taken, in the file's order, from the file
  /// again.
  void for_each_annotation(const std::function<void(const annotation_t&)>& take) const;

  /// Hands over every annotation, whatever part was taken.
  void for_all_annotations(const std::function<void(const annotation_t&)>& take) const;

  /// Reads the description again and hands over its members as they stand, arrays element by
  /// element; nothing where there is no description.
  void read_description(const json_visitor_t& visit) const;

  /// The description's object `global`, and the object of each segment; empty objects where the
  /// recording has no description.
  const json_value_t& global_fields() const;
  const json_value_t& segment_fields(std::size_t segment) const;

  /// The files it consists of; none for standard input.
  std::vector<std::string> files() const;

  /// The SHA-256 of the bytes that the samples are stored as, 64 lower-case hexadecimal digits: of
  /// the dataset (in an archive that member alone), of a raw or WAV file as a whole, whatever part
  /// was taken; of a pipe the bytes read so far, where the options asked for it. Reads the file
  /// through; may be called on a thread of its own.
  std::string sha256() const;

  /// The first bytes, `count` at most, of the file that holds the samples or of the dataset in it,
  /// undecoded; none for pipes. Throws input_error_t when the file changed.
  enum bytes_t { of_file, of_dataset };
  std::vector<std::byte> first_bytes(std::size_t count, bytes_t which) const;

  /// Compares the samples' file with its SHA-512 in the description. Throws input_error_t when they
  /// differ or none is given.
  void verify_checksum() const;

 private:
  struct state_t;
  explicit recording_t(std::unique_ptr<state_t> state);
  std::unique_ptr<state_t> state_;
};

}  // namespace orn::fmcw_host
