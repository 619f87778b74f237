#include "common/figures/chirp_json.h"

#include "common/figures/figure_table.h"
#include "common/figures/flags.h"
#include "common/trust/figure_trust.h"

#include <fmt/format.h>

namespace orn::fmcw_host {

namespace {

void put_word(json_writer_t& out, std::string_view name, std::string_view word) {
  out.key(name);
  word.empty() ? out.value(nullptr) : out.value(word);
}

void put_trust(json_writer_t& out, const chirp_trust_t& trusts) {
  for (std::size_t i = 0; i < trusts.size(); ++i) {
    for (const trust_column_t& value : trust_values) {
      out.member(fmt::format("{}{}", trusted_columns[i], value.suffix), trusts[i].*value.value);
    }
    out.member(fmt::format("{}_trust", trusted_columns[i]), name_of(trusts[i].word));
  }
}

}  // namespace

void write_json(json_writer_t& out, const chirp_t& chirp, const row_remarks_t& remarks,
                bool with_verdict) {
  out.begin_object()
      .member("chirp", chirp.number)
      .member("direction", direction_of(chirp))
      .member("first_sample", chirp.first_sample)
      .member("last_sample", chirp.last_sample)
      .member("selected", chirp.selected);
  for (const figure_t& figure : figure_table()) {
    if (chirp.centre || !needs_centre(figure)) {
      out.member(figure.column, figure.get(chirp));
    }
  }
  if (remarks.trust != nullptr) {
    put_trust(out, *remarks.trust);
  }
  out.member("flags", std::string_view(flag_words(chirp)));
  put_word(out, "start_datetime", remarks.datetime);
  if (with_verdict) {
    put_word(out, "verdict", remarks.verdict);
  }
  out.end_object();
}

}  // namespace orn::fmcw_host
