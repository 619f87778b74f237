#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <istream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace orn::fmcw_host {

struct json_member_t;

/// A value of a JSON text. Objects keep the order of their members; whole numbers that a 64-bit
/// integer holds stay exact.
struct json_value_t {
  using array_t = std::vector<json_value_t>;
  /// A type of its own: where every alternative is a vector or a string, gcc 12's variant believes
  /// that it always holds one, and destroys what a copy that ran out of memory never made.
  struct object_t : std::vector<json_member_t> {
    using std::vector<json_member_t>::vector;
  };

  std::variant<std::nullptr_t, bool, std::int64_t, std::uint64_t, double, std::string, array_t,
               object_t>
      value;

  template <class T>
  const T* as() const {
    return std::get_if<T>(&value);
  }

  /// The member of that name; null when there is none or this is no object.
  const json_value_t* find(std::string_view name) const;

  /// The number, whole or not.
  std::optional<double> number() const;

  /// The number as a whole one from 0 up; nothing when it is none or a double does not hold it
  /// exactly.
  std::optional<std::uint64_t> whole() const;

  /// The value on one line of JSON, cut after 60 characters: for messages.
  std::string text() const;
};

struct json_member_t {
  std::string name;
  json_value_t value;
};

/// Deepest nesting that is read. Descriptions of recordings and settings need five levels.
inline constexpr std::size_t deepest_json = 64;

/// Takes one member of a JSON object, or one element of a member that is an array.
/// index  of the element; nothing when the member is no array
using json_visitor_t = std::function<void(const std::string& member,
                                          std::optional<std::size_t> index, json_value_t&& value)>;

/// Reads an object and hands over its members, arrays element by element: a document of any length
/// takes the memory of its largest element. An empty array is handed over whole.
/// open    gives the text from its start; called again to find the line of a mistake
/// source  names the text in messages
/// Throws input_error_t with line and column where the text is not JSON, no object, nested deeper
/// than `deepest_json` or names a member twice.
void read_json_object(const std::function<std::unique_ptr<std::istream>()>& open,
                      const std::string& source, const json_visitor_t& visit);

}  // namespace orn::fmcw_host
