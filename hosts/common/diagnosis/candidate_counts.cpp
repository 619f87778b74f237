#include "common/diagnosis/candidate_counts.h"

#include "common/spans/boundary_finder.h"

#include <algorithm>
#include <cmath>

namespace orn::fmcw_host {
namespace {

using namespace fmcw_demod_lib;

template <class Pick>
void keep(std::optional<double>& kept, const std::optional<double>& next, const Pick& pick) {
  if (next) {
    kept = kept ? pick(*kept, *next) : *next;
  }
}

double greater(double a, double b) { return std::max(a, b); }
double lesser(double a, double b) { return std::min(a, b); }

/// Time of a sample as the library's single-precision axis has it [s].
float time_of(std::size_t sample, double rate) {
  return static_cast<float>(static_cast<double>(static_cast<float>(sample)) / rate);
}

/// Counts what becomes of a candidate whose length is allowed; `stop` as the library hands it on.
void count_measuring(const FMCWConfig& parameters, const boundary_finder_t& finder, int start,
                     int stop, candidate_counts_t& counts) {
  int meas_start = start;
  int meas_stop = stop;
  int dev_start = start;
  int dev_stop = stop;
  if (start <= stop) {
    finder.engine().switch_point_para(finder.slope(), start, stop, 0, meas_start, meas_stop,
                                      dev_start, dev_stop, parameters.config.advanced);
  }
  if (meas_start < 0 || meas_stop >= static_cast<int>(finder.slope().size())) {
    ++counts.leaving;
  } else if (meas_start >= meas_stop || dev_start >= dev_stop) {
    ++counts.unmeasurable;
  }
}

}  // namespace

void candidate_counts_t::add(const candidate_counts_t& next) {
  sample_count += next.sample_count;
  switching_points += next.switching_points;
  candidates += next.candidates;
  too_short += next.too_short;
  too_long += next.too_long;
  leaving += next.leaving;
  unmeasurable += next.unmeasurable;
  keep(longest_too_short, next.longest_too_short, greater);
  keep(shortest_too_long, next.shortest_too_long, lesser);
  keep(longest, next.longest, greater);
}

candidate_counts_t count_candidates(const FMCWConfig& parameters,
                                    const std::vector<sample_t>& samples, const own_part_t& own,
                                    std::uint32_t rate_doublings) {
  candidate_counts_t counts;
  counts.sample_count = own.end - own.begin;
  const auto& settings = parameters.config;
  const auto [range_start, range_end, frame_length, frame_count] = parameters.analysis_range;
  if (samples.size() < range_end) {
    return counts;
  }
  boundary_finder_t finder(parameters, settings.fs);
  finder.set(samples);
  std::size_t begin = range_start;
  for (std::uint32_t k = 0; k < frame_count && begin < range_end; ++k) {
    const std::size_t end = std::min<std::size_t>(begin + frame_length, range_end);
    const std::vector<int> points = finder.find(begin, end);
    for (std::size_t i = 0; i + 1 < points.size(); ++i) {
      const auto first = begin + static_cast<std::size_t>(points[i]);
      if (first < own.begin || first >= own.end) {
        continue;
      }
      const auto last = begin + static_cast<std::size_t>(points[i + 1]) - 1;
      const double told = time_of(last, settings.fs) - time_of(first, settings.fs);
      const bool is_whole = i + 2 < points.size();
      const std::optional<double> seconds =
          is_whole ? std::optional(std::ldexp(told, static_cast<int>(rate_doublings)))
                   : std::nullopt;
      ++counts.switching_points;
      ++counts.candidates;
      keep(counts.longest, seconds, greater);
      if (!(told > settings.advanced.min_chirp_len)) {
        ++counts.too_short;
        keep(counts.longest_too_short, seconds, greater);
      } else if (!(told < settings.advanced.max_chirp_len)) {
        ++counts.too_long;
        keep(counts.shortest_too_long, seconds, lesser);
      } else {
        count_measuring(parameters, finder, points[i], points[i + 1] - 2, counts);
      }
    }
    begin += frame_length;
  }
  return counts;
}

}  // namespace orn::fmcw_host
