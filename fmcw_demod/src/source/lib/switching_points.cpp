#include "switching_points.h"

#include "conditioning.h"
#include "truncation.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>

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

/// From the first rise into the band to the last fall out of it, counted from the segment's first
/// element; the whole segment when there is no such pair. A run in band that touches an end of the
/// segment has no edge there.
window_t part_in_band(std::span<const float> segment, const slope_band_t& band) {
  const double lowest = band.centre - band.half_width;
  const double highest = band.centre + band.half_width;
  const auto inside = [=](double slope) { return lowest <= slope && slope <= highest; };
  const window_t whole{0, std::ssize(segment) - 1};
  const auto outside = std::find_if_not(segment.begin(), segment.end(), inside);
  if (outside == segment.end()) {
    return whole;
  }
  const auto first = std::find_if(outside, segment.end(), inside);
  const auto last = std::find_if(std::find_if_not(segment.rbegin(), segment.rend(), inside),
                                 segment.rend(), inside);
  const window_t part{first - segment.begin(), segment.rend() - last - 1};
  return part.first < part.last ? part : whole;
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

/// The slope band of a candidate whose smoothed slope is `segment`.
slope_band_t band_of(std::span<const float> segment, const fmcw_chirp_config_t& configured,
                     const FMCWConfig& parameters) {
  if (parameters.config.chirp_detect != fmcw_chirp_detect_t::automatic) {
    return {configured.ref_slope, configured.slope_tol};
  }
  const double centre = upper_median(segment);
  if (parameters.config.chirp_set != fmcw_chirp_set_t::automatic) {
    return {centre, configured.slope_tol};
  }
  const slope_band_t measured{centre, 0.05 * std::abs(centre)};
  parameters.config.advanced.chirp.ref_slope = measured.centre;
  parameters.config.advanced.chirp.slope_tol = measured.half_width;
  return measured;
}

/// Nothing when the exclusion has no sample count.
std::optional<window_t> measured_interval(std::span<const float> slope_smooth,
                                          const window_t& candidate,
                                          const fmcw_advanced_config_t& settings,
                                          const FMCWConfig& parameters) {
  if (settings.st_config != fmcw_st_config_t::slope_band) {
    return without_ends(candidate, settings.analysis_exclude);
  }
  const auto size = static_cast<std::int64_t>(slope_smooth.size());
  if (candidate.length() <= 1 || candidate.first < 0 || candidate.last >= size) {
    return candidate;
  }
  const auto segment = slope_smooth.subspan(static_cast<std::size_t>(candidate.first),
                                            static_cast<std::size_t>(candidate.length()));
  const window_t part = part_in_band(segment, band_of(segment, settings.chirp, parameters));
  return window_t{candidate.first + part.first, candidate.first + part.last};
}

}  // namespace

std::optional<refined_chirp_t> refine_candidate(std::span<const float> slope_smooth, int start,
                                                int stop, const fmcw_advanced_config_t& settings,
                                                const FMCWConfig& parameters) {
  const window_t candidate{start, stop};
  const auto measured = measured_interval(slope_smooth, candidate, settings, parameters);
  if (!measured) {
    return std::nullopt;
  }
  const auto deviation = deviation_window(candidate, *measured, settings, parameters.config.fs);
  if (!deviation) {
    return std::nullopt;
  }
  return refined_chirp_t{measured->first, measured->last, deviation->first, deviation->last};
}

}  // namespace orn::fmcw_demod_lib
