#include "common/figures/chirp_json.h"

#include "common/figures/figure_table.h"

namespace orn::fmcw_host {

void write_json(json_writer_t& out, const chirp_t& chirp, std::optional<std::string_view> verdict) {
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
  if (verdict) {
    out.key("verdict");
    verdict->empty() ? out.value(nullptr) : out.value(*verdict);
  }
  out.end_object();
}

}  // namespace orn::fmcw_host
