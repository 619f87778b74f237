#include "table.h"

#include "terminal.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <utility>

#include <fmt/format.h>

namespace fmcw_cli {
namespace {

constexpr std::size_t gap = 2;          ///< between columns
constexpr std::size_t least_text = 24;  ///< columns that a wrapped text has at least

std::size_t total_width(const std::vector<std::size_t>& widths) {
  return std::accumulate(widths.begin(), widths.end(), std::size_t{0}) + gap * (widths.size() - 1);
}

struct step_t {
  const char* unit;
  double size;  ///< of one unit, in base units
};

/// The first step that the magnitude reaches, else the last; none for 0.
void choose(scaled_unit_t& scale, double largest, const std::vector<step_t>& steps) {
  const auto reached = std::find_if(steps.begin(), steps.end(),
                                    [&](const step_t& step) { return largest >= step.size; });
  if (largest > 0.0) {
    const step_t& step = reached != steps.end() ? *reached : steps.back();
    scale.unit = step.unit;
    scale.factor = 1.0 / step.size;
  }
}

}  // namespace

table_t::table_t(std::vector<std::string> head, alignment_t alignment) : alignment_(alignment) {
  add(std::move(head));
}

void table_t::add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }

std::vector<std::size_t> table_t::widths() const {
  std::vector<std::size_t> widths(rows_.front().size(), 0);
  for (const auto& row : rows_) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::max(widths[i], shown_width(row[i]));
    }
  }
  return widths;
}

std::vector<std::string> table_t::fit(const std::vector<std::size_t>& order) {
  const auto width = width_of();
  std::vector<std::size_t> kept_widths = widths();
  std::vector<bool> is_gone(kept_widths.size(), false);
  std::vector<std::string> gone;
  std::size_t needed = total_width(kept_widths);
  for (const std::size_t column : order) {
    if (!width || needed <= *width) {
      break;
    }
    needed -= kept_widths[column] + gap;
    is_gone[column] = true;
    gone.push_back(rows_.front()[column]);
  }
  for (auto& row : rows_) {
    std::vector<std::string> kept;
    for (std::size_t i = 0; i < row.size(); ++i) {
      if (!is_gone[i]) {
        kept.push_back(std::move(row[i]));
      }
    }
    row = std::move(kept);
  }
  return gone;
}

std::size_t table_t::width() const { return total_width(widths()); }

std::string table_t::line(const std::vector<std::string>& row,
                          const std::vector<std::size_t>& widths) const {
  const std::size_t left_count = alignment_ == right ? 0 : alignment_ == turned ? 2 : row.size();
  std::string line;
  for (std::size_t i = 0; i < row.size(); ++i) {
    const std::string padding(widths[i] - std::min(widths[i], shown_width(row[i])), ' ');
    line.append(i == 0 ? 0 : gap, ' ');
    line += i < left_count ? row[i] + padding : padding + row[i];
  }
  line.erase(line.find_last_not_of(' ') + 1);
  return line;
}

std::ostream& operator<<(std::ostream& out, const table_t& table) {
  const std::vector<std::size_t> widths = table.widths();
  // What is left for the last column, once the others stand.
  const auto width = width_of();
  const std::size_t others = total_width(widths) - widths.back();
  const bool wraps = table.alignment_ == table_t::left && width && total_width(widths) > *width &&
                     *width >= others + least_text;
  for (const auto& row : table.rows_) {
    const auto texts = wraps ? wrapped(row.back(), *width - others) : std::vector{row.back()};
    std::vector<std::string> part = row;
    for (std::size_t i = 0; i < texts.size(); ++i) {
      if (i > 0) {
        std::fill(part.begin(), part.end(), "");
      }
      part.back() = texts[i];
      const std::string line = table.line(part, widths);
      out << (&row == &table.rows_.front() ? styled(line, style_t::bold) : line) << '\n';
    }
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
  if (base == "s") {
    choose(*this, largest, {{"s", 1.0}, {"ms", 1e-3}, {"us", 1e-6}, {"ns", 1e-9}});
  } else if (base == "Hz") {
    choose(*this, largest,
           {{"GHz", 1e9}, {"MHz", 1e6}, {"kHz", 1e3}, {"Hz", 1.0}, {"mHz", 1e-3}, {"uHz", 1e-6}});
  } else if (base == "kHz/us") {
    // Slow chirps, sound for instance, are not spoken of by the microsecond.
    choose(*this, largest, {{"MHz/us", 1e3}, {"kHz/us", 1.0}, {"Hz/us", 1e-3}, {"Hz/s", 1e-9}});
  } else if (base.empty()) {
    unit.assign(1, '%');
    factor = 100.0;
  }
}

std::string scaled_unit_t::format(double value) const {
  return unit == "dB" || unit == "dBm" ? fmt::format("{:.4f}", value)
                                       : fmt::format("{:.6g}", value * factor);
}

std::string with_unit(double value, const std::string& base) {
  const scaled_unit_t scale(base, {value});
  return fmt::format("{} {}", scale.format(value), scale.unit);
}

}  // namespace fmcw_cli
