#include "common/capture/input_file.h"

#include "common/errors.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <streambuf>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace orn::fmcw_host {
namespace {

const char* kind_of(mode_t mode) {
  if (S_ISDIR(mode)) {
    return "is a folder";
  }
  if (S_ISFIFO(mode)) {
    return "is a pipe, which can be read only as '-' (program - <pipe)";
  }
  return S_ISSOCK(mode) ? "is a socket" : "is a device";
}

/// A part of a file, 64 KiB at a time.
class part_buffer_t : public std::streambuf {
 public:
  part_buffer_t(const input_file_t& file, std::uint64_t offset, std::uint64_t size)
      : file_(file), begin_(offset), next_(offset), end_(offset + size) {}

 protected:
  int_type underflow() override {
    const auto size =
        static_cast<std::size_t>(std::min<std::uint64_t>(end_ - next_, bytes_.size()));
    if (size == 0) {
      return traits_type::eof();
    }
    file_.read(next_, std::as_writable_bytes(std::span(bytes_).first(size)));
    next_ += size;
    setg(bytes_.data(), bytes_.data(), bytes_.data() + size);
    return traits_type::to_int_type(*gptr());
  }

  /// Tells the place only.
  pos_type seekoff(off_type offset, std::ios_base::seekdir from,
                   std::ios_base::openmode /*which*/) override {
    if (offset != 0 || from != std::ios_base::cur) {
      return {off_type(-1)};
    }
    return {static_cast<off_type>(next_ - begin_) - (egptr() - gptr())};
  }

 private:
  const input_file_t& file_;
  std::uint64_t begin_, next_, end_;
  std::array<char, 65536> bytes_{};
};

class part_stream_t : public std::istream {
 public:
  part_stream_t(const input_file_t& file, std::uint64_t offset, std::uint64_t size)
      : std::istream(nullptr), buffer_(file, offset, size) {
    rdbuf(&buffer_);
  }

 private:
  part_buffer_t buffer_;
};

}  // namespace

input_file_t::input_file_t(const std::string& path, const char* expected) : path_(path) {
  const auto refuse = [&](const std::string& reason) {
    throw input_error_t("{}: cannot be read: {}; expected {}", path, reason, expected);
  };
  // O_NONBLOCK: opening a pipe that nobody writes to would wait for a writer.
  descriptor_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  struct stat status {};
  if (descriptor_ < 0 || ::fstat(descriptor_, &status) != 0) {
    refuse(std::generic_category().message(errno));
  }
  if (!S_ISREG(status.st_mode)) {
    ::close(descriptor_);
    refuse(kind_of(status.st_mode));
  }
  identity_ = {status.st_dev, status.st_ino, static_cast<std::uint64_t>(status.st_size),
               status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

input_file_t::~input_file_t() { ::close(descriptor_); }

void input_file_t::read(std::uint64_t offset, std::span<std::byte> out) const {
  while (!out.empty()) {
    const ssize_t got = ::pread(descriptor_, out.data(), out.size(), static_cast<off_t>(offset));
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got < 0) {
      throw input_error_t("{}: cannot be read at byte {}: {}", path_, offset,
                          std::generic_category().message(errno));
    }
    if (got == 0) {
      check_unchanged();
      throw input_error_t("{}: ended at byte {} while it was read; expected {} bytes", path_,
                          offset, identity_.size);
    }
    out = out.subspan(static_cast<std::size_t>(got));
    offset += static_cast<std::uint64_t>(got);
  }
  check_unchanged();  // after reading, so that what was read is known to be of the file opened
}

std::unique_ptr<std::istream> input_file_t::stream(std::uint64_t offset, std::uint64_t size) const {
  return std::make_unique<part_stream_t>(*this, offset, size);
}

void input_file_t::check_unchanged() const {
  struct stat open_file {};
  struct stat at_path {};
  if (::fstat(descriptor_, &open_file) != 0) {
    throw input_error_t("{}: cannot be read: {}", path_, std::generic_category().message(errno));
  }
  const auto size = static_cast<std::uint64_t>(open_file.st_size);
  if (size < identity_.size) {
    throw input_error_t("{}: was cut short from {} to {} bytes while it was read", path_,
                        identity_.size, size);
  }
  const identity_t now = {open_file.st_dev, open_file.st_ino, size, open_file.st_mtim.tv_sec,
                          open_file.st_mtim.tv_nsec};
  const bool replaced = ::stat(path_.c_str(), &at_path) == 0 && at_path.st_ino != identity_.node;
  if (now != identity_ || replaced) {
    throw input_error_t("{}: was {} while it was read; expected a file that stays as it is", path_,
                        replaced ? "replaced" : "changed");
  }
}

}  // namespace orn::fmcw_host
