#include "table.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include <fmt/format.h>

namespace fmcw_cli {

table_t::table_t(std::vector<std::string> head, alignment_t alignment) : alignment_(alignment) {
  add(std::move(head));
}

void table_t::add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }

std::ostream& operator<<(std::ostream& out, const table_t& table) {
  std::vector<std::size_t> widths(table.rows_.front().size(), 0);
  for (const auto& row : table.rows_) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::max(widths[i], row[i].size());
    }
  }
  for (const auto& row : table.rows_) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      line += i == 0 ? "" : "  ";
      line += table.alignment_ == table_t::left ? fmt::format("{:<{}}", row[i], widths[i])
                                                : fmt::format("{:>{}}", row[i], widths[i]);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << '\n';
  }
  return out;
}

scaled_unit_t::scaled_unit_t(const std::string& base, const std::vector<double>& values)
    : unit(base) {
  double largest = 0.0;
  for (const double value : values) {
    if (std::isfinite(value)) {
      largest = std::max(largest, std::abs(value));
    }
  }
  constexpr std::array<std::pair<const char*, double>, 7> prefixes = {
      {{"G", 1e9}, {"M", 1e6}, {"k", 1e3}, {"", 1.0}, {"m", 1e-3}, {"u", 1e-6}, {"n", 1e-9}}};
  for (const auto& [prefix, size] : prefixes) {
    if (largest >= size) {
      unit = prefix + base;
      factor = 1.0 / size;
      break;
    }
  }
}

std::string scaled_unit_t::format(double value) const {
  return fmt::format("{:.6g}", value * factor);
}

}  // namespace fmcw_cli
