#pragma once

#include "common/capture/sample_source.h"
#include "common/spans/layout.h"

#include <fmcw_demod/types.h>

#include <cstdint>
#include <vector>

namespace orn::fmcw_host {

/// A piece of a segment that is analysed on its own.
struct span_t {
  std::uint64_t index = 0;      ///< in the segment
  std::uint64_t first = 0;      ///< position of samples[0] in the segment
  std::uint64_t own_begin = 0;  ///< the span owns the chirps that begin from here
  std::uint64_t own_end = 0;    ///< to before here
  bool is_last = false;
  std::vector<fmcw_demod_lib::sample_t> samples;
};

/// Cuts the samples of a segment into spans, in order, reading each sample once.
class span_reader_t {
 public:
  /// Both must outlive the reader.
  span_reader_t(const layout_t& layout, sample_source_t& source);

  /// Fills `span`, whose memory is used again. Returns false when there is no further one. Throws
  /// what the source throws.
  bool next(span_t& span);

 private:
  void fill();
  void drop(std::uint64_t position);

  const layout_t& layout_;
  sample_source_t& source_;
  std::vector<fmcw_demod_lib::sample_t> ahead_;  ///< read, and still needed
  std::uint64_t ahead_first_ = 0;                ///< position of its first sample
  std::uint64_t own_begin_;                      ///< of the next span
  std::uint64_t index_ = 0;
  bool at_end_ = false;  ///< of the samples
  bool finished_ = false;
};

}  // namespace orn::fmcw_host
