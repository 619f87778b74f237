#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <unistd.h>

namespace fmcw_cli {

/// Columns that text may take: those of the terminal that the descriptor is, else what $COLUMNS
/// says; nothing where neither tells.
std::optional<std::size_t> width_of(int descriptor = STDOUT_FILENO);

enum class style_t { bold, red, yellow };

/// The text in that style where standard output shows it: a terminal that is not "dumb", with
/// NO_COLOR unset or empty. Elsewhere the text as it is.
std::string styled(const std::string& text, style_t style);

/// Columns that a text takes, styles aside.
std::size_t shown_width(std::string_view text);

/// The text in lines of at most so many columns, broken at spaces; a longer word has a line of its
/// own.
std::vector<std::string> wrapped(std::string_view text, std::size_t width);

}  // namespace fmcw_cli
