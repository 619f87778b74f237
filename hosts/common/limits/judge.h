#pragma once

#include "common/figures/chirp.h"
#include "common/limits/limit.h"
#include "common/output/json_writer.h"
#include "common/statistics/chirp_statistics.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace orn::fmcw_host {

/// What is said of a chirp, or of a recording.
enum class verdict_t : std::uint8_t { none, pass, fail };

/// "pass", "fail"; "" where no limit concerns it.
std::string_view name_of(verdict_t verdict);

/// How one limit was kept.
struct limit_outcome_t {
  limit_t limit;
  std::uint64_t checked = 0;  ///< chirps, or 1 for a statistic
  std::uint64_t failed = 0;
  std::optional<double> worst;    ///< value farthest out or, where all keep it, nearest to a bound
  std::uint64_t worst_chirp = 0;  ///< its number; 0: none, or a statistic
  verdict_t verdict() const {
    return failed != 0 ? verdict_t::fail : checked != 0 ? verdict_t::pass : verdict_t::none;
  }
};

/// Holds the chirps of one recording against limits, a chirp at a time.
class judge_t {
 public:
  explicit judge_t(const std::vector<limit_t>& limits);

  /// By the limits on every chirp. A figure that is NaN, or that needs a centre frequency nobody
  /// told, fails.
  verdict_t judge(const chirp_t& chirp);

  /// By the limits on statistics, once all chirps were judged. A statistic that does not exist (of
  /// no chirps, a spread of one) fails.
  void finish(const chirp_statistics_t& statistics);

  /// In the order of the limits.
  const std::vector<limit_outcome_t>& outcomes() const { return outcomes_; }

  /// Fail where one limit does, pass where none does and one concerned something.
  verdict_t verdict() const;

 private:
  std::vector<limit_outcome_t> outcomes_;
  std::vector<double> margins_;  ///< of the worst values, as margin_of() has them
};

/// Writes an array of {"limit": text, "checked", "failed", "worst", "worst_chirp", "verdict"};
/// worst_chirp is null for a statistic, verdict where nothing was concerned.
void write_json(json_writer_t& out, const std::vector<limit_outcome_t>& outcomes);

}  // namespace orn::fmcw_host
