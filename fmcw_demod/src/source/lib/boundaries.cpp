#include "basefunc/kernels.h"
#include "scratch.h"

#include <fmcw_demod/engine.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>

namespace orn::fmcw_demod_lib {
namespace {

constexpr int slope_smoothing = 256;  // samples

/// True when a frame of n samples has a slope and 32-bit signed indices reach all of it.
bool indexable(std::size_t n) {
  return n >= 2 && n <= static_cast<std::size_t>(std::numeric_limits<int>::max());
}

/// Indices at which the slope changes sign between two values that are both clearly not zero.
template <class T>
std::vector<int> sign_changes(const std::vector<T>& slope) {
  constexpr T clearly = 100;            // Hz/s
  constexpr std::size_t stretch = 256;  // searched only when a look at the whole finds a change
  const std::span<const T> all(slope);
  std::vector<int> changes;
  for (std::size_t first = 1; first < all.size(); first += stretch) {
    const std::size_t end = std::min(first + stretch, all.size());
    if (!kernels::any_sign_change(all.subspan(first - 1, end - first + 1), clearly)) {
      continue;
    }
    for (std::size_t i = first; i < end; ++i) {
      if (all[i] * all[i - 1] < 0 && std::abs(all[i]) > clearly && std::abs(all[i - 1]) > clearly) {
        changes.push_back(static_cast<int>(i));
      }
    }
  }
  return changes;
}

/// Distance below which two switching points are one: an eighth of the mean gap, in integers.
std::int64_t merge_distance(const std::vector<int>& switching) {
  if (switching.size() < 2) {
    return 1;
  }
  const std::int64_t gap_sum = std::int64_t{switching.back()} - switching.front();
  return gap_sum / static_cast<std::int64_t>(switching.size() - 1) / 8;
}

/// One pass from left to right; a merged pair is not compared with its right-hand neighbour.
std::vector<int> merge_close_pairs(const std::vector<int>& switching) {
  const std::int64_t distance = merge_distance(switching);
  std::vector<int> merged;
  for (std::size_t i = 0; i < switching.size(); ++i) {
    const std::int64_t left = switching[i];
    if (i + 1 < switching.size() && switching[i + 1] - left < distance) {
      const auto sum = static_cast<double>(left + switching[i + 1]);
      merged.push_back(static_cast<int>(std::round(sum * 0.5)));
      ++i;
    } else {
      merged.push_back(switching[i]);
    }
  }
  return merged;
}

}  // namespace

std::vector<int> FMCWAnalyze::detect_chirp_boundaries(ArrayView<const double> freq,
                                                      std::vector<float>& slope_raw,
                                                      std::vector<float>& slope_smooth,
                                                      double dt) const {
  if (!indexable(freq.size())) {
    return {};
  }
  slope_raw.resize(freq.size() - 1);
  kernels::slopes<float>(freq, dt, slope_raw);
  slope_smooth = slope_raw;
  smooth_with_triang(slope_smooth, slope_smoothing);
  std::vector<int> boundaries = MergeSwitching(sign_changes(slope_smooth));
  boundaries.push_back(static_cast<int>(freq.size() - 1));
  return boundaries;
}

std::vector<int> FMCWAnalyze::detect_chirp_boundaries(const std::vector<double>& freq,
                                                      std::vector<float>& slope_raw,
                                                      std::vector<float>& slope_smooth,
                                                      double dt) const {
  if (!indexable(freq.size())) {
    return {};
  }
  std::vector<double> slope(freq.size() - 1);
  kernels::slopes<double>(freq, dt, slope);
  slope_raw.assign(slope.begin(), slope.end());
  smooth_with_triang(slope, slope_smoothing);
  slope_smooth.assign(slope.begin(), slope.end());
  std::vector<int> boundaries = MergeSwitching(sign_changes(slope));
  boundaries.insert(boundaries.begin(), 0);
  boundaries.push_back(static_cast<int>(freq.size() - 1));
  return boundaries;
}

std::vector<int> FMCWAnalyze::MergeSwitching(const std::vector<int>& switching) const {
  std::vector<int> current = switching;
  std::vector<int> merged = merge_close_pairs(current);
  while (merged.size() < current.size()) {
    current.swap(merged);
    merged = merge_close_pairs(current);
  }
  return merged;
}

float FMCWAnalyze::get_slope_threshold(const std::vector<float>& slope) const {
  if (slope.empty()) {
    return 0.0F;
  }
  std::vector<float> magnitudes(slope.size());
  for (std::size_t i = 0; i < slope.size(); ++i) {
    magnitudes[i] = std::abs(slope[i]);
  }
  common_lib::scratch_t<float> buffer(slope.size());
  const float threshold = kernels::select_rank(magnitudes, slope.size() / 2, buffer) * 0.002F;
  return threshold < 0.001F ? 0.001F : threshold;
}

}  // namespace orn::fmcw_demod_lib
