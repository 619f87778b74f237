#pragma once

#include <streambuf>
#include <string>
#include <vector>

namespace orn::fmcw_host {

/// Writes to a file descriptor, which stays the owner's. Throws run_error_t when that fails.
class descriptor_buffer_t : public std::streambuf {
 public:
  /// name  of the file, for messages
  descriptor_buffer_t(int descriptor, std::string name);

 protected:
  int_type overflow(int_type c) override;
  std::streamsize xsputn(const char* bytes, std::streamsize count) override;
  int sync() override;
  pos_type seekoff(off_type offset, std::ios_base::seekdir from,
                   std::ios_base::openmode which) override;
  pos_type seekpos(pos_type place, std::ios_base::openmode which) override;

 private:
  void write_all(const char* bytes, std::size_t count);

  int descriptor_;
  std::string name_;
  std::vector<char> bytes_;
};

}  // namespace orn::fmcw_host
