#include "common/capture/json_value.h"

#include "common/errors.h"
#include "common/output/json_writer.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <sstream>
#include <utility>

#include <nlohmann/json.hpp>

namespace orn::fmcw_host {
namespace {

using json_t = nlohmann::json;

/// Line and column, from 1, of a byte of a text.
std::pair<std::size_t, std::size_t> place_of(std::istream& text, std::size_t byte) {
  std::size_t line = 1;
  std::size_t column = 1;
  for (std::size_t i = 1; i < byte; ++i) {
    const int c = text.rdbuf()->sbumpc();
    line += c == '\n' ? 1 : 0;
    column = c == '\n' ? 1 : column + 1;
  }
  return {line, column};
}

/// What a parser found wrong, before its place is known.
struct mistake_t {
  std::size_t byte = 0;
  std::string text;
};

/// Builds values from the parser's events. The members of the root, and the elements of those that
/// are arrays, leave as soon as they are complete.
class builder_t {
 public:
  explicit builder_t(const json_visitor_t& visit) : visit_(visit) {}

  // The names and signatures that the parser calls.
  bool null() { return add({nullptr}); }
  bool boolean(bool value) { return add({value}); }
  bool number_integer(std::int64_t value) { return add({value}); }
  bool number_unsigned(std::uint64_t value) { return add({value}); }
  bool number_float(double value, const std::string& /*text*/) { return add({value}); }
  bool string(std::string& text) { return add({std::move(text)}); }
  bool binary(json_t::binary_t& /*bytes*/) { return false; }
  bool key(std::string& name) {
    name_stack_.back() = name;
    return names_.back().insert(std::move(name)).second ||
           wrong("member '" + name_stack_.back() + "' stands twice; allowed is once");
  }
  bool start_object(std::size_t /*size*/) { return start({json_value_t::object_t()}); }
  bool start_array(std::size_t /*size*/) {
    return open_.empty() ? wrong("this is no object; expected a JSON object")
                         : start({json_value_t::array_t()});
  }
  bool end_object() { return end(); }
  bool end_array() { return end(); }
  bool parse_error(std::size_t byte, const std::string& /*token*/, const json_t::exception& error) {
    mistake.byte = byte;
    mistake.text = error.id == 406 ? "a number is beyond what a double holds"
                                   : "this is not JSON; expected a JSON object";
    return false;
  }

  mistake_t mistake;

 private:
  bool wrong(std::string text) {
    mistake.text = std::move(text);
    return false;
  }

  bool start(json_value_t value) {
    if (open_.size() == deepest_json) {
      return wrong(fmt::format("nested too deep; allowed are {} levels", deepest_json));
    }
    open_.push_back(std::move(value));
    name_stack_.emplace_back();
    names_.emplace_back();
    return true;
  }

  bool end() {
    json_value_t value = std::move(open_.back());
    open_.pop_back();
    name_stack_.pop_back();
    names_.pop_back();
    return open_.empty() || add(std::move(value));
  }

  bool add(json_value_t value) {
    if (open_.empty()) {
      return wrong("this is no object; expected a JSON object");
    }
    if (open_.size() == 1) {
      // An array whose elements were handed over comes back empty.
      if (index_ == 0) {
        visit_(name_stack_.front(), std::nullopt, std::move(value));
      }
      index_ = 0;
      return true;
    }
    if (auto* const array = std::get_if<json_value_t::array_t>(&open_.back().value)) {
      if (open_.size() == 2) {
        visit_(name_stack_.front(), index_++, std::move(value));
      } else {
        array->push_back(std::move(value));
      }
      return true;
    }
    std::get<json_value_t::object_t>(open_.back().value)
        .push_back({name_stack_.back(), std::move(value)});
    return true;
  }

  const json_visitor_t& visit_;
  std::vector<json_value_t> open_;            ///< what has begun and not ended, the root first
  std::vector<std::string> name_stack_;       ///< last member name of each of them
  std::vector<std::set<std::string>> names_;  ///< all member names of each of them
  std::size_t index_ = 0;                     ///< of the next element of a root's array
};

}  // namespace

const json_value_t* json_value_t::find(std::string_view name) const {
  if (const auto* const members = as<object_t>()) {
    const auto found = std::find_if(members->begin(), members->end(),
                                    [&](const json_member_t& m) { return m.name == name; });
    return found == members->end() ? nullptr : &found->value;
  }
  return nullptr;
}

std::optional<double> json_value_t::number() const {
  if (const auto* const real = as<double>()) {
    return *real;
  }
  if (const auto* const whole = as<std::uint64_t>()) {
    return static_cast<double>(*whole);
  }
  if (const auto* const whole = as<std::int64_t>()) {
    return static_cast<double>(*whole);
  }
  return std::nullopt;
}

std::optional<std::uint64_t> json_value_t::whole() const {
  if (const auto* const whole = as<std::uint64_t>()) {
    return *whole;
  }
  const auto* const real = as<double>();
  if (real != nullptr && *real >= 0.0 && *real <= 0x1p53 && *real == std::floor(*real)) {
    return static_cast<std::uint64_t>(*real);
  }
  return std::nullopt;
}

std::string json_value_t::text() const {
  constexpr std::size_t longest = 60;
  std::ostringstream out;
  json_writer_t(out).value(*this);
  std::string line = out.str();
  line.erase(line.find_last_not_of('\n') + 1);
  return line.size() <= longest ? line : line.substr(0, longest) + "...";
}

void read_json_object(const std::function<std::unique_ptr<std::istream>()>& open,
                      const std::string& source, const json_visitor_t& visit) {
  builder_t builder(visit);
  const auto text = open();
  if (json_t::sax_parse(*text, &builder)) {
    return;
  }
  // The parser counts bytes only for its own mistakes; for ours, the stream tells.
  const auto byte = builder.mistake.byte != 0
                        ? builder.mistake.byte
                        : static_cast<std::size_t>(text->rdbuf()->pubseekoff(0, std::ios::cur));
  const auto [line, column] = place_of(*open(), byte);
  throw input_error_t("{}: line {}, column {}: {}", source, line, column, builder.mistake.text);
}

}  // namespace orn::fmcw_host
