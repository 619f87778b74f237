#include "segmentation.h"

#include "basefunc/kernels.h"

#include <memory/scratch.h>

#include <algorithm>
#include <cstddef>

namespace orn::fmcw_demod_lib {

void fill_phase(std::span<const interval_t> intervals, std::span<const float> time,
                std::span<const float> freq, std::vector<float>& phase) {
  phase.clear();
  memory::resize_large(phase, freq.size());
  for (const auto& [first, last] : intervals) {
    if (first >= last || last >= std::min(time.size(), freq.size())) {
      continue;
    }
    const std::size_t count = last - first + 1;
    kernels::integrate_phase(time.subspan(first, count), freq.subspan(first, count),
                             std::span(phase).subspan(first, count));
  }
}

std::vector<interval_t> intervals_in_frame(std::span<const interval_t> intervals,
                                           std::uint64_t frame_start, std::uint64_t frame_end) {
  std::vector<interval_t> inside;
  for (const auto& [first, last] : intervals) {
    if (last < frame_start || first >= frame_end) {
      continue;
    }
    const std::uint64_t lowest = std::max(first, frame_start);
    const std::uint64_t highest = std::min(last, frame_end - 1);
    if (highest >= lowest) {
      inside.emplace_back(lowest - frame_start, highest - frame_start);
    }
  }
  return inside;
}

}  // namespace orn::fmcw_demod_lib
