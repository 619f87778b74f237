#pragma once

#include "common/capture/datatype.h"
#include "common/capture/input_file.h"

#include <fmcw_demod/types.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace orn::fmcw_host {

/// The samples of a file, at any place, for any number of threads.
class sample_store_t {
 public:
  sample_store_t() = default;
  sample_store_t(const sample_store_t&) = delete;
  sample_store_t& operator=(const sample_store_t&) = delete;
  virtual ~sample_store_t() = default;

  /// Fills `out` from sample `position` of a segment on, which must hold as many. Integers come
  /// scaled to +-1. Throws input_error_t when the file changed or broke off.
  virtual void read(std::size_t segment, std::uint64_t position,
                    std::span<fmcw_demod_lib::sample_t> out) const = 0;
};

/// Samples that lie in a file as they are.
class file_store_t : public sample_store_t {
 public:
  /// segment_bytes  where the samples of each segment begin in the file
  file_store_t(std::shared_ptr<const input_file_t> file, const datatype_t& type,
               std::vector<std::uint64_t> segment_bytes);
  void read(std::size_t segment, std::uint64_t position,
            std::span<fmcw_demod_lib::sample_t> out) const override;

 private:
  std::shared_ptr<const input_file_t> file_;
  const datatype_t& type_;
  std::vector<std::uint64_t> segment_bytes_;
};

}  // namespace orn::fmcw_host
