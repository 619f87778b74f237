#include "common/output/archive_writer.h"

#include "common/errors.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <new>
#include <utility>

#include <archive.h>
#include <archive_entry.h>

namespace orn::fmcw_host {
namespace {

struct archive_output_t {
  std::ostream& out;
  std::exception_ptr failure;  // waits here, since no exception may cross the library's frames
};

la_ssize_t write_bytes(archive* handle, void* user, const void* bytes, std::size_t count) {
  auto& output = *static_cast<archive_output_t*>(user);
  try {
    output.out.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(count));
  } catch (...) {
    output.failure = std::current_exception();
    archive_set_error(handle, EIO, "the stream failed");
    return -1;
  }
  return static_cast<la_ssize_t>(count);
}

}  // namespace

struct archive_writer_t::state_t {
  archive_output_t output;
  archive* handle = archive_write_new();

  explicit state_t(std::ostream& out) : output{out, nullptr} {
    if (handle == nullptr) {
      throw std::bad_alloc();
    }
  }
  state_t(const state_t&) = delete;
  state_t& operator=(const state_t&) = delete;
  ~state_t() { archive_write_free(handle); }

  void check(std::int64_t code) {
    if (output.failure) {
      std::rethrow_exception(std::exchange(output.failure, nullptr));
    }
    if (code < ARCHIVE_OK && (archive_errno(handle) == ENOMEM || errno == ENOMEM)) {
      throw std::bad_alloc();
    }
    if (code < ARCHIVE_OK) {
      const char* const reason = archive_error_string(handle);
      throw run_error_t("an archive cannot be written: {}", reason != nullptr ? reason : "unknown");
    }
  }
};

archive_writer_t::archive_writer_t(std::ostream& out, kind_t kind)
    : state_(std::make_unique<state_t>(out)) {
  archive* const a = state_->handle;
  if (kind == zip) {
    state_->check(archive_write_set_format_zip(a));
    state_->check(archive_write_set_options(a, "zip:compression=store"));
  } else {
    state_->check(archive_write_set_format_pax_restricted(a));
  }
  state_->check(archive_write_set_bytes_in_last_block(a, 1));
  state_->check(archive_write_open(a, &state_->output, nullptr, write_bytes, nullptr));
}

archive_writer_t::~archive_writer_t() = default;

void archive_writer_t::begin(const std::string& name, std::uint64_t size) {
  const std::unique_ptr<archive_entry, decltype(&archive_entry_free)> entry(archive_entry_new(),
                                                                            archive_entry_free);
  if (!entry) {
    throw std::bad_alloc();
  }
  archive_entry_set_pathname(entry.get(), name.c_str());
  archive_entry_set_size(entry.get(), static_cast<la_int64_t>(size));
  archive_entry_set_filetype(entry.get(), AE_IFREG);
  archive_entry_set_perm(entry.get(), 0644);
  // The first day that zip knows: the same content makes the same archive.
  archive_entry_set_mtime(entry.get(), 315619200, 0);
  state_->check(archive_write_header(state_->handle, entry.get()));
}

void archive_writer_t::write(std::span<const std::byte> bytes) {
  // A zip takes less than 4 GiB at once.
  constexpr std::size_t most = 1U << 24U;
  while (!bytes.empty()) {
    const auto part = bytes.first(std::min(most, bytes.size()));
    errno = 0;
    const auto done = archive_write_data(state_->handle, part.data(), part.size());
    state_->check(done == 0 && errno == ENOMEM ? ARCHIVE_FATAL : done);
    if (done == 0) {
      throw run_error_t("an archive cannot be written: a file in it exceeds its size");
    }
    bytes = bytes.subspan(static_cast<std::size_t>(done));
  }
}

void archive_writer_t::finish() { state_->check(archive_write_close(state_->handle)); }

}  // namespace orn::fmcw_host
