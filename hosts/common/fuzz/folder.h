#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>

namespace orn::fmcw_host {

/// A folder of this process, gone at its end.
struct folder_t {
  std::filesystem::path path;
  folder_t() {
    std::string name = (std::filesystem::temp_directory_path() / "fmcw-fuzz-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) {
      std::abort();
    }
    path = name;
  }
  folder_t(const folder_t&) = delete;
  folder_t& operator=(const folder_t&) = delete;
  ~folder_t() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
};

inline void write(const std::filesystem::path& path, std::string_view content) {
  std::ofstream(path, std::ios::binary)
      .write(content.data(), static_cast<std::streamsize>(content.size()));
}

}  // namespace orn::fmcw_host
