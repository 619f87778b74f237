#include "common/capture/stream_source.h"

#include "common/errors.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include <poll.h>
#include <unistd.h>

namespace orn::fmcw_host {
namespace {

using fmcw_demod_lib::sample_t;

/// Samples read at a time: more than a pipe holds.
constexpr std::size_t piece = 16384;

}  // namespace

stream_source_t::stream_source_t(int descriptor, std::string name, const datatype_t& type,
                                 std::uint64_t skip, std::optional<std::uint64_t> count,
                                 sha256_t* sha256)
    : descriptor_(descriptor),
      name_(std::move(name)),
      type_(type),
      skip_(skip),
      left_(count),
      sha256_(sha256),
      bytes_(piece * type.sample_bytes) {}

std::size_t stream_source_t::read(std::span<sample_t> out) {
  while (skip_ != 0) {
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(skip_, piece));
    const std::size_t got = read_bytes(std::span(bytes_).first(wanted * type_.sample_bytes));
    if (got != wanted) {
      throw input_error_t("{}: ended {} samples before the first one wanted", name_, skip_ - got);
    }
    skip_ -= got;
  }
  std::size_t done = 0;
  while (done != out.size() && left_ != 0) {
    auto wanted = std::min(piece, out.size() - done);
    wanted = static_cast<std::size_t>(std::min<std::uint64_t>(wanted, left_.value_or(wanted)));
    const std::size_t got = read_bytes(std::span(bytes_).first(wanted * type_.sample_bytes));
    type_.decode(bytes_.data(), out.subspan(done, got));
    done += got;
    if (left_) {
      *left_ -= got;
    }
    if (got != wanted) {
      left_ = 0;
    }
  }
  return done;
}

/// Samples read into `out`: fewer than it holds only at the end.
std::size_t stream_source_t::read_bytes(std::span<std::byte> out) {
  std::size_t filled = 0;
  while (filled != out.size()) {
    const ssize_t got = ::read(descriptor_, out.data() + filled, out.size() - filled);
    if (got < 0 && (errno == EINTR || errno == EAGAIN)) {
      pollfd waiting{descriptor_, POLLIN, 0};
      ::poll(&waiting, 1, -1);
      continue;
    }
    if (got < 0) {
      throw input_error_t("{}: cannot be read: {}", name_, std::generic_category().message(errno));
    }
    if (got == 0) {
      break;
    }
    filled += static_cast<std::size_t>(got);
  }
  bytes_read_ += filled;
  if (sha256_ != nullptr) {
    sha256_->add(out.first(filled));
  }
  if (bytes_read_ == 0) {
    throw input_error_t("{}: holds no samples; expected at least one of {} bytes", name_,
                        type_.sample_bytes);
  }
  if (filled % type_.sample_bytes != 0) {
    throw input_error_t(
        "{}: {} bytes is the wrong size; allowed is a multiple of {} bytes, one {} sample", name_,
        bytes_read_, type_.sample_bytes, type_.name);
  }
  return filled / type_.sample_bytes;
}

}  // namespace orn::fmcw_host
