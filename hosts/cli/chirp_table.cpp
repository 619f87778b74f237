#include "chirp_table.h"

#include "table.h"
#include "terminal.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <utility>

#include <fmt/format.h>

namespace fmcw_cli {
namespace {

using namespace orn::fmcw_host;

constexpr std::size_t block_rows = 4096;

/// Of a table turned on its side, where nothing tells the output's.
constexpr std::size_t usual_width = 80;

/// What goes first where there is no room; after these the columns go from the right.
constexpr std::array least_important = {"RMS freq. dev.", "peak non-lin."};

/// Decimals that tell one sample from the next in a unit.
int decimals_for(double rate, double factor) {
  return std::clamp(static_cast<int>(std::ceil(std::log10(rate / factor))), 0, 15);
}

}  // namespace

chirp_table_t::chirp_table_t(std::ostream& out, double rate, bool all_figures, bool with_rf)
    : out_(out), rate_(rate), all_figures_(all_figures) {
  for (const figure_t& figure : figure_table()) {
    if ((all_figures || figure.chief) && (with_rf || !needs_centre(figure))) {
      figures_.push_back(&figure);
    }
  }
}

void chirp_table_t::add(const chirp_t& chirp) {
  held_.push_back(chirp);
  if (held_.size() == block_rows) {
    put_block();
  }
}

void chirp_table_t::finish() {
  put_block();
  if (!any_) {
    out_ << "no chirps found\n";
  }
  if (!left_out_.empty()) {
    out_ << fmt::format("no room for: {}; --all shows every figure\n", fmt::join(left_out_, ", "));
  }
}

chirp_table_t::column_t chirp_table_t::column(const figure_t& figure) const {
  std::vector<double> values;
  std::transform(held_.begin(), held_.end(), std::back_inserter(values), figure.get);
  const scaled_unit_t scale(std::string(figure.unit), values);
  column_t column{std::string(figure.title), scale.unit, {}};
  const bool is_place = figure.column == "start_s" || figure.column == "stop_s";
  const int decimals = decimals_for(rate_, scale.factor);
  std::transform(values.begin(), values.end(), std::back_inserter(column.cells), [&](double value) {
    return is_place ? fmt::format("{:.{}f}", value * scale.factor, decimals) : scale.format(value);
  });
  return column;
}

chirp_table_t::column_t chirp_table_t::flag_column() const {
  column_t column{"flags", "", {}};
  std::transform(held_.begin(), held_.end(), std::back_inserter(column.cells), [](const auto& c) {
    return c.flags != 0 ? styled(flag_words(c), style_t::yellow) : "-";
  });
  return column;
}

void chirp_table_t::put_rows(const std::vector<column_t>& columns) {
  std::vector<std::string> head = {"#"};
  std::vector<std::size_t> order;
  for (const column_t& column : columns) {
    head.push_back(column.unit.empty() ? column.name
                                       : fmt::format("{} [{}]", column.name, column.unit));
  }
  // The number, the first figure and the flags always stay.
  const std::size_t last = figures_.size();
  for (const bool is_least : {true, false}) {
    for (std::size_t i = last; i > 1; --i) {
      const bool is_listed =
          std::count(least_important.begin(), least_important.end(), columns[i - 1].name) != 0;
      if (is_listed == is_least) {
        order.push_back(i);
      }
    }
  }
  table_t table(std::move(head));
  for (std::size_t i = 0; i < held_.size(); ++i) {
    std::vector<std::string> row = {std::to_string(held_[i].number)};
    for (const column_t& column : columns) {
      row.push_back(column.cells[i]);
    }
    table.add(std::move(row));
  }
  for (const std::string& heading : table.fit(order)) {
    left_out_.insert(heading.substr(0, heading.find(" [")));
  }
  out_ << table;
}

void chirp_table_t::put_turned(const std::vector<column_t>& columns) {
  std::size_t names = 0;
  std::size_t units = 0;
  for (const column_t& column : columns) {
    names = std::max(names, column.name.size());
    units = std::max(units, column.unit.size());
  }
  const std::size_t room = width_of().value_or(usual_width);
  std::size_t begin = 0;
  while (begin < held_.size()) {
    std::size_t end = begin;
    for (std::size_t used = names + 2 + units; end < held_.size(); ++end) {
      std::size_t width = std::to_string(held_[end].number).size();
      for (const column_t& column : columns) {
        width = std::max(width, shown_width(column.cells[end]));
      }
      used += 2 + width;
      if (used > room && end > begin) {
        break;
      }
    }
    std::vector<std::string> head = {"#", ""};
    for (std::size_t i = begin; i < end; ++i) {
      head.push_back(std::to_string(held_[i].number));
    }
    table_t table(std::move(head), table_t::turned);
    for (const column_t& column : columns) {
      std::vector<std::string> row = {column.name, column.unit};
      row.insert(row.end(), column.cells.begin() + static_cast<std::ptrdiff_t>(begin),
                 column.cells.begin() + static_cast<std::ptrdiff_t>(end));
      table.add(std::move(row));
    }
    out_ << (any_ ? "\n" : "") << table;
    any_ = true;
    begin = end;
  }
}

void chirp_table_t::put_block() {
  if (held_.empty()) {
    return;
  }
  std::vector<column_t> columns;
  std::transform(figures_.begin(), figures_.end(), std::back_inserter(columns),
                 [&](const figure_t* figure) { return column(*figure); });
  if (std::any_of(held_.begin(), held_.end(), [](const chirp_t& c) { return c.flags != 0; })) {
    columns.push_back(flag_column());
  }
  all_figures_ ? put_turned(columns) : put_rows(columns);
  any_ = true;
  held_.clear();
}

}  // namespace fmcw_cli
