#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <memory>
#include <span>
#include <string>

namespace orn::fmcw_host {

/// A regular file open for reading at any place, by any number of threads. Each reading checks that
/// the file is still the one that was opened.
class input_file_t {
 public:
  /// Never waits: a pipe or a device is refused before it is read. Throws input_error_t saying what
  /// the path is instead of a file.
  /// expected  what should be there, "a capture file"
  input_file_t(const std::string& path, const char* expected);
  input_file_t(const input_file_t&) = delete;
  input_file_t& operator=(const input_file_t&) = delete;
  ~input_file_t();

  const std::string& path() const { return path_; }
  std::uint64_t size() const { return identity_.size; }

  /// Fills `out` from byte `offset` on. Throws input_error_t when the file changed, was replaced,
  /// or ends before.
  void read(std::uint64_t offset, std::span<std::byte> out) const;

  /// Bytes offset to offset + size as a stream. Reading from it throws as read() does.
  std::unique_ptr<std::istream> stream(std::uint64_t offset, std::uint64_t size) const;

 private:
  struct identity_t {
    std::uint64_t device, node, size;
    std::int64_t seconds, nanoseconds;  ///< of its last change
    bool operator==(const identity_t&) const = default;
  };
  void check_unchanged() const;

  std::string path_;
  int descriptor_ = -1;
  identity_t identity_{};
};

}  // namespace orn::fmcw_host
