#pragma once

#include "common/capture/checksum.h"
#include "common/capture/datatype.h"
#include "common/capture/sample_source.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orn::fmcw_host {

/// Raw samples of a pipe, as they come.
class stream_source_t : public sample_source_t {
 public:
  /// descriptor  stays the caller's
  /// name        for messages, "standard input"
  /// skip        samples to leave out first
  /// count       samples to read at most; nothing: until the pipe ends
  /// sha256      gets every byte that is read; null: nobody wants to know
  stream_source_t(int descriptor, std::string name, const datatype_t& type, std::uint64_t skip,
                  std::optional<std::uint64_t> count, sha256_t* sha256 = nullptr);

  /// Throws input_error_t when the pipe holds nothing, or ends within a sample or before the
  /// first one wanted.
  std::size_t read(std::span<fmcw_demod_lib::sample_t> out) override;

 private:
  std::size_t read_bytes(std::span<std::byte> out);

  int descriptor_;
  std::string name_;
  const datatype_t& type_;
  std::uint64_t skip_;
  std::optional<std::uint64_t> left_;
  sha256_t* sha256_;
  std::uint64_t bytes_read_ = 0;
  std::vector<std::byte> bytes_;
};

}  // namespace orn::fmcw_host
