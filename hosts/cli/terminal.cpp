#include "terminal.h"

#include "common/output/text.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <system_error>

#include <fmt/format.h>
#include <sys/ioctl.h>

namespace fmcw_cli {
namespace {

std::string_view variable(const char* name) {
  const char* const value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nobody sets any
  return value != nullptr ? value : "";
}

bool shows_styles() {
  static const bool shows =
      ::isatty(STDOUT_FILENO) != 0 && variable("NO_COLOR").empty() && variable("TERM") != "dumb";
  return shows;
}

/// Length of the style sequence that a text begins with, 0 where it begins with none.
std::size_t sequence_length(std::string_view text) {
  return text.starts_with("\033[") ? text.find('m') + 1 : 0;
}

}  // namespace

std::optional<std::size_t> width_of(int descriptor) {
  winsize size{};
  if (::isatty(descriptor) != 0 && ::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
    return size.ws_col;
  }
  const std::string_view columns = variable("COLUMNS");
  std::size_t width = 0;
  const auto parsed = std::from_chars(columns.data(), columns.data() + columns.size(), width);
  const bool is_whole =
      parsed.ec == std::errc() && parsed.ptr == columns.data() + columns.size() && width > 0;
  return is_whole ? std::optional(width) : std::nullopt;
}

std::string styled(const std::string& text, style_t style) {
  const int code = style == style_t::bold ? 1 : style == style_t::red ? 31 : 33;
  return shows_styles() ? fmt::format("\033[{}m{}\033[0m", code, text) : text;
}

std::size_t shown_width(std::string_view text) {
  std::size_t width = 0;
  while (!text.empty()) {
    const std::size_t skipped = sequence_length(text);
    text.remove_prefix(skipped);
    const std::string_view plain = text.substr(0, text.find('\033', skipped == 0 ? 1 : 0));
    width += orn::fmcw_host::code_points(plain).size();
    text.remove_prefix(plain.size());
  }
  return width;
}

std::vector<std::string> wrapped(std::string_view text, std::size_t width) {
  std::vector<std::string> lines(1);
  while (!text.empty()) {
    const std::string_view word = text.substr(0, text.find(' '));
    text.remove_prefix(std::min(text.size(), word.size() + 1));
    std::string& line = lines.back();
    if (line.empty()) {
      line = word;
    } else if (shown_width(line) + 1 + shown_width(word) <= width) {
      line.append(1, ' ').append(word);
    } else {
      lines.emplace_back(word);
    }
  }
  return lines;
}

}  // namespace fmcw_cli
