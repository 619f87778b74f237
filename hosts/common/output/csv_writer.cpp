#include "common/output/csv_writer.h"

namespace orn::fmcw_host {

csv_writer_t& csv_writer_t::cell(std::string_view text) {
  if (in_row_) {
    out_ << ',';
  }
  in_row_ = true;
  if (text.find_first_of(",\"\r\n") == std::string_view::npos) {
    out_ << text;
    return *this;
  }
  out_ << '"';
  for (const char c : text) {
    if (c == '"') {
      out_ << '"';
    }
    out_ << c;
  }
  out_ << '"';
  return *this;
}

csv_writer_t& csv_writer_t::end_row() {
  out_ << '\n';
  in_row_ = false;
  return *this;
}

}  // namespace orn::fmcw_host
