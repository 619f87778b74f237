#include "basefunc/kernels.h"
#include "scratch.h"
#include "truncation.h"

#include <fmcw_demod/engine.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <utility>

namespace orn::fmcw_demod_lib {
namespace {

/// Inclusive interval of frame indices, wide enough for any 32-bit index plus any offset.
struct window_t {
  std::int64_t first;
  std::int64_t last;

  std::int64_t length() const { return last - first + 1; }
};

struct slope_band_t {
  double centre;      // Hz/s
  double half_width;  // Hz/s
};

float median(std::span<const float> segment) {
  common_lib::scratch_t<float> buffer(segment.size());
  return kernels::select_rank(segment, segment.size() / 2, buffer);
}

/// The floats that a band contains, both ends included: those that compare so as doubles.
struct float_band_t {
  explicit float_band_t(const slope_band_t& band) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const double first = band.centre - band.half_width;
    const double last = band.centre + band.half_width;
    lowest = static_cast<float>(first);
    highest = static_cast<float>(last);
    if (lowest < first) {
      lowest = std::nextafter(lowest, infinity);
    }
    if (highest > last) {
      highest = std::nextafter(highest, -infinity);
    }
  }

  float lowest;
  float highest;
};

/// From the first rise into the band to the last fall out of it, counted from the segment's first
/// element; the whole segment when there is no such pair. A run in band that touches an end of the
/// segment has no edge there.
window_t part_in_band(std::span<const float> segment, const float_band_t& band) {
  const std::size_t rise = kernels::first_rise(segment, band.lowest, band.highest);
  const std::size_t fall = kernels::last_fall(segment, band.lowest, band.highest);
  // The last element in band is the one before the fall.
  if (rise < segment.size() && fall > 0 && rise < fall - 1) {
    return {static_cast<std::int64_t>(rise), static_cast<std::int64_t>(fall) - 1};
  }
  return {0, static_cast<std::int64_t>(segment.size()) - 1};
}

/// Nothing when the cut has no sample count.
std::optional<window_t> without_ends(const window_t& candidate, double fraction) {
  const auto cut = truncated<int>(static_cast<double>(candidate.length()) * fraction);
  if (!cut) {
    return std::nullopt;
  }
  return window_t{candidate.first + *cut, candidate.last - *cut};
}

/// Truncates a number of samples, held where adding frame indices cannot overflow; nothing for NaN.
std::optional<std::int64_t> whole_samples(double samples) {
  constexpr double limit = 0x1p62;
  return truncated<std::int64_t>(std::clamp(samples, -limit, limit));
}

/// Cuts the deviation window out of the measured interval; nothing when an offset is NaN.
std::optional<window_t> deviation_window(const window_t& candidate, const window_t& measured,
                                         const fmcw_advanced_config_t& settings, double fs) {
  std::optional<std::int64_t> begin;
  std::optional<std::int64_t> end;
  if (settings.devlength_ref == fmcw_devlength_ref_t::relative) {
    const double margin = (1.0 - settings.devlength_len) * 0.5;
    begin = whole_samples(margin * static_cast<double>(candidate.length()));
    end = begin;
  } else {
    begin = whole_samples(settings.devlength_offset_begin * fs);
    end = whole_samples(settings.devlength_offset_end * fs);
  }
  if (!begin || !end) {
    return std::nullopt;
  }
  const window_t window{std::max(measured.first + *begin, candidate.first),
                        std::min(measured.last - *end, candidate.last)};
  return window.last > window.first ? window : candidate;
}

bool fits_int(const window_t& window) {
  constexpr std::int64_t lowest = std::numeric_limits<int>::min();
  constexpr std::int64_t highest = std::numeric_limits<int>::max();
  return std::min(window.first, window.last) >= lowest &&
         std::max(window.first, window.last) <= highest;
}

}  // namespace

void FMCWAnalyze::switch_point_para(const std::vector<float>& slope_smooth, int start, int stop,
                                    int /*chirp_index*/, int& meas_start, int& meas_stop,
                                    int& dev_start, int& dev_stop,
                                    const fmcw_advanced_config_t& advanced) const {
  const window_t candidate{start, stop};
  std::optional<window_t> measured = candidate;
  if (advanced.st_config != fmcw_st_config_t::slope_band) {
    measured = without_ends(candidate, advanced.analysis_exclude);
  } else if (start >= 0 && stop > start && static_cast<std::size_t>(stop) < slope_smooth.size()) {
    const auto segment =
        std::span(slope_smooth)
            .subspan(static_cast<std::size_t>(start), static_cast<std::size_t>(candidate.length()));
    slope_band_t band{advanced.chirp.ref_slope, advanced.chirp.slope_tol};
    if (config_.chirp_detect == fmcw_chirp_detect_t::automatic) {
      band.centre = median(segment);
      if (config_.chirp_set == fmcw_chirp_set_t::automatic) {
        band.half_width = 0.05 * std::abs(band.centre);
        config_.advanced.chirp.ref_slope = band.centre;
        config_.advanced.chirp.slope_tol = band.half_width;
      }
    }
    const window_t part = part_in_band(segment, float_band_t(band));
    measured = window_t{start + part.first, start + part.last};
  }
  std::optional<window_t> deviation;
  if (measured && fits_int(*measured)) {
    deviation = deviation_window(candidate, *measured, advanced, config_.fs);
  }
  if (!deviation) {
    measured = candidate;
    deviation = window_t{start, start};
  }
  meas_start = static_cast<int>(measured->first);
  meas_stop = static_cast<int>(measured->last);
  dev_start = static_cast<int>(deviation->first);
  dev_stop = static_cast<int>(deviation->last);
}

}  // namespace orn::fmcw_demod_lib
