#pragma once

#include "common/figures/chirp.h"
#include "common/figures/figure_table.h"

#include <cstddef>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace fmcw_cli {

/// The columns of a table.
struct table_columns_t {
  bool all_figures = false;  ///< a line each, the chirps side by side, else a line for each chirp
                             ///< with the chief figures that there is room for
  bool with_rf = false;      ///< a centre frequency is known, or may be
  bool with_capture = false;
  bool with_verdict = false;
};

/// A table of chirps for people, within the width of the output where that is known. Rows are held
/// until there are enough to choose units and widths by, so any number of them takes little memory.
class chirp_table_t {
 public:
  chirp_table_t(std::ostream& out, const table_columns_t& columns);

  /// The rows that follow are of that capture.
  /// rate  of the recording [Hz]; starts are shown to a sample
  void begin_capture(const std::string& capture, double rate);

  /// With a trust in the remarks, figures are shown with their uncertainty: "400.001 ± 0.013".
  void add(const orn::fmcw_host::chirp_t& chirp, const orn::fmcw_host::row_remarks_t& remarks = {});

  /// A line of text between the rows.
  void add_line(const std::string& text);

  /// Writes what is held, and what there was no room for; a line where there was no chirp at all.
  void finish();

 private:
  struct column_t {
    std::string name, unit;
    std::vector<std::string> cells;  ///< of the chirps held
  };
  void put_block();
  std::size_t number_column() const { return columns_.with_capture ? 1 : 0; }
  void put_rows(const std::vector<column_t>& columns);
  void put_turned(const std::vector<column_t>& columns);
  column_t column(const orn::fmcw_host::figure_t& figure) const;
  /// A column of text; nothing shows as "-".
  template <class Text>
  column_t text_column(const char* name, Text text) const;

  struct row_t {
    std::string capture;
    orn::fmcw_host::chirp_t chirp;
    std::string_view verdict;
    std::optional<orn::fmcw_host::chirp_trust_t> trust;
  };
  std::ostream& out_;
  table_columns_t columns_;
  std::string capture_;
  double rate_ = 0.0;  ///< the highest so far
  std::vector<const orn::fmcw_host::figure_t*> figures_;
  std::vector<row_t> held_;
  bool any_ = false;
  std::set<std::string> left_out_;  ///< names of columns that there was no room for
};

}  // namespace fmcw_cli
