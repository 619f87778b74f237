#include "commands.h"
#include "common/figures/figure_table.h"
#include "common/output/json_writer.h"
#include "common/output/output_file.h"
#include "common/output/text.h"
#include "common/statistics/chirp_statistics.h"
#include "common/statistics/comparison.h"
#include "help.h"
#include "measurement.h"
#include "option_text.h"
#include "program.h"
#include "table.h"

#include <cmath>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

namespace fmcw_cli {
namespace {

using namespace orn::fmcw_host;

struct compare_call_t {
  capture_call_t a;
  std::string b;
  settings_source_t settings;
  bool all_figures = false;
  bool as_json = false;
};

/// Figures that both recordings have values of, chirps of one direction.
struct pair_t {
  const figure_t& figure;
  statistics_t a, b;
};

std::vector<pair_t> pairs_of(const chirp_statistics_t& a, const chirp_statistics_t& b,
                             direction_t direction, bool all_figures) {
  std::vector<pair_t> pairs;
  for (const figure_t& figure : figure_table()) {
    const pair_t pair = {figure, a.of(direction, figure), b.of(direction, figure)};
    if ((all_figures || figure.chief) && !is_place(figure) && pair.a.count > 0 &&
        pair.b.count > 0) {
      pairs.push_back(pair);
    }
  }
  return pairs;
}

void print_direction(const std::vector<pair_t>& pairs) {
  table_t table({"figure", "unit", "mean A", "std. dev. A", "mean B", "std. dev. B", "B - A",
                 "std. error", "in errors"},
                table_t::left);
  for (const auto& [figure, a, b] : pairs) {
    const scaled_unit_t scale(std::string(figure.unit), {a.mean, b.mean});
    const auto text = [&](double value) {
      return std::isnan(value) ? std::string("-") : scale.format(value);
    };
    const comparison_t both = compare(a, b);
    table.add({std::string(figure.title), scale.unit, text(a.mean), text(a.standard_deviation),
               text(b.mean), text(b.standard_deviation), text(both.difference),
               text(both.standard_error),
               std::isnan(both.in_errors) ? "-" : fmt::format("{:+.3g}", both.in_errors)});
  }
  std::cout << table;
}

void print_text(const compare_call_t& call, const chirp_statistics_t& a,
                const chirp_statistics_t& b) {
  std::cout << printable(fmt::format("A: {}, {} chirps", call.a.path, a.count())) << '\n'
            << printable(fmt::format("B: {}, {} chirps", call.b, b.count())) << '\n';
  for (const direction_t direction : directions) {
    const std::uint64_t count_a = a.count(direction);
    const std::uint64_t count_b = b.count(direction);
    if (count_a + count_b > 0) {
      std::cout << fmt::format("\nchirps that go {}: {} in A, {} in B\n", name_of(direction),
                               count_a, count_b);
    }
    if (count_a > 0 && count_b > 0) {
      print_direction(pairs_of(a, b, direction, call.all_figures));
    }
  }
}

void put_statistics(json_writer_t& json, const char* name, const statistics_t& values) {
  json.key(name)
      .begin_object()
      .member("count", values.count)
      .member("mean", values.mean)
      .member("std", values.standard_deviation)
      .end_object();
}

void print_json(const compare_call_t& call, const chirp_statistics_t& a,
                const chirp_statistics_t& b) {
  output_file_t out("-");
  json_writer_t json(out.stream(), json_writer_t::indented);
  json.begin_object().key("schema").begin_object();
  json.member("name", "fmcw-comparison").member("version", 1).end_object();
  json.member("a", std::string_view(call.a.path)).member("b", std::string_view(call.b));
  for (const direction_t direction : directions) {
    json.key(name_of(direction)).begin_object();
    json.member("count_a", a.count(direction)).member("count_b", b.count(direction));
    for (const pair_t& pair : pairs_of(a, b, direction, true)) {
      const comparison_t both = compare(pair.a, pair.b);
      json.key(pair.figure.column).begin_object();
      put_statistics(json, "a", pair.a);
      put_statistics(json, "b", pair.b);
      json.member("difference", both.difference)
          .member("standard_error", both.standard_error)
          .member("in_errors", both.in_errors)
          .end_object();
    }
    json.end_object();
  }
  json.end_object();
  out.commit();
}

/// B is analysed as A is: settings chosen for each would show in the figures.
settings_source_t source_for_b(const compare_call_t& call, const measurement_t& a) {
  settings_source_t source = call.settings;
  if (a.is_proposed) {
    source.assignments.insert(source.assignments.end(), a.proposal.assignments.begin(),
                              a.proposal.assignments.end());
    source.assignments.emplace_back("search=spans");
  }
  return source;
}

void compare_recordings(const compare_call_t& call) {
  measurement_t a = open_measurement(call.a, call.settings);
  look_for_settings(a);
  if (a.is_proposed) {
    tell_note(proposal_text(a.proposal));
  }
  measurement_t b = open_measurement({call.b, call.a.options}, source_for_b(call, a));
  look_for_settings(b);
  const chirp_statistics_t of_a = measure_statistics(a);
  const chirp_statistics_t of_b = measure_statistics(b);
  call.as_json ? print_json(call, of_a, of_b) : print_text(call, of_a, of_b);
  if (of_a.count() == 0 || of_b.count() == 0) {
    throw CLI::RuntimeError(no_chirps);
  }
}

}  // namespace

void describe_compare(CLI::App& app) {
  auto* const command =
      app.add_subcommand("compare", "Compare the chirps of two recordings, figure by figure");
  const auto call = std::make_shared<compare_call_t>();
  command->add_option("A", call->a.path, "Recording (see fmcw info --help)")
      ->required()
      ->type_name(file_type);
  command->add_option("B", call->b, "Recording to compare with it, by the same settings")
      ->required()
      ->type_name(file_type);
  describe_reading(*command, call->a.options);
  describe_settings_source(*command, call->settings);
  command->add_flag("--all", call->all_figures, "Show every figure");
  command->add_flag("--json", call->as_json, "As JSON, every figure");
  add_examples(*command, {{"fmcw compare before.sigmf-meta after.sigmf-meta",
                           "mean and standard deviation of each, and how far they are apart"}});
  command->callback([call] { compare_recordings(*call); });
}

}  // namespace fmcw_cli
