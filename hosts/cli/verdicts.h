#pragma once

#include "common/annotations/annotation_writer.h"
#include "common/figures/figure_table.h"
#include "common/limits/judge.h"
#include "common/limits/limit.h"
#include "common/statistics/chirp_statistics.h"

#include <cstddef>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace fmcw_cli {

/// Lines of a run chart.
inline constexpr std::size_t chart_rows = 10;

/// What is said of the chirps beside their rows.
struct verdict_choice_t {
  std::vector<orn::fmcw_host::limit_t> limits;
  bool with_statistics = false;
  const orn::fmcw_host::figure_t* chart = nullptr;  ///< null: none
  std::size_t chart_columns = 2;
};

/// The options that choose it.
struct verdict_call_t {
  bool with_statistics = false;
  std::string chart;
  std::vector<std::string> limits_files;
  std::vector<std::string> limits;
};

/// Adds --stats, --chart, --limits and --limit.
void describe_verdicts(CLI::App& command, verdict_call_t& call);

/// Reads limits and names. Throws input_error_t.
verdict_choice_t verdict_choice_of(const verdict_call_t& call);

/// Statistics of the chief figures, or all of them, a table for each direction.
void print_statistics(std::ostream& out, const orn::fmcw_host::chirp_statistics_t& statistics,
                      bool all_figures);

/// How each limit was kept.
void print_limits(std::ostream& out, const std::vector<orn::fmcw_host::limit_outcome_t>& outcomes);

/// A limit that failed, on one line.
std::string failure_text(const orn::fmcw_host::limit_outcome_t& outcome);

}  // namespace fmcw_cli
