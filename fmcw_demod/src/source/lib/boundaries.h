#pragma once

#include <span>
#include <vector>

namespace orn::fmcw_demod_lib {

/// True when a frame of `sample_count` samples has a slope and 32-bit indices reach all of it.
bool has_slope(std::size_t sample_count);

/// Finds where one chirp ends and the next begins; see FMCWAnalyze::detect_chirp_boundaries.
///
/// freq          frequency of a frame [Hz], n samples
/// dt            sample interval [s]
/// window        that the slope is smoothed with
/// slope_raw, slope_smooth  resized to n - 1 and filled [Hz/s]
///
/// Returns the merged switching points, ascending, then n - 1. Without a slope the result is empty
/// and the slopes stay as they were.
std::vector<int> find_boundaries(std::span<const double> freq, double dt,
                                 std::span<const float> window, std::vector<float>& slope_raw,
                                 std::vector<float>& slope_smooth);

/// Indices at which the smoothed slope [Hz/s] changes sign between two values that are both clearly
/// not zero, ascending.
template <class T>
std::vector<int> sign_changes(std::span<const T> slope_smooth);

/// See FMCWAnalyze::MergeSwitching.
std::vector<int> merge_switching(std::vector<int> switching);

/// See FMCWAnalyze::get_slope_threshold.
float slope_threshold(std::span<const float> slope);

}  // namespace orn::fmcw_demod_lib
