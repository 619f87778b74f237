#include "basefunc/kernels.h"
#include "basefunc/kernels/blocks.h"

#include <simd/dispatch.h>
#include <simd/vector.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>

namespace orn::fmcw_demod_lib::kernels {

using simd::both;
using simd::dispatch;

template <class T>
bool any_sign_change(std::span<const T> trace, T clearly) noexcept {
  bool result = false;
  dispatch([=, &result](auto /*on*/) ORN_KERNEL {
    int any = 0;
    for (std::size_t i = 1; i < trace.size(); ++i) {
      any |= static_cast<int>(
          both(trace[i] * trace[i - 1] < 0,
               both(std::abs(trace[i]) > clearly, std::abs(trace[i - 1]) > clearly)));
    }
    result = any != 0;
  });
  return result;
}

namespace {

bool nan_last(float a, float b) noexcept { return a < b || (std::isnan(b) && !std::isnan(a)); }

/// Puts the element of rank `rank` at its place, NaNs last, and returns it.
float select_in_place(std::span<float> values, std::size_t rank) noexcept {
  const auto place = values.begin() + static_cast<std::ptrdiff_t>(rank);
  std::nth_element(values.begin(), place, values.end(), nan_last);
  return *place;
}

/// How many values are below a pivot, and how many at most the pivot.
struct counts_t {
  std::size_t below;
  std::size_t up_to;
};

counts_t count_around(std::span<const float> values, float pivot) noexcept {
  counts_t counts{};
  dispatch([=, &counts](auto /*on*/) ORN_KERNEL {
    constexpr std::size_t stretch = std::size_t{1} << 20;  // 32-bit lanes hold its count
    for (std::size_t first = 0; first < values.size(); first += stretch) {
      const std::size_t end = std::min(first + stretch, values.size());
      std::uint32_t below = 0;
      std::uint32_t up_to = 0;
      for (std::size_t i = first; i < end; ++i) {
        below += static_cast<std::uint32_t>(values[i] < pivot);
        up_to += static_cast<std::uint32_t>(values[i] <= pivot);
      }
      counts.below += below;
      counts.up_to += up_to;
    }
  });
  return counts;
}

/// Copies the values above `low` and below `high` to `out`, NaNs as well; a bound that is NaN does
/// not bound. Returns how many they are.
std::size_t copy_between(std::span<const float> values, float low, float high,
                         std::span<float> out) noexcept {
  std::size_t copied = 0;
  dispatch([=, &copied](auto /*on*/) ORN_KERNEL {
    const auto between = [=](float value)
                             ORN_KERNEL { return both(!(value <= low), !(value >= high)); };
    std::size_t kept = 0;
    for_each_block(values.size(), [&](std::size_t first, std::size_t count) ORN_KERNEL {
      int any = 0;
      for (std::size_t i = first; i < first + count; ++i) {
        any |= static_cast<int>(between(values[i]));
      }
      if (any == 0) {
        return;
      }
      for (std::size_t i = first; i < first + count; ++i) {
        out[kept] = values[i];  // overwritten by the next one unless it stays
        kept += static_cast<std::size_t>(between(values[i]));
      }
    });
    copied = kept;
  });
  return copied;
}

/// Where the element of a rank lies: above `low` and below `high`, unless these are NaN.
struct bracket_t {
  float low = std::numeric_limits<float>::quiet_NaN();
  float high = std::numeric_limits<float>::quiet_NaN();
  std::size_t up_to_low = 0;  ///< values that are not above `low`

  /// Narrows the bracket by a pivot, to which the element compares as the result does to 0.
  int narrow(std::span<const float> values, std::size_t rank, float pivot) noexcept {
    const counts_t counts = count_around(values, pivot);
    if (rank < counts.below) {
      high = pivot;
      return -1;
    }
    if (rank < counts.up_to) {
      return 0;
    }
    low = pivot;
    up_to_low = counts.up_to;
    return 1;
  }
};

/// The float in the middle of those from `low` to `high`, which are not NaN.
float middle_float(float low, float high) noexcept {
  // Bits of floats as integers of the same order.
  const auto ordered = [](std::int32_t bits) { return bits < 0 ? bits ^ 0x7fffffff : bits; };
  const std::int64_t sum = std::int64_t{ordered(std::bit_cast<std::int32_t>(low))} +
                           ordered(std::bit_cast<std::int32_t>(high));
  return std::bit_cast<float>(ordered(static_cast<std::int32_t>(sum >> 1)));
}

/// A sample of the values in ascending order, NaNs last.
using sample_of_values_t = std::array<float, 31>;
sample_of_values_t sorted_sample(std::span<const float> values) {
  sample_of_values_t sample;
  for (std::size_t i = 0; i < sample.size(); ++i) {
    sample[i] = values[(i + 1) * (values.size() / (sample.size() + 1))];
  }
  std::sort(sample.begin(), sample.end(), nan_last);
  return sample;
}

/// Narrows the bracket to between two neighbours of a sorted sample; returns the element if it is
/// one of them.
std::optional<float> narrow_by_sample(std::span<const float> values, std::size_t rank,
                                      bracket_t& bracket) {
  const sample_of_values_t sample = sorted_sample(values);
  std::size_t first = 0;
  auto last = static_cast<std::size_t>(
      std::count_if(sample.begin(), sample.end(), [](float x) { return !std::isnan(x); }));
  while (first < last) {
    const std::size_t middle = (first + last) / 2;
    const int order = bracket.narrow(values, rank, sample[middle]);
    if (order == 0) {
      return sample[middle];
    }
    if (order < 0) {
      last = middle;
    } else {
      first = middle + 1;
    }
  }
  return std::nullopt;
}

/// Halves the bracket a few times; returns the element if it is hit.
std::optional<float> narrow_by_halves(std::span<const float> values, std::size_t rank,
                                      bracket_t& bracket) {
  for (int step = 0; step < 6 && bracket.low < bracket.high; ++step) {
    const float middle = middle_float(bracket.low, bracket.high);
    if (bracket.narrow(values, rank, middle) == 0) {
      return middle;
    }
  }
  return std::nullopt;
}

}  // namespace

float select_rank(std::span<const float> values, std::size_t rank,
                  std::span<float> buffer) noexcept {
  // Counting is much cheaper than moving, so most values are only compared with a few pivots, and
  // those that are left between the last two are moved.
  constexpr std::size_t worth_counting = 1024;
  bracket_t bracket;
  if (values.size() > worth_counting) {
    if (const auto hit = narrow_by_sample(values, rank, bracket)) {
      return *hit;
    }
    if (const auto hit = narrow_by_halves(values, rank, bracket)) {
      return *hit;
    }
  }
  const std::size_t count = copy_between(values, bracket.low, bracket.high, buffer);
  return select_in_place(buffer.first(count), rank - bracket.up_to_low);
}

template bool any_sign_change(std::span<const float>, float) noexcept;
template bool any_sign_change(std::span<const double>, double) noexcept;

}  // namespace orn::fmcw_demod_lib::kernels
