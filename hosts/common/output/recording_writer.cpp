#include "common/output/recording_writer.h"

#include "common/capture/checksum.h"
#include "common/capture/sigmf_description.h"
#include "common/errors.h"
#include "common/output/archive_writer.h"
#include "common/output/sample_encoder.h"
#include "common/output/sigmf_text.h"
#include "common/output/wav_writer.h"

#include <filesystem>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>

namespace orn::fmcw_host {
namespace {

namespace fs = std::filesystem;
using fmcw_demod_lib::sample_t;

enum class kind_t { raw, wav, sigmf_pair, sigmf_archive };

std::string suffix_of(const std::string& path) {
  const std::string suffix = fs::path(path).extension().string();
  return suffix.empty() ? suffix : suffix.substr(1);
}

/// A pipe or a device, which takes bytes as they come.
bool is_special(const std::string& path) {
  std::error_code ignored;
  const fs::file_status status = fs::status(path, ignored);
  return fs::exists(status) && !fs::is_regular_file(status) && !fs::is_directory(status);
}

kind_t kind_of(const std::string& path, const std::string& format) {
  if (path.ends_with(sigmf_archive_ending)) {
    return kind_t::sigmf_archive;
  }
  const bool is_sigmf = path.ends_with(sigmf_meta_ending) || path.ends_with(sigmf_data_ending);
  if (format == "wav" || (!is_sigmf && suffix_of(path) == "wav")) {
    return kind_t::wav;
  }
  return path == "-" || is_special(path) || (!is_sigmf && find_datatype(suffix_of(path)) != nullptr)
             ? kind_t::raw
             : kind_t::sigmf_pair;
}

const datatype_t& datatype_for(const std::string& path, const write_options_t& options) {
  if (!options.format.empty() && options.format != "wav") {
    const auto* const named = find_datatype(options.format);
    if (named == nullptr) {
      throw input_error_t("--format: datatype '{}' is unknown; allowed are {}, wav", options.format,
                          datatype_names());
    }
    return *named;
  }
  const auto* const suffixed = find_datatype(suffix_of(path));
  return suffixed != nullptr ? *suffixed : *find_datatype("cf32_le");
}

std::span<const char> characters(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// What every kind has: a file for the samples, and what turns them into its bytes.
class file_writer_t : public recording_writer_t {
 public:
  void write(std::span<const sample_t> samples) override { encoder_.write(samples); }

 protected:
  /// path       as the user gave it
  /// data_path  of the file
  file_writer_t(const std::string& path, const std::string& data_path,
                const write_options_t& options)
      : type_(datatype_for(path, options)),
        file_(data_path, options.existing),
        encoder_(type_, [this](auto bytes) { put(bytes); }) {
    if (options.sample_count) {
      file_.reserve(*options.sample_count * type_.sample_bytes);
    }
  }

  /// The next bytes of the samples.
  virtual void put(std::span<const std::byte> bytes) {
    const auto text = characters(bytes);
    file_.stream().write(text.data(), static_cast<std::streamsize>(text.size()));
  }

  written_t written(std::vector<std::string> paths) const {
    return {std::move(paths), std::string(type_.name), encoder_.sample_count(),
            encoder_.clipped_count()};
  }

  /// Puts the one file in place.
  written_t commit() {
    written_t result = written({file_.path()});
    file_.commit();
    return result;
  }

  const datatype_t& type_;
  output_file_t file_;

 private:
  sample_encoder_t encoder_;
};

class raw_writer_t : public file_writer_t {
 public:
  raw_writer_t(const std::string& path, const write_options_t& options)
      : file_writer_t(path, path, options) {}

  written_t finish(const recording_story_t& /*story*/) override { return commit(); }
};

class wav_recording_writer_t : public file_writer_t {
 public:
  wav_recording_writer_t(const std::string& path, const write_options_t& options)
      : file_writer_t(path, path, options),
        wav_(file_.stream(), path, type_, options.sample_rate) {}

  written_t finish(const recording_story_t& /*story*/) override {
    wav_.finish();
    return commit();
  }

 private:
  void put(std::span<const std::byte> bytes) override { wav_.write(bytes); }

  wav_writer_t wav_;
};

class sigmf_pair_writer_t : public file_writer_t {
 public:
  sigmf_pair_writer_t(const std::string& path, const write_options_t& options)
      : file_writer_t(path, sigmf_stem(path) + std::string(sigmf_data_ending), options),
        sample_rate_(options.sample_rate),
        meta_(sigmf_stem(path) + std::string(sigmf_meta_ending), options.existing) {}

  written_t finish(const recording_story_t& story) override {
    write_sigmf_text(meta_.stream(), story, {type_.name, sample_rate_, sha512_.digest()});
    written_t result = written({file_.path(), meta_.path()});
    const std::array<output_file_t*, 2> both = {&file_, &meta_};
    output_file_t::commit_together(both);
    return result;
  }

 private:
  void put(std::span<const std::byte> bytes) override {
    file_writer_t::put(bytes);
    sha512_.add(bytes);
  }

  double sample_rate_;
  output_file_t meta_;
  sha512_t sha512_;
};

class sigmf_archive_writer_t : public file_writer_t {
 public:
  sigmf_archive_writer_t(const std::string& path, const write_options_t& options)
      : file_writer_t(path, path, options),
        sample_rate_(options.sample_rate),
        stem_(fs::path(path).stem().string()),
        archive_(file_.stream(), archive_writer_t::tar) {
    if (!options.sample_count) {
      throw input_error_t(
          "{}: an archive of samples from a pipe cannot be written, since their number comes "
          "first; allowed are names without .sigmf",
          path);
    }
    archive_.begin(member(sigmf_data_ending), *options.sample_count * type_.sample_bytes);
  }

  written_t finish(const recording_story_t& story) override {
    std::ostringstream meta;
    write_sigmf_text(meta, story, {type_.name, sample_rate_, sha512_.digest()});
    const std::string text = std::move(meta).str();
    archive_.begin(member(sigmf_meta_ending), text.size());
    archive_.write(std::as_bytes(std::span(text)));
    archive_.finish();
    return commit();
  }

 private:
  void put(std::span<const std::byte> bytes) override {
    archive_.write(bytes);
    sha512_.add(bytes);
  }

  std::string member(std::string_view ending) const {
    return stem_ + "/" + stem_ + std::string(ending);
  }

  double sample_rate_;
  std::string stem_;
  archive_writer_t archive_;
  sha512_t sha512_;
};

}  // namespace

std::vector<std::string> recording_paths(const std::string& path, const std::string& format) {
  if (kind_of(path, format) != kind_t::sigmf_pair) {
    return {path};
  }
  const std::string stem = sigmf_stem(path);
  return {stem + std::string(sigmf_data_ending), stem + std::string(sigmf_meta_ending)};
}

std::unique_ptr<recording_writer_t> create_recording(const std::string& path,
                                                     const write_options_t& options) {
  switch (kind_of(path, options.format)) {
    case kind_t::raw:
      return std::make_unique<raw_writer_t>(path, options);
    case kind_t::wav:
      return std::make_unique<wav_recording_writer_t>(path, options);
    case kind_t::sigmf_archive:
      return std::make_unique<sigmf_archive_writer_t>(path, options);
    case kind_t::sigmf_pair:
      break;
  }
  return std::make_unique<sigmf_pair_writer_t>(path, options);
}

}  // namespace orn::fmcw_host
