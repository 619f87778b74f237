#include "common/figures/chirp_csv.h"

#include "common/figures/figure_table.h"
#include "common/figures/flags.h"
#include "common/trust/figure_trust.h"

#include <cmath>
#include <utility>

#include <fmt/format.h>

namespace orn::fmcw_host {

chirp_csv_t::chirp_csv_t(std::ostream& out, csv_columns_t columns) : out_(out), columns_(columns) {
  for (const char* const column :
       {"capture", "chirp", "direction", "first_sample", "last_sample", "selected"}) {
    out_.cell(column);
  }
  for (const figure_t& figure : figure_table()) {
    if (columns_.with_rf || !needs_centre(figure)) {
      out_.cell(figure.column);
    }
  }
  out_.cell("flags").cell("start_datetime");
  if (columns_.with_verdict) {
    out_.cell("verdict");
  }
  if (columns_.with_trust) {
    for (const std::string_view column : trusted_columns) {
      for (const trust_column_t& value : trust_values) {
        out_.cell(fmt::format("{}{}", column, value.suffix));
      }
      out_.cell(fmt::format("{}_trust", column));
    }
  }
  out_.end_row();
}

void chirp_csv_t::begin_capture(std::string capture) { capture_ = std::move(capture); }

void chirp_csv_t::add(const chirp_t& chirp, const row_remarks_t& remarks) {
  out_.cell(std::string_view(capture_))
      .cell(chirp.number)
      .cell(direction_of(chirp))
      .cell(chirp.first_sample)
      .cell(chirp.last_sample)
      .cell(chirp.selected ? "1" : "0");
  for (const figure_t& figure : figure_table()) {
    if (!needs_centre(figure) || chirp.centre) {
      out_.cell(figure.get(chirp));
    } else if (columns_.with_rf) {
      out_.cell("");
    }
  }
  out_.cell(std::string_view(flag_words(chirp))).cell(std::string_view(remarks.datetime));
  if (columns_.with_verdict) {
    out_.cell(remarks.verdict);
  }
  if (columns_.with_trust && remarks.trust != nullptr) {
    for (const figure_trust_t& trust : *remarks.trust) {
      for (const trust_column_t& value : trust_values) {
        std::isnan(trust.*value.value) ? out_.cell("") : out_.cell(trust.*value.value);
      }
      out_.cell(name_of(trust.word));
    }
  }
  out_.end_row();
}

}  // namespace orn::fmcw_host
