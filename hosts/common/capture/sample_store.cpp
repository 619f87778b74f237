#include "common/capture/sample_store.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace orn::fmcw_host {
namespace {

using fmcw_demod_lib::sample_t;

/// Samples converted at a time: what a processor's cache holds.
constexpr std::size_t piece = 16384;

bool lies_as_in_memory(const datatype_t& type) {
  return std::endian::native == std::endian::little && type.name == "cf32_le";
}

}  // namespace

file_store_t::file_store_t(std::shared_ptr<const input_file_t> file, const datatype_t& type,
                           std::vector<std::uint64_t> segment_bytes)
    : file_(std::move(file)), type_(type), segment_bytes_(std::move(segment_bytes)) {}

void file_store_t::read(std::size_t segment, std::uint64_t position,
                        std::span<sample_t> out) const {
  std::uint64_t offset = segment_bytes_[segment] + position * type_.sample_bytes;
  if (lies_as_in_memory(type_)) {
    file_->read(offset, std::as_writable_bytes(out));
    return;
  }
  std::vector<std::byte> bytes(std::min(piece, out.size()) * type_.sample_bytes);
  while (!out.empty()) {
    const auto samples = out.first(std::min(piece, out.size()));
    const auto part = std::span(bytes).first(samples.size() * type_.sample_bytes);
    file_->read(offset, part);
    type_.decode(part.data(), samples);
    offset += part.size();
    out = out.subspan(samples.size());
  }
}

}  // namespace orn::fmcw_host
