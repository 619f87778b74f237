#include "chirp_table.h"

#include "common/figures/flags.h"
#include "common/output/text.h"
#include "table.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <utility>

#include <fmt/format.h>

namespace fmcw_cli {
namespace {

using namespace orn::fmcw_host;

constexpr std::size_t block_rows = 4096;

/// Decimals that tell one sample from the next in a unit.
int decimals_for(double rate, double factor) {
  return std::clamp(static_cast<int>(std::ceil(std::log10(rate / factor))), 0, 15);
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

void chirp_table_t::add(const chirp_t& chirp, std::string_view verdict) {
  held_.push_back({columns_.with_capture ? capture_ : "", chirp, verdict});
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
}

std::vector<std::string> chirp_table_t::column(const figure_t& figure, std::string& title) const {
  std::vector<double> values;
  std::transform(held_.begin(), held_.end(), std::back_inserter(values), [&](const row_t& row) {
    const bool is_known = row.chirp.centre || !needs_centre(figure);
    return is_known ? figure.get(row.chirp) : std::numeric_limits<double>::quiet_NaN();
  });
  std::vector<std::string> cells;
  const auto write = [&](const auto& text_of) {
    std::transform(values.begin(), values.end(), std::back_inserter(cells), [&](double value) {
      return std::isnan(value) ? std::string("-") : text_of(value);
    });
  };
  if (columns_.all_figures) {
    title = figure.column;
    write([](double value) { return fmt::format("{:.9g}", value); });
  } else if (figure.unit == "s" || figure.unit == "Hz") {
    const scaled_unit_t scale(std::string(figure.unit), values);
    title = fmt::format("{} [{}]", figure.title, scale.unit);
    const bool is_place = figure.column == "start_s";
    const int decimals = decimals_for(rate_, scale.factor);
    write([&](double value) {
      return is_place ? fmt::format("{:.{}f}", value * scale.factor, decimals)
                      : scale.format(value);
    });
  } else if (figure.unit.empty()) {
    title = fmt::format("{} [%]", figure.title);
    write([](double value) { return fmt::format("{:.6g}", value * 100.0); });
  } else {
    title = fmt::format("{} [{}]", figure.title, figure.unit);
    write([](double value) { return fmt::format("{:.6g}", value); });
  }
  return cells;
}

void chirp_table_t::put_block() {
  if (held_.empty()) {
    return;
  }
  any_ = true;
  const bool flagged = std::any_of(held_.begin(), held_.end(),
                                   [](const row_t& row) { return row.chirp.flags != 0; });
  std::vector<std::string> head;
  if (columns_.with_capture) {
    head.emplace_back("capture");
  }
  head.emplace_back("#");
  std::vector<std::vector<std::string>> columns;
  for (const figure_t* figure : figures_) {
    columns.push_back(column(*figure, head.emplace_back()));
  }
  if (flagged) {
    head.emplace_back("flags");
  }
  if (columns_.with_verdict) {
    head.emplace_back("verdict");
  }
  table_t table(std::move(head));
  for (std::size_t i = 0; i < held_.size(); ++i) {
    const auto& [capture, chirp, verdict] = held_[i];
    std::vector<std::string> row;
    if (columns_.with_capture) {
      row.push_back(capture);
    }
    row.push_back(std::to_string(chirp.number));
    for (const auto& cells : columns) {
      row.push_back(cells[i]);
    }
    if (flagged) {
      row.push_back(chirp.flags != 0 ? flag_words(chirp) : "-");
    }
    if (columns_.with_verdict) {
      row.emplace_back(verdict.empty() ? "-" : verdict);
    }
    table.add(std::move(row));
  }
  out_ << table;
  held_.clear();
}

}  // namespace fmcw_cli
