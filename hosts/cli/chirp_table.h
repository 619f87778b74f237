#pragma once

#include "common/figures/chirp.h"
#include "common/figures/figure_table.h"

#include <cstddef>
#include <ostream>
#include <set>
#include <string>
#include <vector>

namespace fmcw_cli {

/// A table of chirps for people, within the width of the output where that is known. Rows are held
/// until there are enough to choose units and widths by, so any number of them takes little memory.
class chirp_table_t {
 public:
  /// rate         of the recording [Hz]; starts are shown to a sample
  /// all_figures  every figure, a line each with the chirps side by side, else a line for each
  ///              chirp with the chief figures that there is room for
  chirp_table_t(std::ostream& out, double rate, bool all_figures, bool with_rf);

  void add(const orn::fmcw_host::chirp_t& chirp);

  /// Writes what is held, and what there was no room for; a line where there was no chirp at all.
  void finish();

 private:
  struct column_t {
    std::string name, unit;
    std::vector<std::string> cells;  ///< of the chirps held
  };
  void put_block();
  void put_rows(const std::vector<column_t>& columns);
  void put_turned(const std::vector<column_t>& columns);
  column_t column(const orn::fmcw_host::figure_t& figure) const;
  column_t flag_column() const;

  std::ostream& out_;
  double rate_;
  bool all_figures_;
  std::vector<const orn::fmcw_host::figure_t*> figures_;
  std::vector<orn::fmcw_host::chirp_t> held_;
  bool any_ = false;
  std::set<std::string> left_out_;  ///< names of columns that there was no room for
};

}  // namespace fmcw_cli
