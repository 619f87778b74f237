#include "chirp_table.h"

#include "common/figures/flags.h"
#include "common/output/text.h"
#include "table.h"
#include "terminal.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <limits>
#include <string>
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

/// The value to the second digit of its uncertainty, "400.001 ± 0.013"; to whole numbers at most.
std::string with_uncertainty(double value, double u) {
  const int decimals = std::clamp(1 - static_cast<int>(std::floor(std::log10(u))), 0, 15);
  return fmt::format("{:.{}f} ± {:.{}f}", value, decimals, u, decimals);
}

}  // namespace

chirp_table_t::chirp_table_t(std::ostream& out, const table_columns_t& columns)
    : out_(out), columns_(columns) {
  for (const figure_t& figure : figure_table()) {
    if ((columns.all_figures || figure.chief) && (columns.with_rf || !needs_centre(figure))) {
      figures_.push_back(&figure);
    }
  }
}

void chirp_table_t::begin_capture(const std::string& capture, double rate) {
  capture_ = printable(capture);
  rate_ = std::max(rate_, rate);
}

void chirp_table_t::add(const chirp_t& chirp, const row_remarks_t& remarks) {
  held_.push_back({columns_.with_capture ? capture_ : "", chirp, remarks.verdict,
                   remarks.trust != nullptr ? std::optional(*remarks.trust) : std::nullopt});
  if (held_.size() == block_rows) {
    put_block();
  }
}

void chirp_table_t::add_line(const std::string& text) {
  put_block();
  out_ << text << '\n';
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
  std::transform(held_.begin(), held_.end(), std::back_inserter(values), [&](const row_t& row) {
    const bool is_known = row.chirp.centre || !needs_centre(figure);
    return is_known ? figure.get(row.chirp) : std::numeric_limits<double>::quiet_NaN();
  });
  const scaled_unit_t scale(std::string(figure.unit), values);
  column_t column{std::string(figure.title), scale.unit, {}};
  const bool is_place = orn::fmcw_host::is_place(figure);
  const int decimals = decimals_for(rate_, scale.factor);
  const std::size_t place = trusted_place(figure.column);
  for (std::size_t i = 0; i < values.size(); ++i) {
    const double value = values[i];
    const auto& trust = held_[i].trust;
    const double u = trust && place < trust->size() ? (*trust)[place].u : std::nan("");
    column.cells.push_back(std::isnan(value) ? "-"
                           : std::isfinite(u) && u > 0.0
                               ? with_uncertainty(value * scale.factor, u * scale.factor)
                           : is_place ? fmt::format("{:.{}f}", value * scale.factor, decimals)
                                      : scale.format(value));
  }
  return column;
}

template <class Text>
chirp_table_t::column_t chirp_table_t::text_column(const char* name, Text text) const {
  column_t column{name, "", {}};
  std::transform(held_.begin(), held_.end(), std::back_inserter(column.cells),
                 [&](const row_t& row) {
                   const std::string cell(text(row));
                   return cell.empty() ? "-" : cell;
                 });
  return column;
}

void chirp_table_t::put_rows(const std::vector<column_t>& columns) {
  std::vector<std::string> head;
  std::transform(columns.begin(), columns.end(), std::back_inserter(head), [](const column_t& c) {
    return c.unit.empty() ? c.name : fmt::format("{} [{}]", c.name, c.unit);
  });
  // What names a chirp, its first figure and what is said of it always stay.
  const std::size_t first = number_column() + 1;
  std::vector<std::size_t> order;
  for (const bool is_least : {true, false}) {
    for (std::size_t i = first + figures_.size() - 1; i > first; --i) {
      const bool is_listed =
          std::count(least_important.begin(), least_important.end(), columns[i].name) != 0;
      if (is_listed == is_least) {
        order.push_back(i);
      }
    }
  }
  table_t table(std::move(head));
  for (std::size_t i = 0; i < held_.size(); ++i) {
    std::vector<std::string> row;
    std::transform(columns.begin(), columns.end(), std::back_inserter(row),
                   [&](const column_t& column) { return column.cells[i]; });
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
  const auto width_at = [&](std::size_t chirp) {
    std::size_t width = 0;
    for (const column_t& column : columns) {
      width = std::max(width, shown_width(column.cells[chirp]));
    }
    return width;
  };
  const column_t& numbers = columns[number_column()];
  const std::size_t room = width_of().value_or(usual_width);
  for (std::size_t begin = 0; begin < held_.size();) {
    std::size_t end = begin;
    std::size_t used = names + 2 + units;
    do {
      used += 2 + width_at(end++);
    } while (end < held_.size() && used + 2 + width_at(end) <= room);
    const auto row_of = [&](const column_t& column, const std::string& unit) {
      std::vector<std::string> row = {column.name, unit};
      row.insert(row.end(), column.cells.begin() + static_cast<std::ptrdiff_t>(begin),
                 column.cells.begin() + static_cast<std::ptrdiff_t>(end));
      return row;
    };
    table_t table(row_of(numbers, ""), table_t::turned);
    for (const column_t& column : columns) {
      if (&column != &numbers) {
        table.add(row_of(column, column.unit));
      }
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
  if (columns_.with_capture) {
    columns.push_back(text_column("capture", [](const row_t& row) { return row.capture; }));
  }
  columns.push_back(
      text_column("#", [](const row_t& row) { return std::to_string(row.chirp.number); }));
  std::transform(figures_.begin(), figures_.end(), std::back_inserter(columns),
                 [&](const figure_t* figure) { return column(*figure); });
  if (std::any_of(held_.begin(), held_.end(),
                  [](const row_t& row) { return row.chirp.flags != 0; })) {
    columns.push_back(text_column("flags", [](const row_t& row) {
      return row.chirp.flags != 0 ? styled(flag_words(row.chirp), style_t::yellow) : "";
    }));
  }
  if (columns_.with_verdict) {
    columns.push_back(text_column("verdict", [](const row_t& row) { return row.verdict; }));
  }
  columns_.all_figures ? put_turned(columns) : put_rows(columns);
  any_ = true;
  held_.clear();
}

}  // namespace fmcw_cli
