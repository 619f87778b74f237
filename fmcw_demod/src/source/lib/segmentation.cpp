#include "segmentation.h"

#include "basefunc/kernels.h"
#include "scratch.h"

#include <fmcw_demod/engine.h>

#include <algorithm>
#include <cstddef>
#include <new>
#include <utility>

namespace orn::fmcw_demod_lib {

void fill_phase(const std::vector<interval_t>& intervals, std::span<const float> time,
                std::span<const float> freq, std::vector<float>& phase) {
  phase.clear();
  common_lib::resize_large(phase, freq.size());
  for (const auto& [first, last] : intervals) {
    if (first >= last || last >= std::min(time.size(), freq.size())) {
      continue;
    }
    const std::size_t count = last - first + 1;
    kernels::integrate_phase(time.subspan(first, count), freq.subspan(first, count),
                             std::span(phase).subspan(first, count));
  }
}

void FMCWAnalyze::fill_instantaneous(std::uint64_t sample_count,
                                     const std::vector<interval_t>& intervals,
                                     const std::vector<float>& time_axis,
                                     const std::vector<double>& inst_freq,
                                     std::vector<float>& phase_out,
                                     std::vector<float>& freq_out) const {
  if (sample_count > std::vector<double>().max_size()) {
    throw std::bad_alloc();
  }
  std::vector<float> freq(inst_freq.begin(), inst_freq.end());
  const auto usable = std::min<std::uint64_t>(sample_count, freq.size());
  fill_phase(intervals, time_axis, std::span(freq).first(usable), phase_out);
  phase_out.resize(sample_count);
  freq_out = std::move(freq);
}

std::vector<interval_t> FMCWAnalyze::extract_frame_stable_intervals(
    const std::vector<interval_t>& intervals, std::uint64_t frame_start,
    std::uint64_t frame_end) const {
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
