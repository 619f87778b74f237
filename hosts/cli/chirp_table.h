#pragma once

#include "common/figures/chirp.h"
#include "common/figures/figure_table.h"

#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace fmcw_cli {

/// The columns of a table.
struct table_columns_t {
  bool all_figures = false;  ///< every figure in base units by its column, else the chief ones
  bool with_rf = false;      ///< a centre frequency is known, or may be
  bool with_capture = false;
  bool with_verdict = false;
};

/// A table of chirps for people. Rows are held until there are enough to choose units and widths
/// by, so any number of them takes little memory.
class chirp_table_t {
 public:
  chirp_table_t(std::ostream& out, const table_columns_t& columns);

  /// The rows that follow are of that capture.
  /// rate  of the recording [Hz]; starts are shown to a sample
  void begin_capture(const std::string& capture, double rate);

  void add(const orn::fmcw_host::chirp_t& chirp, std::string_view verdict = "");

  /// A line of text between the rows.
  void add_line(const std::string& text);

  /// Writes what is held; a line where there was no chirp at all.
  void finish();

 private:
  void put_block();
  std::vector<std::string> column(const orn::fmcw_host::figure_t& figure, std::string& title) const;

  struct row_t {
    std::string capture;
    orn::fmcw_host::chirp_t chirp;
    std::string_view verdict;
  };
  std::ostream& out_;
  table_columns_t columns_;
  std::string capture_;
  double rate_ = 0.0;  ///< the highest so far
  std::vector<const orn::fmcw_host::figure_t*> figures_;
  std::vector<row_t> held_;
  bool any_ = false;
};

}  // namespace fmcw_cli
