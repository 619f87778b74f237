#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orn::fmcw_host {

/// First code of bytes that are no UTF-8: byte b becomes not_utf8 + b, above every character.
inline constexpr char32_t not_utf8 = 0x110000;

/// The characters of a text; bytes that are no UTF-8 (overlong forms and surrogates among them)
/// each become a code from `not_utf8` up.
std::vector<char32_t> code_points(std::string_view text);

/// c  a character, below 0x110000
void append_utf8(std::string& text, char32_t c);

/// The text with what a terminal would obey or reorder (control characters, bidirectional
/// overrides) and bytes that are no UTF-8 written as escapes: "\x1b", "\u202e".
std::string printable(std::string_view text);

}  // namespace orn::fmcw_host
