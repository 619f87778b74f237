#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace fmcw_cli {

/// Text in aligned columns, each as wide as its widest cell.
class table_t {
 public:
  enum alignment_t { right, left };
  explicit table_t(std::vector<std::string> head, alignment_t alignment = right);
  void add(std::vector<std::string> row);
  friend std::ostream& operator<<(std::ostream& out, const table_t& table);

 private:
  std::vector<std::vector<std::string>> rows_;
  alignment_t alignment_;
};

/// A unit with the metric prefix that suits a column's largest magnitude.
struct scaled_unit_t {
  std::string unit;
  double factor = 1.0;  ///< of a value in base units

  /// values  in base units; NaN and infinities do not count
  scaled_unit_t(const std::string& base, const std::vector<double>& values);

  /// Six significant digits of a value in base units.
  std::string format(double value) const;
};

}  // namespace fmcw_cli
