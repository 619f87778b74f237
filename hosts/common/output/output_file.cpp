#include "common/output/output_file.h"

#include "common/errors.h"
#include "common/output/descriptor_buffer.h"
#include "common/output/unfinished.h"

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <optional>
#include <system_error>
#include <tuple>
#include <utility>

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

namespace orn::fmcw_host {
namespace {

namespace fs = std::filesystem;

std::string reason() { return std::generic_category().message(errno); }

/// The answer of a file system's question. What else went wrong shows when the file is opened, but
/// a path that memory ran out for must not be taken for one.
template <class Answer>
Answer answer(Answer given, const std::error_code& error) {
  if (error == std::errc::not_enough_memory) {
    throw std::bad_alloc();
  }
  return given;
}

/// Where a path leads after its symbolic links, the last of which may lead to nothing.
fs::path followed(fs::path path) {
  std::error_code error;
  constexpr int longest_chain = 40;
  for (int i = 0; i < longest_chain && fs::is_symlink(fs::symlink_status(path, error)); ++i) {
    const fs::path target = answer(fs::read_symlink(path, error), error);
    path = target.is_absolute() ? target : path.parent_path() / target;
  }
  return answer(fs::absolute(path, error), error);
}

bool are_same(const std::string& a, const std::string& b) {
  if (a == b || a == "-" || b == "-") {
    return a == b;
  }
  std::error_code error;
  if (fs::equivalent(a, b, error)) {
    return true;
  }
  const fs::path first = answer(fs::weakly_canonical(followed(a), error), error);
  return !first.empty() && first == answer(fs::weakly_canonical(followed(b), error), error);
}

/// A name beside `place` that is not taken and cannot be foreseen.
fs::path secret_name(const fs::path& place) {
  std::uint64_t random = 0;
  if (::getrandom(&random, sizeof(random), 0) != sizeof(random)) {
    throw run_error_t("{}: no random name could be made: {}", place.string(), reason());
  }
  return place.parent_path() / fmt::format(".fmcw-{:016x}", random);
}

void sync_folder(const fs::path& folder) {
  const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor >= 0) {
    ::fsync(descriptor);  // some file systems cannot, and the files are there all the same
    ::close(descriptor);
  }
}

}  // namespace

struct output_file_t::state_t {
  std::string name;      ///< as the user gave it
  fs::path place;        ///< after symbolic links; empty: standard output
  fs::path folder;       ///< that it is in
  fs::path written;      ///< what is open; `place` when written directly
  fs::path backup_name;  ///< second name of the file replaced, while a pair is put in place
  bool has_backup = false;
  int descriptor = -1;
  bool is_placed = false;
  std::optional<unfinished_t> unfinished;
  std::optional<unfinished_t> unfinished_backup;
  std::optional<descriptor_buffer_t> buffer;
  std::ostream stream{nullptr};

  ~state_t() {
    if (descriptor > STDERR_FILENO) {
      ::close(descriptor);
    }
    if (!is_placed && is_temporary()) {
      ::unlink(written.c_str());
    }
    drop_backup();
  }

  bool is_temporary() const { return written != place; }

  [[noreturn]] void refuse() const {
    throw input_error_t(
        "{}: cannot be created: {}; expected a file name in a folder that can be written to", name,
        reason());
  }

  void begin() {
    buffer.emplace(descriptor, name == "-" ? "standard output" : name);
    stream.rdbuf(&*buffer);
    stream.exceptions(std::ios::badbit);  // lets the buffer's own exceptions through
  }

  /// A pipe or a device. O_NONBLOCK: a pipe that nobody reads would wait for a reader.
  void open_directly() {
    written = place;
    descriptor = ::open(place.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (descriptor < 0) {
      refuse();
    }
    static_cast<void>(::fcntl(descriptor, F_SETFL, O_WRONLY));  // from here on, wait
  }

  void open_beside(const struct stat* replaced) {
    if (replaced != nullptr && ::access(place.c_str(), W_OK) != 0) {
      refuse();
    }
    folder = place.parent_path();
    written = secret_name(place);
    const signals_held_t held;
    unfinished.emplace(written.c_str());
    descriptor = ::open(written.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
    if (descriptor < 0) {
      refuse();
    }
    if (replaced != nullptr) {
      // Only root may give a file away; its mode is set last, since a new owner clears parts of it.
      const bool ignored = ::fchown(descriptor, replaced->st_uid, replaced->st_gid) == 0;
      static_cast<void>(ignored);
      ::fchmod(descriptor, replaced->st_mode & 07777U);
    }
  }

  /// Everything is on the disk after this, under the temporary name.
  void finish() {
    stream.flush();
    if (!is_temporary()) {
      return;
    }
    const bool complete = ::fsync(descriptor) == 0 || errno == EINVAL;
    const bool closed = ::close(std::exchange(descriptor, -1)) == 0;
    if (!complete || !closed) {
      throw run_error_t("{}: not everything could be written: {}", name, reason());
    }
  }

  /// Makes the backup's name, since later nothing may fail for want of memory.
  void prepare_backup() {
    backup_name = secret_name(place);
    unfinished_backup.emplace(backup_name.c_str());
  }

  void keep_backup() {
    struct stat status {};
    if (!is_temporary() || ::lstat(place.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
      return;
    }
    // Where the file system has no second names, the file moves away for a moment.
    has_backup = ::link(place.c_str(), backup_name.c_str()) == 0 ||
                 ::rename(place.c_str(), backup_name.c_str()) == 0;
  }

  void drop_backup() {
    if (std::exchange(has_backup, false)) {
      ::unlink(backup_name.c_str());
    }
    unfinished_backup.reset();
  }

  bool put_in_place() {
    if (!is_temporary()) {
      return true;
    }
    is_placed = ::rename(written.c_str(), place.c_str()) == 0;
    return is_placed;
  }

  void take_back() {
    if (has_backup) {
      std::ignore = ::rename(backup_name.c_str(), place.c_str());
      drop_backup();  // a rename between two names of one file leaves both
    } else if (is_placed) {
      ::unlink(place.c_str());
    }
  }
};

output_file_t::output_file_t(const std::string& path, existing_t existing)
    : state_(std::make_unique<state_t>()) {
  state_->name = path;
  if (path == "-") {
    std::cout.flush();
    state_->descriptor = STDOUT_FILENO;
    state_->begin();
    return;
  }
  state_->place = followed(path);
  struct stat status {};
  const bool is_there = ::stat(state_->place.c_str(), &status) == 0;
  if (!is_there && errno == ELOOP) {
    state_->refuse();
  }
  if (is_there && !S_ISREG(status.st_mode)) {
    state_->open_directly();
  } else {
    if (is_there && existing == existing_t::kept) {
      throw input_error_t("{}: is there already; --force replaces it", path);
    }
    state_->open_beside(is_there ? &status : nullptr);
  }
  state_->begin();
}

output_file_t::~output_file_t() = default;

const std::string& output_file_t::path() const { return state_->name; }

std::ostream& output_file_t::stream() { return state_->stream; }

void output_file_t::reserve(std::uint64_t bytes) {
  if (state_->place.empty() || !state_->is_temporary()) {
    return;
  }
  const bool fits =
      ::fallocate(state_->descriptor, FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(bytes)) == 0;
  if (!fits && (errno == ENOSPC || errno == EFBIG || errno == EDQUOT)) {
    throw run_error_t("{}: its {} bytes cannot be written: {}", state_->name, bytes, reason());
  }
}

void output_file_t::commit() {
  output_file_t* const self = this;
  commit_together({&self, 1});
}

void output_file_t::commit_together(std::span<output_file_t* const> files) {
  for (output_file_t* const file : files) {
    file->state_->finish();
  }
  const bool is_pair = files.size() > 1;
  for (output_file_t* const file : files) {
    if (is_pair && file->state_->is_temporary()) {
      file->state_->prepare_backup();
    }
  }
  const signals_held_t held;
  for (output_file_t* const file : files) {
    if (is_pair) {
      file->state_->keep_backup();
    }
    if (!file->state_->put_in_place()) {
      const std::string why = reason();
      for (output_file_t* const done : files) {
        done->state_->take_back();
      }
      throw run_error_t("{}: cannot be put in place: {}", file->state_->name, why);
    }
  }
  for (output_file_t* const file : files) {
    file->state_->drop_backup();
    file->state_->unfinished.reset();
    if (file->state_->is_temporary()) {
      sync_folder(file->state_->folder);
    }
  }
}

void check_outputs(std::span<const std::string> inputs, std::span<const std::string> outputs) {
  const auto is_file = [](const std::string& path) {
    std::error_code ignored;
    return !fs::exists(path, ignored) || fs::is_regular_file(path, ignored);
  };
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    if (outputs[i].empty() || (outputs[i] != "-" && !is_file(outputs[i]))) {
      continue;
    }
    for (const std::string& input : inputs) {
      if (outputs[i] != "-" && are_same(outputs[i], input)) {
        throw input_error_t("{}: is an input; an output needs another name", outputs[i]);
      }
    }
    for (std::size_t j = i + 1; j < outputs.size(); ++j) {
      if (!outputs[j].empty() && are_same(outputs[i], outputs[j])) {
        throw input_error_t("{}: is named for two outputs; each needs a name of its own",
                            outputs[i] == "-" ? "standard output" : outputs[i]);
      }
    }
  }
}

}  // namespace orn::fmcw_host
