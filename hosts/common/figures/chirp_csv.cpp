#include "common/figures/chirp_csv.h"

#include "common/figures/figure_table.h"

#include <fmt/format.h>

namespace orn::fmcw_host {
namespace {

std::string quoted(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) {
    return text;
  }
  std::string result = "\"";
  for (const char c : text) {
    result += c;
    if (c == '"') {
      result += c;
    }
  }
  return result + "\"";
}

}  // namespace

chirp_csv_t::chirp_csv_t(std::ostream& out, const std::string& capture, bool with_rf)
    : out_(out), capture_(quoted(capture)), with_rf_(with_rf) {
  out_ << "capture,chirp,direction,first_sample,last_sample,selected";
  for (const figure_t& figure : figure_table()) {
    if (with_rf_ || !needs_centre(figure)) {
      out_ << ',' << figure.column;
    }
  }
  out_ << ",flags\n";
}

void chirp_csv_t::add(const chirp_t& chirp) {
  fmt::memory_buffer line;
  fmt::format_to(fmt::appender(line), "{},{},{},{},{},{}", capture_, chirp.number,
                 direction_of(chirp), chirp.first_sample, chirp.last_sample,
                 chirp.selected ? 1 : 0);
  for (const figure_t& figure : figure_table()) {
    if (with_rf_ || !needs_centre(figure)) {
      const bool known = chirp.centre || !needs_centre(figure);
      fmt::format_to(fmt::appender(line), ",{}",
                     known ? fmt::format("{}", figure.get(chirp)) : std::string());
    }
  }
  fmt::format_to(fmt::appender(line), ",{}\n", flag_words(chirp));
  out_.write(line.data(), static_cast<std::streamsize>(line.size()));
}

}  // namespace orn::fmcw_host
