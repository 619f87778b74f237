#include "common/figures/chirp_csv.h"

#include "common/figures/figure_table.h"
#include "common/figures/flags.h"

#include <utility>

namespace orn::fmcw_host {

chirp_csv_t::chirp_csv_t(std::ostream& out, std::string capture, bool with_rf)
    : out_(out), capture_(std::move(capture)), with_rf_(with_rf) {
  for (const char* const column :
       {"capture", "chirp", "direction", "first_sample", "last_sample", "selected"}) {
    out_.cell(column);
  }
  for (const figure_t& figure : figure_table()) {
    if (with_rf_ || !needs_centre(figure)) {
      out_.cell(figure.column);
    }
  }
  out_.cell("flags").end_row();
}

void chirp_csv_t::add(const chirp_t& chirp) {
  out_.cell(std::string_view(capture_))
      .cell(chirp.number)
      .cell(direction_of(chirp))
      .cell(chirp.first_sample)
      .cell(chirp.last_sample)
      .cell(chirp.selected ? "1" : "0");
  for (const figure_t& figure : figure_table()) {
    if (!needs_centre(figure) || chirp.centre) {
      out_.cell(figure.get(chirp));
    } else if (with_rf_) {
      out_.cell("");
    }
  }
  out_.cell(std::string_view(flag_words(chirp))).end_row();
}

}  // namespace orn::fmcw_host
