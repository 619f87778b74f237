#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

namespace fmcw_cli {

/// Text in aligned columns, each as wide as its widest cell, the heading in bold. Cells may be
/// styled.
class table_t {
 public:
  enum alignment_t {
    right,
    left,   ///< and the last column wraps where the width of the output is known
    turned  ///< the first two columns, a name and its unit, left and the others right
  };
  explicit table_t(std::vector<std::string> head, alignment_t alignment = right);
  void add(std::vector<std::string> row);

  /// Takes columns away until the table fits the width of the output, where that is known.
  ///
  /// order  columns that may go, the least important first
  ///
  /// Returns the headings of those that went.
  std::vector<std::string> fit(const std::vector<std::size_t>& order);

  std::size_t width() const;

  friend std::ostream& operator<<(std::ostream& out, const table_t& table);

 private:
  std::vector<std::size_t> widths() const;
  std::string line(const std::vector<std::string>& row,
                   const std::vector<std::size_t>& widths) const;

  std::vector<std::vector<std::string>> rows_;
  alignment_t alignment_;
};

/// The unit that suits a column's largest magnitude: times and frequencies have metric prefixes,
/// slopes are in Hz/s below 1 Hz/us and Hz/us, kHz/us or MHz/us above, ratios in percent. Other
/// units stay as they are.
struct scaled_unit_t {
  std::string unit;
  double factor = 1.0;  ///< of a value in base units

  /// base    "s", "Hz", "kHz/us", "" for a ratio, or another unit
  /// values  in base units; NaN and infinities do not count
  scaled_unit_t(const std::string& base, const std::vector<double>& values);

  /// Six significant digits of a value in base units; four decimals of decibels, whose 0 is a value
  /// like any other.
  std::string format(double value) const;
};

/// One value with the unit that suits it: "20.5 us".
std::string with_unit(double value, const std::string& base);

}  // namespace fmcw_cli
