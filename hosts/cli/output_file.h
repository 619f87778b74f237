#pragma once

#include <filesystem>
#include <fstream>
#include <ostream>
#include <string>

namespace fmcw_cli {

/// A file that appears whole or not at all: written beside its place under a temporary name and
/// moved there by commit(). "-" is standard output; what is no regular file (a pipe, a device) is
/// written directly.
class output_file_t {
 public:
  /// Throws input_error when the file cannot be created.
  explicit output_file_t(const std::string& path);
  output_file_t(const output_file_t&) = delete;
  output_file_t& operator=(const output_file_t&) = delete;
  ~output_file_t();

  std::ostream& stream();

  /// Throws run_error when not everything could be written.
  void commit();

 private:
  std::string name_;
  std::filesystem::path place_;
  std::filesystem::path written_;  ///< equals place_ when written directly, empty for stdout
  std::ofstream file_;
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

}  // namespace fmcw_cli
