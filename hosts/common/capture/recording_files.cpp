#include "common/capture/recording_files.h"

#include "common/capture/checksum.h"
#include "common/capture/sigmf_archive.h"
#include "common/capture/wav_store.h"
#include "common/diagnosis/data_look.h"
#include "common/errors.h"

#include <algorithm>
#include <filesystem>
#include <span>
#include <system_error>
#include <utility>

#include <unistd.h>

namespace orn::fmcw_host {
namespace {

namespace fs = std::filesystem;

constexpr const char* capture_expected = "a capture file";

/// The letters after the last dot of the file's name.
std::string suffix_of(const std::string& path) {
  const std::string suffix = fs::path(path).extension().string();
  return suffix.empty() ? suffix : suffix.substr(1);
}

bool is_wav_name(std::string name) {
  for (char& c : name) {
    c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return name == "wav";
}

/// Samples in `bytes` bytes, which must hold at least one and nothing beside.
std::uint64_t count_samples(const std::string& path, std::uint64_t bytes, const datatype_t& type,
                            const std::string& look = "") {
  if (bytes == 0 || bytes % type.sample_bytes != 0) {
    throw input_error_t(
        "{}: {} bytes is the wrong size; allowed is a positive multiple of {} bytes, one {} "
        "sample{}",
        path, bytes, type.sample_bytes, type.name, look);
  }
  return bytes / type.sample_bytes;
}

const datatype_t& raw_datatype(const std::string& path, const std::string& format,
                               opened_files_t& files) {
  if (!format.empty()) {
    const auto* const named = find_datatype(format);
    if (named == nullptr) {
      throw input_error_t("--format: datatype '{}' is unknown; allowed are {}, wav", format,
                          datatype_names());
    }
    return *named;
  }
  if (const auto* const suffixed = find_datatype(suffix_of(path))) {
    return *suffixed;
  }
  files.notes.push_back(
      fmt::format("{}: the name tells no format, taken as cf32_le; --format sets another",
                  path == "-" ? "standard input" : path));
  return *find_datatype("cf32_le");
}

void set_datatype(opened_files_t& files, const datatype_t& type) {
  files.datatype = &type;
  files.encoding = type.name;
  files.highest_code = type.highest_code;
}

void set_one_segment(opened_files_t& files, std::optional<std::uint64_t> count) {
  files.segments.emplace_back().sample_count = count;
  files.segment_fields.emplace_back().value = json_value_t::object_t();
  files.global.value = json_value_t::object_t();
}

opened_files_t open_stream(const std::string& path, const std::string& format) {
  if (::isatty(STDIN_FILENO) != 0) {
    throw input_error_t(
        "standard input: is a terminal; expected raw samples from a pipe or a file");
  }
  opened_files_t files;
  files.name = path;
  files.format = "raw";
  set_datatype(files, raw_datatype(path, format, files));
  set_one_segment(files, std::nullopt);
  return files;
}

/// What a file's head looks like, to add to an error; empty where it looks like nothing known.
std::string head_text(const input_file_t& file) {
  constexpr std::uint64_t enough = 4096;
  std::vector<std::byte> head(static_cast<std::size_t>(std::min(enough, file.size())));
  file.read(0, head);
  const data_look_t look = look_at_head(head);
  return look.kind == data_look_t::ordinary ? "" : "; it looks like " + look_text(look);
}

opened_files_t open_raw(const std::string& path, const std::string& format) {
  opened_files_t files;
  files.name = path;
  files.format = "raw";
  set_datatype(files, raw_datatype(path, format, files));
  files.data = std::make_shared<input_file_t>(path, capture_expected);
  files.data_size = files.data->size();
  const bool fits = files.data_size % files.datatype->sample_bytes == 0;
  set_one_segment(files, count_samples(path, files.data_size, *files.datatype,
                                       fits ? "" : head_text(*files.data)));
  files.store =
      std::make_unique<file_store_t>(files.data, *files.datatype, std::vector<std::uint64_t>{0});
  return files;
}

opened_files_t open_wav(const std::string& path) {
  opened_files_t files;
  files.name = path;
  files.format = "WAV";
  files.data = std::make_shared<input_file_t>(path, "a WAV file");
  auto store = std::make_unique<wav_store_t>(files.data);
  files.encoding = store->head().encoding;
  files.highest_code = store->head().highest_code;
  files.sample_rate = store->head().sample_rate;
  if (store->head().sample_count == 0) {
    throw input_error_t("{}: holds no samples; expected at least one", path);
  }
  if (store->head().missing_bytes != 0) {
    files.notes.push_back(fmt::format("{}: is cut short, {} bytes of its samples are missing", path,
                                      store->head().missing_bytes));
  }
  set_one_segment(files, store->head().sample_count);
  files.store = std::move(store);
  return files;
}

/// Lays the segments of a description over its dataset. A segment's header and those before it
/// shift its samples; the last segment ends with the dataset.
void lay_out(const sigmf_description_t& description, opened_files_t& files) {
  const std::uint64_t sample_bytes = description.datatype->sample_bytes;
  const std::string& path = files.data->path();
  std::uint64_t headers = 0;
  for (const sigmf_segment_t& segment : description.segments) {
    if (segment.header_bytes > files.data_size - headers) {
      throw input_error_t(
          "{}: core:header_bytes is {}; allowed is less than the dataset's {} bytes", files.name,
          segment.header_bytes, files.data_size);
    }
    headers += segment.header_bytes;
  }
  if (description.trailing_bytes > files.data_size - headers) {
    throw input_error_t(
        "{}: core:trailing_bytes is {}; allowed is less than the dataset's {} bytes", files.name,
        description.trailing_bytes, files.data_size);
  }
  const std::uint64_t total = count_samples(
      path, files.data_size - headers - description.trailing_bytes, *description.datatype);
  const std::uint64_t end = description.offset + total;
  std::vector<std::uint64_t> places;
  std::uint64_t place = files.data_offset;
  for (std::size_t i = 0; i < description.segments.size(); ++i) {
    const sigmf_segment_t& segment = description.segments[i];
    const bool is_last = i + 1 == description.segments.size();
    const std::uint64_t next = is_last ? end : description.segments[i + 1].first_sample;
    place += segment.header_bytes;
    if (segment.first_sample > end || next > end) {
      throw input_error_t("{}: a capture begins at sample {}; the dataset ends at sample {}",
                          files.name, std::max(segment.first_sample, next), end);
    }
    if (next != segment.first_sample) {
      files.segments.push_back(
          {segment.first_sample, next - segment.first_sample, segment.centre, segment.datetime});
      files.segment_fields.push_back(segment.fields);
      places.push_back(place + (segment.first_sample - description.offset) * sample_bytes);
    }
  }
  if (files.segments.empty()) {
    throw input_error_t("{}: its captures hold no sample; expected at least one", files.name);
  }
  if (files.segments.front().first_sample != description.offset) {
    files.notes.push_back(
        fmt::format("{}: the samples before sample {} belong to no capture and "
                    "are left out",
                    files.name, files.segments.front().first_sample));
  }
  files.store =
      std::make_unique<file_store_t>(files.data, *description.datatype, std::move(places));
}

void describe(opened_files_t& files, sigmf_description_t&& description) {
  set_datatype(files, *description.datatype);
  files.sample_rate = description.sample_rate;
  files.annotation_count = description.annotation_count;
  files.sha512 = description.sha512;
  lay_out(description, files);
  files.global = std::move(description.global);
}

opened_files_t open_sigmf(const std::string& path) {
  const std::string stem = sigmf_stem(path);
  opened_files_t files;
  files.name = path;
  files.format = "SigMF";
  const std::string meta_path = stem + std::string(sigmf_meta_ending);
  files.description_path = meta_path;
  const auto meta = std::make_shared<input_file_t>(meta_path, "a SigMF description");
  files.description_text = {[meta] { return meta->stream(0, meta->size()); }, meta_path};
  sigmf_description_t description = read_sigmf_description(files.description_text);
  const std::string data_path =
      description.dataset.empty()
          ? stem + std::string(sigmf_data_ending)
          : (fs::path(meta_path).parent_path() / description.dataset).string();
  std::error_code ignored;
  if (description.metadata_only && !fs::exists(data_path, ignored)) {
    throw input_error_t(
        "{}: core:metadata_only is true; expected a description that comes with its samples, {}",
        meta_path, data_path);
  }
  files.data = std::make_shared<input_file_t>(data_path, "the samples of the recording");
  files.data_size = files.data->size();
  describe(files, std::move(description));
  return files;
}

/// The one member of an archive that fits.
/// what  names it in messages
template <class Fits>
const archive_member_t& only_member(const std::vector<archive_member_t>& members, Fits fits,
                                    const std::string& what, const std::string& archive) {
  const archive_member_t* found = nullptr;
  for (const archive_member_t& member : members) {
    if (!fits(member.path)) {
      continue;
    }
    if (found != nullptr) {
      throw input_error_t("{}: holds '{}' and '{}'; allowed is one recording, unpack it for more",
                          archive, found->path, member.path);
    }
    found = &member;
  }
  if (found == nullptr) {
    throw input_error_t("{}: holds no file '{}'; expected a SigMF recording", archive, what);
  }
  return *found;
}

opened_files_t open_archive(const std::string& path) {
  opened_files_t files;
  files.name = path;
  files.format = "SigMF archive";
  files.data = std::make_shared<input_file_t>(path, "a SigMF archive");
  const auto members = list_archive(*files.data);
  const archive_member_t& meta = only_member(
      members, [](const std::string& name) { return name.ends_with(sigmf_meta_ending); },
      fmt::format("*{}", sigmf_meta_ending), path);
  files.description_text = {
      [archive = files.data, meta] { return archive->stream(meta.offset, meta.size); },
      path + ": " + meta.path};
  sigmf_description_t description = read_sigmf_description(files.description_text);
  const std::string data_path =
      description.dataset.empty()
          ? sigmf_stem(meta.path) + std::string(sigmf_data_ending)
          : (fs::path(meta.path).parent_path() / description.dataset).string();
  const fs::path wanted = fs::path(data_path).lexically_normal();
  const archive_member_t& data = only_member(
      members, [&](const std::string& name) { return fs::path(name).lexically_normal() == wanted; },
      data_path, path);
  files.data_offset = data.offset;
  files.data_size = data.size;
  describe(files, std::move(description));
  return files;
}

/// Digest of the first `size` bytes of the dataset.
template <class Hash>
std::string digest_of(const opened_files_t& files, std::uint64_t size) {
  Hash hash;
  std::vector<std::byte> bytes(1U << 20U);
  for (std::uint64_t done = 0; done != size;) {
    const auto part = std::span(bytes).first(
        static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), size - done)));
    files.data->read(files.data_offset + done, part);
    hash.add(part);
    done += part.size();
  }
  return hash.digest();
}

}  // namespace

opened_files_t open_files(const std::string& path, const std::string& format) {
  if (path == "-") {
    return open_stream(path, format);
  }
  if (path.ends_with(sigmf_collection_ending)) {
    throw input_error_t("{}: is a SigMF collection; give one of its recordings", path);
  }
  const bool is_sigmf = path.ends_with(sigmf_meta_ending) || path.ends_with(sigmf_data_ending);
  const bool is_archive = path.ends_with(sigmf_archive_ending);
  std::error_code ignored;
  const bool is_there = fs::exists(path, ignored);
  const bool is_stem = fs::exists(path + std::string(sigmf_meta_ending), ignored) &&
                       !fs::is_regular_file(path, ignored);
  if (!format.empty()) {
    if (path.ends_with(sigmf_meta_ending) || is_archive || is_stem) {
      throw input_error_t("{}: tells its own format; --format is for raw samples", path);
    }
    return is_wav_name(format) ? open_wav(path) : open_raw(path, format);
  }
  if (is_sigmf) {
    return open_sigmf(path);
  }
  if (is_archive) {
    return open_archive(path);
  }
  if (is_wav_name(suffix_of(path))) {
    return open_wav(path);
  }
  if (is_stem) {
    return open_sigmf(path);
  }
  if (!is_there) {
    throw input_error_t("{0}: cannot be read: there is neither {0} nor {0}{1}", path,
                        sigmf_meta_ending);
  }
  return open_raw(path, format);
}

std::vector<std::string> paths_of(const opened_files_t& files) {
  std::vector<std::string> paths;
  if (files.data != nullptr) {
    paths.push_back(files.data->path());
  }
  if (!files.description_path.empty()) {
    paths.push_back(files.description_path);
  }
  return paths;
}

std::string sha256_of(const opened_files_t& files) {
  const bool is_described = files.description_text.open != nullptr;
  return digest_of<sha256_t>(files, is_described ? files.data_size : files.data->size());
}

void check_sha512(const opened_files_t& files) {
  if (files.sha512.empty()) {
    throw input_error_t("{}: names no core:sha512 to compare with", files.name);
  }
  const std::string digest = digest_of<sha512_t>(files, files.data_size);
  if (digest != files.sha512) {
    throw input_error_t("{}: its samples have the SHA-512 {}; core:sha512 promises {}", files.name,
                        digest, files.sha512);
  }
}

}  // namespace orn::fmcw_host
