#pragma once

#include <ostream>
#include <string_view>

#include <fmt/format.h>

namespace orn::fmcw_host {

/// Writes rows of comma-separated values. Numbers read back as the same double or float; texts are
/// quoted where they need it.
class csv_writer_t {
 public:
  explicit csv_writer_t(std::ostream& out) : out_(out) {}

  csv_writer_t& cell(std::string_view text);
  csv_writer_t& cell(const char* text) { return cell(std::string_view(text)); }
  template <class Number>
  csv_writer_t& cell(Number number) {
    return cell(std::string_view(fmt::format("{}", number)));
  }
  csv_writer_t& end_row();

 private:
  std::ostream& out_;
  bool in_row_ = false;
};

}  // namespace orn::fmcw_host
