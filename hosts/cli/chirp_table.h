#pragma once

#include "common/figures/chirp.h"
#include "common/figures/figure_table.h"

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

namespace fmcw_cli {

/// A table of chirps for people. Rows are held until there are enough to choose units and widths
/// by, so any number of them takes little memory.
class chirp_table_t {
 public:
  /// rate         of the recording [Hz]; starts are shown to a sample
  /// all_figures  every figure in base units under its column's name, else the chief ones
  chirp_table_t(std::ostream& out, double rate, bool all_figures, bool with_rf);

  void add(const orn::fmcw_host::chirp_t& chirp);

  /// A line of text between the rows.
  void add_line(const std::string& text);

  /// Writes what is held; a line where there was no chirp at all.
  void finish();

 private:
  void put_block();
  std::vector<std::string> column(const orn::fmcw_host::figure_t& figure, std::string& title) const;

  std::ostream& out_;
  double rate_;
  bool all_figures_;
  std::vector<const orn::fmcw_host::figure_t*> figures_;
  std::vector<orn::fmcw_host::chirp_t> held_;
  bool any_ = false;
};

}  // namespace fmcw_cli
