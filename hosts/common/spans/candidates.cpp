#include "common/spans/candidates.h"

#include "common/spans/boundary_finder.h"

#include <fmcw_demod/parameters.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace orn::fmcw_host {
namespace {

using namespace fmcw_demod_lib;

constexpr std::size_t block_length = std::size_t{1} << 18;
constexpr std::size_t block_margin = 512;  // smoothing reaches 128 samples
constexpr std::size_t slope_step = 16;     // of 256 smoothed samples, 16 tell the median
constexpr double like_duration = 1.25;
constexpr double like_slope = 0.5;

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// Switching points of a long stretch, found block by block, with every 16th smoothed slope.
struct switching_t {
  std::vector<int> points;
  std::vector<float> slopes;
};

switching_t find_switching(std::span<const sample_t> samples, boundary_finder_t& finder) {
  switching_t found;
  std::vector<sample_t> block;
  for (std::size_t own = 0; own < samples.size(); own += block_length) {
    const std::size_t first = own < block_margin ? 0 : own - block_margin;
    const std::size_t own_end = std::min(own + block_length, samples.size());
    const std::size_t end = std::min(own_end + block_margin, samples.size());
    if (end - first < 2) {
      break;
    }
    block.assign(samples.begin() + static_cast<std::ptrdiff_t>(first),
                 samples.begin() + static_cast<std::ptrdiff_t>(end));
    finder.set(block);
    for (const int point : finder.find(0, block.size())) {
      const std::size_t position = first + static_cast<std::size_t>(point);
      if (position >= own && position < own_end) {
        found.points.push_back(static_cast<int>(position));
      }
    }
    for (std::size_t i = found.slopes.size() * slope_step; i < std::min(own_end, end - 1);
         i += slope_step) {
      found.slopes.push_back(finder.slope()[i - first]);
    }
  }
  found.points = finder.engine().MergeSwitching(found.points);
  return found;
}

}  // namespace

std::vector<candidate_t> find_candidates(std::span<const sample_t> samples, double rate,
                                         std::uint32_t rate_doublings) {
  const auto doublings = static_cast<int>(rate_doublings);
  const FMCWConfig parameters(fmcw_demod_config_t{}, nullptr, 0.0F);
  boundary_finder_t finder(parameters, std::ldexp(rate, doublings));
  const switching_t found = find_switching(samples, finder);
  std::vector<candidate_t> candidates;
  for (std::size_t i = 1; i < found.points.size(); ++i) {
    const auto begin = static_cast<std::size_t>(found.points[i - 1]);
    const auto end = static_cast<std::size_t>(found.points[i]);
    const std::size_t first = (begin + slope_step - 1) / slope_step;
    const std::size_t last = std::min(end / slope_step, found.slopes.size());
    if (first >= last) {
      continue;
    }
    const std::vector<double> slopes(found.slopes.begin() + static_cast<std::ptrdiff_t>(first),
                                     found.slopes.begin() + static_cast<std::ptrdiff_t>(last));
    const double middle = median(slopes);
    const auto near = std::count_if(slopes.begin(), slopes.end(), [&](double slope) {
      return std::abs(slope - middle) <= like_slope * std::abs(middle);
    });
    candidates.push_back({static_cast<double>(end - begin) / rate,
                          std::ldexp(middle, -2 * doublings),
                          static_cast<double>(near) / static_cast<double>(slopes.size())});
  }
  return candidates;
}

namespace {

bool is_like(const candidate_t& candidate, double slope) {
  return std::abs(candidate.slope - slope) <= like_slope * std::abs(slope);
}

/// The group of the candidates [first, last), which have one direction and like durations; less
/// those whose slopes are unlike.
candidate_group_t group_of(std::span<const candidate_t> candidates) {
  std::vector<double> slopes;
  for (const candidate_t& candidate : candidates) {
    slopes.push_back(candidate.slope);
  }
  candidate_group_t group;
  group.slope = median(slopes);
  std::vector<double> durations;
  std::vector<double> straightness;
  for (const candidate_t& candidate : candidates) {
    if (is_like(candidate, group.slope)) {
      straightness.push_back(candidate.straightness);
      durations.push_back(candidate.duration);
      group.total_time += candidate.duration;
    }
  }
  group.shortest = durations.front();
  group.longest = durations.back();
  group.count = durations.size();
  group.duration = median(durations);
  group.straightness = median(straightness);
  return group;
}

/// The stretch of like durations with the greatest total time among sorted candidates.
std::pair<std::size_t, std::size_t> heaviest(std::span<const candidate_t> sorted) {
  std::pair<std::size_t, std::size_t> best{0, 0};
  double best_time = -1.0;
  double time = 0.0;
  for (std::size_t first = 0, end = 0; first < sorted.size(); ++first) {
    for (; end < sorted.size() && sorted[end].duration <= like_duration * sorted[first].duration;
         ++end) {
      time += sorted[end].duration;
    }
    if (time > best_time) {
      best_time = time;
      best = {first, end};
    }
    time -= sorted[first].duration;
  }
  return best;
}

}  // namespace

std::vector<candidate_group_t> group_candidates(std::vector<candidate_t> candidates) {
  std::sort(candidates.begin(), candidates.end(),
            [](const candidate_t& a, const candidate_t& b) { return a.duration < b.duration; });
  std::vector<candidate_group_t> groups;
  for (const bool rising : {true, false}) {
    std::vector<candidate_t> rest;
    std::copy_if(candidates.begin(), candidates.end(), std::back_inserter(rest),
                 [&](const candidate_t& c) { return (c.slope > 0.0) == rising; });
    while (!rest.empty()) {
      const auto [first, end] = heaviest(rest);
      groups.push_back(group_of(std::span(rest).subspan(first, end - first)));
      const auto begin = rest.begin() + static_cast<std::ptrdiff_t>(first);
      const auto stop = rest.begin() + static_cast<std::ptrdiff_t>(end);
      rest.erase(
          std::remove_if(begin, stop,
                         [&](const candidate_t& c) { return is_like(c, groups.back().slope); }),
          stop);
    }
  }
  std::stable_sort(groups.begin(), groups.end(),
                   [](const candidate_group_t& a, const candidate_group_t& b) {
                     return a.total_time > b.total_time;
                   });
  return groups;
}

}  // namespace orn::fmcw_host
