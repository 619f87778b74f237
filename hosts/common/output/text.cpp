#include "common/output/text.h"

#include <array>
#include <cstddef>
#include <cstdint>

#include <fmt/format.h>

namespace orn::fmcw_host {
namespace {

std::uint32_t byte_at(std::string_view text, std::size_t i) {
  return static_cast<unsigned char>(text[i]);
}

/// Bytes of the character that begins at `text`, 0 where none does, and its code.
std::size_t character(std::string_view text, char32_t& code) {
  const std::uint32_t lead = byte_at(text, 0);
  if (lead < 0x80) {
    code = lead;
    return 1;
  }
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) {
    return 0;
  }
  code = lead & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte_at(text, i) & 0xC0U) != 0x80U) {
      return 0;
    }
    code = code << 6U | (byte_at(text, i) & 0x3FU);
  }
  constexpr std::array<char32_t, 5> smallest = {0, 0, 0x80, 0x800, 0x10000};
  const bool is_surrogate = code >= 0xD800 && code < 0xE000;
  return code < smallest[length] || is_surrogate || code > 0x10FFFF ? 0 : length;
}

bool is_obeyed(char32_t c) {
  return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x2028 || c == 0x2029 ||
         (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

}  // namespace

std::vector<char32_t> code_points(std::string_view text) {
  std::vector<char32_t> codes;
  codes.reserve(text.size());
  while (!text.empty()) {
    char32_t code = 0;
    const std::size_t length = character(text, code);
    codes.push_back(length != 0 ? code : not_utf8 + byte_at(text, 0));
    text.remove_prefix(length != 0 ? length : 1);
  }
  return codes;
}

void append_utf8(std::string& text, char32_t c) {
  const auto put = [&](char32_t byte) { text += static_cast<char>(byte); };
  if (c < 0x80) {
    put(c);
    return;
  }
  if (c < 0x800) {
    put(0xC0 | c >> 6);
  } else {
    if (c < 0x10000) {
      put(0xE0 | c >> 12);
    } else {
      put(0xF0 | c >> 18);
      put(0x80 | (c >> 12 & 0x3F));
    }
    put(0x80 | (c >> 6 & 0x3F));
  }
  put(0x80 | (c & 0x3F));
}

std::string printable(std::string_view text) {
  std::string safe;
  for (const char32_t c : code_points(text)) {
    const auto code = static_cast<std::uint32_t>(c);
    if (c >= not_utf8) {
      safe += fmt::format("\\x{:02x}", code - static_cast<std::uint32_t>(not_utf8));
    } else if (is_obeyed(c)) {
      safe += code < 0x100 ? fmt::format("\\x{:02x}", code) : fmt::format("\\u{:04x}", code);
    } else {
      append_utf8(safe, c);
    }
  }
  return safe;
}

}  // namespace orn::fmcw_host
