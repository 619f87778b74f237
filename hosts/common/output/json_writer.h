#pragma once

#include "common/capture/json_value.h"

#include <cstdint>
#include <ostream>
#include <string_view>
#include <vector>

namespace orn::fmcw_host {

/// Writes one JSON text as it comes, however long. Numbers read back as the same double or float;
/// NaN and infinities, which JSON lacks, become null; bytes that are no UTF-8 become U+FFFD.
/// The caller keeps the order: a key before each value of an object, an end for each begin.
class json_writer_t {
 public:
  enum layout_t { one_line, indented };

  /// indented  members of objects, and elements that are objects, stand on lines of their own
  explicit json_writer_t(std::ostream& out, layout_t layout = one_line)
      : out_(out), layout_(layout) {}

  json_writer_t& begin_object();
  json_writer_t& end_object();
  json_writer_t& begin_array();
  json_writer_t& end_array();
  json_writer_t& key(std::string_view name);

  json_writer_t& value(std::nullptr_t);
  json_writer_t& value(bool flag);
  json_writer_t& value(double number);
  json_writer_t& value(float number);
  json_writer_t& value(std::int64_t number);
  json_writer_t& value(std::uint64_t number);
  json_writer_t& value(std::int32_t number) { return value(std::int64_t{number}); }
  json_writer_t& value(std::uint32_t number) { return value(std::uint64_t{number}); }
  json_writer_t& value(std::string_view text);
  json_writer_t& value(const char* text) { return value(std::string_view(text)); }
  json_writer_t& value(const json_value_t& tree);

  /// One member of an object.
  template <class Value>
  json_writer_t& member(std::string_view name, const Value& content) {
    return key(name).value(content);
  }

 private:
  void separate(bool on_new_line);
  void put(std::string_view text);
  void put_string(std::string_view text);
  void begin(char bracket);
  void end(char bracket);

  struct level_t {
    bool is_object;
    bool is_empty;
    bool is_spread;  ///< its end stands on a line of its own
  };
  std::ostream& out_;
  layout_t layout_;
  std::vector<level_t> levels_;
  bool after_key_ = false;
};

}  // namespace orn::fmcw_host
