#include "common/capture/sigmf_archive.h"

#include "common/errors.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <exception>
#include <memory>
#include <new>

#include <archive.h>
#include <archive_entry.h>

namespace orn::fmcw_host {
namespace {

/// The file as the archive library reads it. What goes wrong waits here until the library, whose
/// frames no exception may cross, has returned.
struct archive_input_t {
  const input_file_t& file;
  std::uint64_t position = 0;
  std::exception_ptr failure;
  std::array<std::byte, 65536> bytes{};
};

la_ssize_t read_bytes(archive* /*handle*/, void* user, const void** bytes) {
  auto& input = *static_cast<archive_input_t*>(user);
  const auto left = input.file.size() - input.position;
  const auto size = std::min<std::uint64_t>(left, input.bytes.size());
  try {
    input.file.read(input.position, std::span(input.bytes).first(static_cast<std::size_t>(size)));
  } catch (...) {
    input.failure = std::current_exception();
    return -1;
  }
  input.position += size;
  *bytes = input.bytes.data();
  return static_cast<la_ssize_t>(size);
}

la_int64_t skip_bytes(archive* /*handle*/, void* user, la_int64_t count) {
  auto& input = *static_cast<archive_input_t*>(user);
  const auto left = input.file.size() - input.position;
  const auto size = std::min(static_cast<std::uint64_t>(std::max<la_int64_t>(count, 0)), left);
  input.position += size;
  return static_cast<la_int64_t>(size);
}

void check(int code, archive* handle, const archive_input_t& input) {
  if (input.failure) {
    std::rethrow_exception(input.failure);
  }
  if (code == ARCHIVE_OK || code == ARCHIVE_EOF) {
    return;
  }
  if ((archive_errno(handle) == ENOMEM || errno == ENOMEM)) {
    throw std::bad_alloc();
  }
  throw input_error_t("{}: is no whole tar archive; expected a SigMF archive, an uncompressed tar",
                      input.file.path());
}

}  // namespace

std::vector<archive_member_t> list_archive(const input_file_t& file) {
  errno = 0;
  const auto input = std::make_unique<archive_input_t>(archive_input_t{file, 0, nullptr, {}});
  const std::unique_ptr<archive, decltype(&archive_read_free)> handle(archive_read_new(),
                                                                      archive_read_free);
  if (!handle) {
    throw std::bad_alloc();
  }
  archive* const a = handle.get();
  check(archive_read_support_format_tar(a), a, *input);
  check(archive_read_open2(a, input.get(), nullptr, read_bytes, skip_bytes, nullptr), a, *input);
  const std::unique_ptr<archive_entry, decltype(&archive_entry_free)> holder(archive_entry_new(),
                                                                             archive_entry_free);
  if (!holder) {
    throw std::bad_alloc();
  }
  archive_entry* const entry = holder.get();
  std::vector<archive_member_t> members;
  for (;;) {
    const int code = archive_read_next_header2(a, entry);
    check(code, a, *input);
    if (code == ARCHIVE_EOF) {
      return members;
    }
    if (archive_entry_filetype(entry) != AE_IFREG) {
      continue;
    }
    const char* const path = archive_entry_pathname(entry);
    archive_member_t member{path != nullptr ? path : "",
                            static_cast<std::uint64_t>(archive_filter_bytes(a, 0)),
                            static_cast<std::uint64_t>(archive_entry_size(entry))};
    if (archive_entry_sparse_count(entry) > 0) {
      throw input_error_t("{}: '{}' is stored with holes; expected an archive without sparse files",
                          file.path(), member.path);
    }
    if (member.size > file.size() || member.offset > file.size() - member.size) {
      throw input_error_t("{}: ends within '{}'; expected {} bytes of it", file.path(), member.path,
                          member.size);
    }
    members.push_back(std::move(member));
  }
}

}  // namespace orn::fmcw_host
