#include "common/limits/judge.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace orn::fmcw_host {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

/// Distance from the nearest bound, negative outside; NaN is as far out as can be.
double margin_of(const limit_t& limit, double value) {
  return std::isnan(value) ? -infinity
                           : std::min(value - limit.min.value_or(-infinity),
                                      limit.max.value_or(infinity) - value);
}

double statistic_value(const limit_t& limit, const chirp_statistics_t& statistics) {
  if (limit.figure == nullptr) {
    return static_cast<double>(statistics.count(limit.direction));
  }
  return limit.statistic->get(limit.direction ? statistics.of(*limit.direction, *limit.figure)
                                              : statistics.of(*limit.figure));
}

}  // namespace

std::string_view name_of(verdict_t verdict) {
  return verdict == verdict_t::fail ? "fail" : verdict == verdict_t::pass ? "pass" : "";
}

judge_t::judge_t(const std::vector<limit_t>& limits) : margins_(limits.size(), infinity) {
  for (const limit_t& limit : limits) {
    outcomes_.emplace_back().limit = limit;
  }
}

verdict_t judge_t::judge(const chirp_t& chirp) {
  verdict_t verdict = verdict_t::none;
  for (std::size_t i = 0; i < outcomes_.size(); ++i) {
    limit_outcome_t& outcome = outcomes_[i];
    const limit_t& limit = outcome.limit;
    if (!limit.is_of_chirps() || (limit.direction && *limit.direction != direction_index(chirp))) {
      continue;
    }
    const bool is_known = chirp.centre || !needs_centre(*limit.figure);
    const double value =
        is_known ? limit.figure->get(chirp) : std::numeric_limits<double>::quiet_NaN();
    const bool kept = keeps(limit, value);
    ++outcome.checked;
    outcome.failed += kept ? 0 : 1;
    const double margin = margin_of(limit, value);
    if (!outcome.worst || margin < margins_[i]) {
      margins_[i] = margin;
      outcome.worst = value;
      outcome.worst_chirp = chirp.number;
    }
    verdict = kept && verdict != verdict_t::fail ? verdict_t::pass : verdict_t::fail;
  }
  return verdict;
}

void judge_t::finish(const chirp_statistics_t& statistics) {
  for (limit_outcome_t& outcome : outcomes_) {
    if (!outcome.limit.is_of_chirps()) {
      outcome.worst = statistic_value(outcome.limit, statistics);
      outcome.checked = 1;
      outcome.failed = keeps(outcome.limit, *outcome.worst) ? 0 : 1;
    }
  }
}

verdict_t judge_t::verdict() const {
  verdict_t verdict = verdict_t::none;
  for (const limit_outcome_t& outcome : outcomes_) {
    verdict = std::max(verdict, outcome.verdict());
  }
  return verdict;
}

void write_json(json_writer_t& out, const std::vector<limit_outcome_t>& outcomes) {
  out.begin_array();
  for (const limit_outcome_t& outcome : outcomes) {
    out.begin_object()
        .member("limit", std::string_view(outcome.limit.text))
        .member("checked", outcome.checked)
        .member("failed", outcome.failed)
        .key("worst");
    outcome.worst ? out.value(*outcome.worst) : out.value(nullptr);
    out.key("worst_chirp");
    outcome.worst_chirp != 0 ? out.value(outcome.worst_chirp) : out.value(nullptr);
    out.key("verdict");
    outcome.verdict() != verdict_t::none ? out.value(name_of(outcome.verdict()))
                                         : out.value(nullptr);
    out.end_object();
  }
  out.end_array();
}

}  // namespace orn::fmcw_host
