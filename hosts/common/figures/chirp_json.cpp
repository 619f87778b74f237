#include "common/figures/chirp_json.h"

#include "common/figures/figure_table.h"
#include "common/figures/flags.h"

namespace orn::fmcw_host {

namespace {

void put_word(json_writer_t& out, std::string_view name, std::string_view word) {
  out.key(name);
  word.empty() ? out.value(nullptr) : out.value(word);
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
  out.member("flags", std::string_view(flag_words(chirp)));
  put_word(out, "start_datetime", remarks.datetime);
  if (with_verdict) {
    put_word(out, "verdict", remarks.verdict);
  }
  out.end_object();
}

}  // namespace orn::fmcw_host
