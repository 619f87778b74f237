#include "verdicts.h"

#include "common/figures/figure_name.h"
#include "common/limits/limit_text.h"
#include "common/limits/limits_file.h"
#include "common/output/text.h"
#include "common/statistics/statistic.h"
#include "option_text.h"
#include "table.h"
#include "terminal.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include <fmt/format.h>

namespace fmcw_cli {

using namespace orn::fmcw_host;

namespace {

/// Columns that a chart may take beside its labels.
std::size_t chart_columns() {
  constexpr std::size_t usual_width = 80;
  constexpr std::size_t label_width = 20;
  return std::max(width_of().value_or(usual_width), 2 * label_width) - label_width;
}

table_t statistics_table(const chirp_statistics_t& statistics, direction_t direction,
                         bool all_figures) {
  std::vector<std::string> head = {"figure", "unit", "count"};
  for (const statistic_t& statistic : statistic_table()) {
    head.emplace_back(statistic.title);
  }
  table_t table(std::move(head), table_t::left);
  for (const figure_t& figure : figure_table()) {
    const statistics_t values = statistics.of(direction, figure);
    if ((!all_figures && !figure.chief) || is_place(figure) ||
        values.count + values.left_out == 0) {
      continue;
    }
    const scaled_unit_t scale(std::string(figure.unit), {values.min, values.max});
    std::vector<std::string> row = {std::string(figure.title), scale.unit,
                                    std::to_string(values.count)};
    for (const statistic_t& statistic : statistic_table()) {
      const double value = statistic.get(values);
      row.push_back(std::isnan(value) ? "-" : scale.format(value));
    }
    table.add(std::move(row));
  }
  return table;
}

std::string value_text(const limit_outcome_t& outcome) {
  const std::string unit = unit_of(outcome.limit);
  return !outcome.worst ? "-"
                        : fmt::format("{:.9g}{}{}", *outcome.worst, unit.empty() ? "" : " ", unit);
}

}  // namespace

void describe_verdicts(CLI::App& command, verdict_call_t& call) {
  command.add_flag("--stats", call.with_statistics,
                   "Show count, mean, standard deviation, range and trend of the figures");
  command.add_option("--chart", call.chart, "Draw a figure over the chirps: slope")
      ->type_name("FIGURE");
  command
      .add_option("--limits", call.limits_files,
                  "Limits to keep, a JSON file (fmcw limits writes one); exit status 3 where one "
                  "fails; may be repeated")
      ->type_name(file_type)
      ->allow_extra_args(false)
      ->take_all();
  command
      .add_option("--limit", call.limits,
                  "One limit: 'slope=400kHz/us\u00B11%', 'power_avg>=9dBm', 'std(slope)<=0.1', "
                  "'count>=100'; may be repeated")
      ->type_name("LIMIT")
      ->allow_extra_args(false)
      ->take_all();
}

verdict_choice_t verdict_choice_of(const verdict_call_t& call) {
  verdict_choice_t choice;
  choice.with_statistics = call.with_statistics;
  choice.chart_columns = chart_columns();
  if (!call.chart.empty()) {
    choice.chart = &figure_called(call.chart);
  }
  for (const std::string& file : call.limits_files) {
    const std::vector<limit_t> limits = read_limits(file);
    choice.limits.insert(choice.limits.end(), limits.begin(), limits.end());
  }
  for (const std::string& text : call.limits) {
    choice.limits.push_back(parse_limit(text));
  }
  return choice;
}

void print_statistics(std::ostream& out, const chirp_statistics_t& statistics, bool all_figures) {
  for (const direction_t direction : directions) {
    if (const std::uint64_t count = statistics.count(direction); count > 0) {
      out << fmt::format("\n{} chirps that go {}\n", count, name_of(direction))
          << statistics_table(statistics, direction, all_figures);
    }
  }
}

void print_limits(std::ostream& out, const std::vector<limit_outcome_t>& outcomes) {
  table_t table({"limit", "verdict", "failed", "checked", "worst", "chirp"}, table_t::left);
  for (const limit_outcome_t& outcome : outcomes) {
    const std::string_view verdict = name_of(outcome.verdict());
    table.add({printable(outcome.limit.text), verdict.empty() ? "-" : std::string(verdict),
               std::to_string(outcome.failed), std::to_string(outcome.checked), value_text(outcome),
               outcome.worst_chirp != 0 ? std::to_string(outcome.worst_chirp) : "-"});
  }
  out << '\n' << table;
}

std::string failure_text(const limit_outcome_t& outcome) {
  return outcome.limit.is_of_chirps()
             ? fmt::format("limit '{}' failed for {} of {} chirps, worst {} of chirp {}",
                           outcome.limit.text, outcome.failed, outcome.checked, value_text(outcome),
                           outcome.worst_chirp)
             : fmt::format("limit '{}' failed: {}", outcome.limit.text, value_text(outcome));
}

}  // namespace fmcw_cli
