#include <fmcw_demod/basefunc.h>
#include <fmcw_demod/engine.h>

#include <algorithm>
#include <cstddef>
#include <new>

namespace orn::fmcw_demod_lib {

void FMCWAnalyze::fill_instantaneous(std::uint64_t sample_count,
                                     const std::vector<interval_t>& intervals,
                                     const std::vector<float>& time_axis,
                                     const std::vector<double>& inst_freq,
                                     std::vector<float>& phase_out,
                                     std::vector<float>& freq_out) const {
  const auto usable = std::min<std::uint64_t>({sample_count, time_axis.size(), inst_freq.size()});
  if (sample_count > std::vector<double>().max_size()) {
    throw std::bad_alloc();
  }
  std::vector<double> phase(sample_count, 0.0);
  for (const auto& [first, last] : intervals) {
    if (first >= last || last >= usable) {
      continue;
    }
    const auto begin = static_cast<std::ptrdiff_t>(first);
    const auto end = static_cast<std::ptrdiff_t>(last) + 1;
    const std::vector<float> time(time_axis.begin() + begin, time_axis.begin() + end);
    const std::vector<float> freq(inst_freq.begin() + begin, inst_freq.begin() + end);
    const std::vector<double> integrated = basefunc::cumtrapz_phase(time, freq);
    std::copy(integrated.begin(), integrated.end(), phase.begin() + begin);
  }
  phase_out.assign(phase.begin(), phase.end());
  freq_out.assign(inst_freq.begin(), inst_freq.end());
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
