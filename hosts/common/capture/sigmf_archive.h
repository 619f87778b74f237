#pragma once

#include "common/capture/input_file.h"

#include <cstdint>
#include <string>
#include <vector>

namespace orn::fmcw_host {

/// A file in an archive, where it lies in the archive's own file.
struct archive_member_t {
  std::string path;
  std::uint64_t offset = 0;
  std::uint64_t size = 0;
};

/// The regular files of an uncompressed tar archive, in its order; their contents are passed over.
/// Throws input_error_t when the file is none, is cut short, or holds a file with holes.
std::vector<archive_member_t> list_archive(const input_file_t& file);

}  // namespace orn::fmcw_host
