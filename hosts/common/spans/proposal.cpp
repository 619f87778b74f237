#include "common/spans/proposal.h"

#include "common/errors.h"
#include "common/settings/units.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace orn::fmcw_host {
namespace {

using fmcw_demod_lib::sample_t;

constexpr double slope_out_of_dead_zone = 0x1p30;  // Hz/s
constexpr std::uint32_t most_doublings = 30;
constexpr std::uint32_t searching_doublings = 10;  // where nothing is found without
constexpr std::size_t most_left_out = 3;
constexpr int digits = 3;

std::vector<candidate_t> candidates_of(std::span<const sample_t> samples, double rate,
                                       std::uint32_t doublings) {
  const auto is_finite = [](sample_t z) {
    return std::isfinite(z.real()) && std::isfinite(z.imag());
  };
  std::vector<candidate_t> all;
  for (auto begin = samples.begin(); begin != samples.end();) {
    begin = std::find_if(begin, samples.end(), is_finite);
    const auto end = std::find_if_not(begin, samples.end(), is_finite);
    const auto found = find_candidates(std::span(begin, end), rate, doublings);
    all.insert(all.end(), found.begin(), found.end());
    begin = end;
  }
  return all;
}

/// Whether two groups are the two directions of a triangle.
bool are_alike(const candidate_group_t& a, const candidate_group_t& b) {
  const auto within = [](double x, double y, double ratio) {
    return x <= ratio * y && y <= ratio * x;
  };
  return a.slope * b.slope < 0.0 && within(a.duration, b.duration, 1.25) &&
         within(std::abs(a.slope), std::abs(b.slope), 1.5) &&
         within(a.total_time, b.total_time, 2.0);
}

/// Limits of the chirps' length around the chosen groups.
struct limits_t {
  double shortest;
  double longest;
};

limits_t limits_around(const std::vector<candidate_group_t>& chosen,
                       const std::vector<candidate_t>& candidates) {
  double shortest = chosen.front().shortest;
  double longest = chosen.front().longest;
  for (const candidate_group_t& group : chosen) {
    shortest = std::min(shortest, group.shortest);
    longest = std::max(longest, group.longest);
  }
  double below = shortest / 2.0;
  double above = longest * 2.0;
  for (const candidate_t& candidate : candidates) {
    below = candidate.duration < shortest ? std::max(below, candidate.duration) : below;
    above = candidate.duration > longest ? std::min(above, candidate.duration) : above;
  }
  return {std::sqrt(below * shortest), std::sqrt(above * longest)};
}

std::string assignment(std::string_view name, double value, std::string_view unit) {
  return fmt::format("{}={}", name, quantity_text(rounded(value, digits), unit));
}

/// Whether a group can be chirps at all: longer than what smoothing makes of anything, straight,
/// and no rarity beside the heaviest group, as a few straight stretches of noise are.
bool may_be_chirps(const candidate_group_t& group, const candidate_group_t& heaviest, double rate) {
  constexpr double smoothing_samples = 256.0;
  constexpr double straight = 0.75;
  constexpr double rare = 0.2;
  return group.duration * rate > smoothing_samples && group.straightness > straight &&
         group.total_time > rare * heaviest.total_time;
}

void choose(proposal_t& proposal, const std::vector<candidate_group_t>& groups, double rate) {
  for (const candidate_group_t& group : groups) {
    const bool fits = proposal.chosen.empty() ||
                      (proposal.chosen.size() == 1 && are_alike(proposal.chosen.front(), group));
    if (fits && may_be_chirps(group, groups.front(), rate)) {
      proposal.chosen.push_back(group);
    } else if (proposal.left_out.size() < most_left_out) {
      proposal.left_out.push_back(group);
    }
  }
}

/// Slope of the chosen group with the lower magnitude.
double least_slope(const proposal_t& proposal) {
  double least = std::abs(proposal.chosen.front().slope);
  for (const candidate_group_t& group : proposal.chosen) {
    least = std::min(least, std::abs(group.slope));
  }
  return least;
}

proposal_t propose_at(std::span<const sample_t> samples, double rate, std::uint32_t doublings) {
  const auto candidates = candidates_of(samples, rate, doublings);
  proposal_t proposal;
  if (candidates.empty()) {
    return proposal;
  }
  choose(proposal, group_candidates(candidates), rate);
  if (proposal.chosen.empty()) {
    return proposal;
  }
  for (const candidate_group_t& group : proposal.chosen) {
    proposal.coverage += group.total_time * rate / static_cast<double>(samples.size());
  }
  const limits_t limits = limits_around(proposal.chosen, candidates);
  const double offset = proposal.chosen.front().duration / 8.0;
  proposal.assignments = {assignment("max_chirp_len", limits.longest, "s"),
                          assignment("min_chirp_len", limits.shortest, "s"),
                          assignment("slope_tol", least_slope(proposal) / 2.0, "Hz/s"),
                          "devlength_ref=0",
                          assignment("devlength_offset_begin", offset, "s"),
                          assignment("devlength_offset_end", offset, "s")};
  if (doublings > 0) {
    proposal.assignments.push_back(fmt::format("rate_doublings={}", doublings));
  }
  return proposal;
}

}  // namespace

std::uint32_t doublings_for(double slope) {
  std::uint32_t doublings = 0;
  while (doublings < most_doublings &&
         std::ldexp(std::abs(slope), static_cast<int>(2 * doublings)) < slope_out_of_dead_zone) {
    ++doublings;
  }
  return doublings;
}

proposal_t propose(std::span<const sample_t> samples, double rate) {
  proposal_t proposal = propose_at(samples, rate, 0);
  const std::uint32_t doublings =
      proposal.chosen.empty() ? searching_doublings : doublings_for(least_slope(proposal));
  if (doublings == 0) {
    return proposal;
  }
  return propose_at(samples, rate, doublings);
}

proposal_t propose(sample_source_t& source, double rate, std::vector<sample_t>& read) {
  proposal_t proposal;
  read.clear();
  for (const look_t& look : looks) {
    const std::size_t held = read.size();
    resize_for("the look at the beginning", read, static_cast<std::size_t>(look.samples));
    read.resize(held + source.read(std::span(read).subspan(held)));
    proposal = propose(read, rate);
    const bool enough =
        !proposal.chosen.empty() && proposal.chosen.front().count >= look.enough_chirps;
    if (enough || read.size() < look.samples) {
      break;
    }
  }
  return proposal;
}

replay_source_t::replay_source_t(std::vector<sample_t> read, sample_source_t& rest)
    : read_(std::move(read)), rest_(rest) {}

std::size_t replay_source_t::read(std::span<sample_t> out) {
  const std::size_t again = std::min(out.size(), read_.size() - position_);
  std::copy_n(read_.begin() + static_cast<std::ptrdiff_t>(position_), again, out.begin());
  position_ += again;
  if (again == out.size()) {
    return again;
  }
  read_ = {};
  position_ = 0;
  return again + rest_.read(out.subspan(again));
}

std::string group_text(const candidate_group_t& group) {
  return fmt::format("{}, {}{}", quantity_text(rounded(group.duration, digits), "s"),
                     group.slope < 0.0 ? "" : "+",
                     quantity_text(rounded(group.slope, digits), "Hz/s"));
}

std::string proposal_text(const proposal_t& proposal) {
  if (proposal.chosen.empty()) {
    return proposal.left_out.empty()
               ? "no switching points at the beginning; look elsewhere with --from"
               : "nothing like a chirp between the switching points at the beginning; look "
                 "elsewhere "
                 "with --from, or set min_chirp_len and max_chirp_len";
  }
  std::string text = "chirps: ";
  for (const candidate_group_t& group : proposal.chosen) {
    text += fmt::format("{}{} ({} seen)", &group == proposal.chosen.data() ? "" : " and ",
                        group_text(group), group.count);
  }
  const candidate_group_t& first = proposal.chosen.front();
  std::string others;
  for (const candidate_group_t& group : proposal.left_out) {
    const bool back = group.slope * first.slope < 0.0 && group.duration < first.duration;
    others += fmt::format("{}{}{} ({})", others.empty() ? "; left out: " : "; ", group_text(group),
                          back ? ": fly-backs?" : "", group.count);
  }
  return text + others + "; --set " + fmt::format("{}", fmt::join(proposal.assignments, " --set "));
}

}  // namespace orn::fmcw_host
