#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <span>
#include <string>

namespace orn::fmcw_host {

/// What becomes of a file that is there already.
enum class existing_t { replaced, kept };

/// A file that appears whole or not at all: written beside its place under a name that nobody can
/// foresee and moved there by commit(), after it reached the disk. A file replaced keeps its mode
/// and, where allowed, its owner; a symbolic link stays and its target is replaced. "-" is standard
/// output; what is no regular file (a pipe, a device) is written directly.
class output_file_t {
 public:
  /// Throws input_error_t when the file cannot be created, or is there and to be kept.
  explicit output_file_t(const std::string& path, existing_t existing = existing_t::replaced);
  output_file_t(const output_file_t&) = delete;
  output_file_t& operator=(const output_file_t&) = delete;
  ~output_file_t();

  const std::string& path() const;

  /// Writing to it throws run_error_t, naming the file and the reason, as soon as the system takes
  /// no more. Files can be sought, pipes cannot.
  std::ostream& stream();

  /// Sets space aside for the whole file, where the file system can, so that a full disk is known
  /// before hours of work. Throws run_error_t naming the size.
  void reserve(std::uint64_t bytes);

  /// Throws run_error_t when the file could not be written or put in place.
  void commit();

  /// Puts several files in place: all of them, or, when one cannot be, none; what stood there
  /// before is then back. Throws run_error_t.
  static void commit_together(std::span<output_file_t* const> files);

 private:
  struct state_t;
  std::unique_ptr<state_t> state_;
};

/// Writes a whole file by `write(stream)`; an empty path writes nothing.
template <class Write>
void write_output(const std::string& path, Write write) {
  if (!path.empty()) {
    output_file_t file(path);
    write(file.stream());
    file.commit();
  }
}

/// Throws input_error_t when an output is also an input or is named twice, under whatever names.
/// Empty names are none; "-" as an output is standard output.
void check_outputs(std::span<const std::string> inputs, std::span<const std::string> outputs);

}  // namespace orn::fmcw_host
