#include "boundaries.h"

#include "basefunc/convolution.h"
#include "basefunc/kernels.h"
#include "conditioning.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>

namespace orn::fmcw_demod_lib {
namespace {

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

bool has_slope(std::size_t sample_count) {
  return sample_count >= 2 &&
         sample_count <= static_cast<std::size_t>(std::numeric_limits<int>::max());
}

std::vector<int> find_boundaries(std::span<const double> freq, double dt,
                                 std::span<const float> window, std::vector<float>& slope_raw,
                                 std::vector<float>& slope_smooth) {
  if (!has_slope(freq.size())) {
    return {};
  }
  slope_raw.resize(freq.size() - 1);
  kernels::slopes<float>(freq, dt, slope_raw);
  slope_smooth.resize(slope_raw.size());
  basefunc::convolve_same<float, float>(slope_raw, window, slope_smooth);
  std::vector<int> boundaries = merge_switching(sign_changes<float>(slope_smooth));
  boundaries.push_back(static_cast<int>(freq.size() - 1));
  return boundaries;
}

template <class T>
std::vector<int> sign_changes(std::span<const T> slope_smooth) {
  constexpr T clearly = 100;            // Hz/s
  constexpr std::size_t stretch = 256;  // searched only when a look at the whole finds a change
  const std::span<const T> s = slope_smooth;
  std::vector<int> changes;
  for (std::size_t first = 1; first < s.size(); first += stretch) {
    const std::size_t end = std::min(first + stretch, s.size());
    if (!kernels::any_sign_change(s.subspan(first - 1, end - first + 1), clearly)) {
      continue;
    }
    for (std::size_t i = first; i < end; ++i) {
      if (s[i] * s[i - 1] < 0 && std::abs(s[i]) > clearly && std::abs(s[i - 1]) > clearly) {
        changes.push_back(static_cast<int>(i));
      }
    }
  }
  return changes;
}

template std::vector<int> sign_changes(std::span<const float>);
template std::vector<int> sign_changes(std::span<const double>);

std::vector<int> merge_switching(std::vector<int> switching) {
  std::vector<int> merged = merge_close_pairs(switching);
  while (merged.size() < switching.size()) {
    switching.swap(merged);
    merged = merge_close_pairs(switching);
  }
  return merged;
}

float slope_threshold(std::span<const float> slope) {
  if (slope.empty()) {
    return 0.0F;
  }
  std::vector<float> magnitudes(slope.size());
  std::transform(slope.begin(), slope.end(), magnitudes.begin(),
                 [](float value) { return std::abs(value); });
  const float threshold = upper_median(magnitudes) * 0.002F;
  return threshold < 0.001F ? 0.001F : threshold;
}

}  // namespace orn::fmcw_demod_lib
