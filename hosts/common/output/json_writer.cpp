#include "common/output/json_writer.h"

#include "common/output/text.h"

#include <cmath>
#include <string>

#include <fmt/format.h>

namespace orn::fmcw_host {

json_writer_t& json_writer_t::begin_object() {
  separate(true);
  begin('{');
  return *this;
}

json_writer_t& json_writer_t::end_object() {
  end('}');
  return *this;
}

json_writer_t& json_writer_t::begin_array() {
  separate(false);
  begin('[');
  return *this;
}

json_writer_t& json_writer_t::end_array() {
  end(']');
  return *this;
}

json_writer_t& json_writer_t::key(std::string_view name) {
  separate(true);
  put_string(name);
  put(layout_ == indented ? ": " : ":");
  after_key_ = true;
  return *this;
}

json_writer_t& json_writer_t::value(std::nullptr_t) {
  separate(false);
  put("null");
  return *this;
}

json_writer_t& json_writer_t::value(bool flag) {
  separate(false);
  put(flag ? "true" : "false");
  return *this;
}

json_writer_t& json_writer_t::value(double number) {
  separate(false);
  put(std::isfinite(number) ? fmt::format("{}", number) : "null");
  return *this;
}

json_writer_t& json_writer_t::value(float number) {
  separate(false);
  put(std::isfinite(number) ? fmt::format("{}", number) : "null");
  return *this;
}

json_writer_t& json_writer_t::value(std::int64_t number) {
  separate(false);
  put(fmt::format("{}", number));
  return *this;
}

json_writer_t& json_writer_t::value(std::uint64_t number) {
  separate(false);
  put(fmt::format("{}", number));
  return *this;
}

json_writer_t& json_writer_t::value(std::string_view text) {
  separate(false);
  put_string(text);
  return *this;
}

json_writer_t& json_writer_t::value(const json_value_t& tree) {
  if (const auto* const array = tree.as<json_value_t::array_t>()) {
    begin_array();
    for (const json_value_t& element : *array) {
      value(element);
    }
    return end_array();
  }
  if (const auto* const members = tree.as<json_value_t::object_t>()) {
    begin_object();
    for (const json_member_t& m : *members) {
      member(m.name, m.value);
    }
    return end_object();
  }
  std::visit(
      [this](const auto& plain) {
        using plain_t = std::decay_t<decltype(plain)>;
        if constexpr (std::is_same_v<plain_t, std::string>) {
          value(std::string_view(plain));
        } else if constexpr (!std::is_same_v<plain_t, json_value_t::array_t> &&
                             !std::is_same_v<plain_t, json_value_t::object_t>) {
          value(plain);
        }
      },
      tree.value);
  return *this;
}

/// What stands between two values, and before the first.
void json_writer_t::separate(bool on_new_line) {
  if (after_key_) {
    after_key_ = false;
    return;
  }
  if (levels_.empty()) {
    return;
  }
  level_t& level = levels_.back();
  const bool spread = layout_ == indented && on_new_line;
  if (!level.is_empty) {
    put(layout_ == indented && !spread ? ", " : ",");
  }
  if (spread) {
    put("\n");
    put(std::string(2 * levels_.size(), ' '));
    level.is_spread = true;
  }
  level.is_empty = false;
}

void json_writer_t::put(std::string_view text) {
  out_.write(text.data(), static_cast<std::streamsize>(text.size()));
}

void json_writer_t::put_string(std::string_view text) {
  std::string quoted = "\"";
  for (const char32_t c : code_points(text)) {
    if (c == U'"' || c == U'\\') {
      quoted += '\\';
      quoted += static_cast<char>(c);
    } else if (c < 0x20 || (c >= 0x7F && c < 0xA0)) {
      // DEL and the second set of control characters as well: a terminal would obey them.
      quoted += fmt::format("\\u{:04x}", static_cast<std::uint32_t>(c));
    } else {
      append_utf8(quoted, c < 0x110000 ? c : U'\uFFFD');
    }
  }
  put(quoted += '"');
}

void json_writer_t::begin(char bracket) {
  put({&bracket, 1});
  levels_.push_back({bracket == '{', true, false});
}

void json_writer_t::end(char bracket) {
  const bool spread = levels_.back().is_spread;
  levels_.pop_back();
  if (spread) {
    put("\n");
    put(std::string(2 * levels_.size(), ' '));
  }
  put({&bracket, 1});
  if (levels_.empty()) {
    put("\n");
  }
}

}  // namespace orn::fmcw_host
