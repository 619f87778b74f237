#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <ostream>
#include <span>
#include <string>

namespace orn::fmcw_host {

/// Writes an archive file by file, without compression. Whatever the stream throws comes through.
class archive_writer_t {
 public:
  enum kind_t { tar, zip };

  archive_writer_t(std::ostream& out, kind_t kind);
  archive_writer_t(const archive_writer_t&) = delete;
  archive_writer_t& operator=(const archive_writer_t&) = delete;
  ~archive_writer_t();

  /// Begins a file of exactly `size` bytes. Throws run_error_t.
  void begin(const std::string& name, std::uint64_t size);

  /// More of the file begun last. Throws run_error_t when it exceeds its size.
  void write(std::span<const std::byte> bytes);

  /// Ends the archive. Throws run_error_t.
  void finish();

 private:
  struct state_t;
  std::unique_ptr<state_t> state_;
};

}  // namespace orn::fmcw_host
