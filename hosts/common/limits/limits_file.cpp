#include "common/limits/limits_file.h"

#include "common/capture/input_file.h"
#include "common/capture/json_value.h"
#include "common/errors.h"
#include "common/settings/setting_table.h"
#include "common/settings/units.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <utility>

namespace orn::fmcw_host {
namespace {

constexpr std::string_view schema_name = "fmcw-limits";
constexpr std::uint64_t schema_version = 1;

/// Fewer chirps tell nothing of a spread.
constexpr std::uint64_t fewest_chirps = 3;

struct member_t {
  std::string_view name;
  std::string limit_parts_t::*part;
  bool is_value;  ///< a number will do
};

constexpr std::array members = {
    member_t{"figure", &limit_parts_t::figure, false},
    member_t{"statistic", &limit_parts_t::statistic, false},
    member_t{"direction", &limit_parts_t::direction, false},
    member_t{"min", &limit_parts_t::min, true},
    member_t{"max", &limit_parts_t::max, true},
    member_t{"nominal", &limit_parts_t::nominal, true},
    member_t{"tolerance", &limit_parts_t::tolerance, true},
};

std::string number_text(const json_value_t& value) {
  if (const auto* const real = value.as<double>()) {
    return fmt::format("{}", *real);
  }
  return value.text();
}

void read_member(const json_member_t& member, limit_parts_t& parts) {
  const auto* const known =
      std::find_if(members.begin(), members.end(),
                   [&](const member_t& candidate) { return candidate.name == member.name; });
  if (known == members.end()) {
    std::vector<std::string_view> names;
    std::transform(members.begin(), members.end(), std::back_inserter(names),
                   [](const member_t& candidate) { return candidate.name; });
    throw input_error_t("there is no member '{}'; the nearest is {}, allowed are {}", member.name,
                        nearest_name(member.name, names), fmt::join(names, ", "));
  }
  const auto* const text = member.value.as<std::string>();
  const bool is_number = known->is_value && member.value.number().has_value();
  if ((text == nullptr || text->empty()) && !is_number) {
    throw input_error_t("{} is {}; allowed is {}", member.name, member.value.text(),
                        known->is_value ? "a number, or a text with a unit" : "a text");
  }
  parts.*known->part = text != nullptr ? *text : number_text(member.value);
}

limit_t limit_of(const json_value_t& entry) {
  const auto* const object = entry.as<json_value_t::object_t>();
  if (object == nullptr) {
    throw input_error_t("is {}; expected an object", entry.text());
  }
  limit_parts_t parts;
  for (const json_member_t& member : *object) {
    read_member(member, parts);
  }
  return make_limit(parts);
}

void check_schema(const json_value_t& schema, const std::string& path) {
  const auto* const name = schema.find("name");
  const auto* const version = schema.find("version");
  const auto* const name_text = name != nullptr ? name->as<std::string>() : nullptr;
  if (name_text == nullptr || *name_text != schema_name || version == nullptr ||
      version->whole() != schema_version) {
    throw input_error_t(R"({}: schema is {}; allowed is {{"name": "{}", "version": {}}})", path,
                        schema.text(), schema_name, schema_version);
  }
}

void write_limit(json_writer_t& out, direction_t direction, const figure_t& figure,
                 const statistics_t& values, double spread, double rate) {
  const double resolution = figure.unit == "s" ? 1.5 / rate : 1e-6 * std::abs(values.mean);
  out.begin_object()
      .member("figure", figure.column)
      .member("direction", name_of(direction))
      .member("nominal", rounded(values.mean, 9))
      .member("tolerance", rounded(std::max(spread * values.standard_deviation, resolution), 4))
      .end_object();
}

void check_count(const chirp_statistics_t& statistics, const std::string& source) {
  for (const direction_t direction : directions) {
    const std::uint64_t count = statistics.count(direction);
    if ((count != 0 && count < fewest_chirps) || statistics.count() == 0) {
      throw input_error_t("{}: has {} chirps that go {}; allowed are {} or more to tell a spread",
                          source, count, name_of(direction), fewest_chirps);
    }
  }
}

}  // namespace

std::vector<limit_t> read_limits(const std::string& path) {
  const input_file_t file(path, "a JSON file of limits");
  std::vector<limit_t> limits;
  bool has_schema = false;
  read_json_object(
      [&] { return file.stream(0, file.size()); }, path,
      [&](const std::string& name, std::optional<std::size_t> index, json_value_t&& value) {
        if (name == "limits" && index) {
          try {
            limits.push_back(limit_of(value));
          } catch (const input_error_t& error) {
            throw input_error_t("{}: limits[{}]: {}", path, *index, error.what());
          }
        } else if (name == "schema" && !index) {
          check_schema(value, path);
          has_schema = true;
        } else if (name != "source" && name != "limits") {
          throw input_error_t("{}: there is no member '{}'; allowed are schema, source, limits",
                              path, name);
        }
      });
  if (!has_schema) {
    throw input_error_t(R"({}: has no schema; allowed is {{"name": "{}", "version": {}}})", path,
                        schema_name, schema_version);
  }
  if (limits.empty()) {
    throw input_error_t("{}: holds no limit; expected \"limits\", an array of at least one object",
                        path);
  }
  return limits;
}

void write_limits(json_writer_t& out, const chirp_statistics_t& statistics, double spread,
                  const std::string& source, double rate) {
  check_count(statistics, source);
  out.begin_object().key("schema").begin_object();
  out.member("name", schema_name).member("version", schema_version).end_object();
  out.member("source", std::string_view(source)).key("limits").begin_array();
  for (const direction_t direction : directions) {
    for (const figure_t& figure : figure_table()) {
      const statistics_t values = statistics.of(direction, figure);
      if (figure.chief && !is_place(figure) && values.count >= fewest_chirps) {
        write_limit(out, direction, figure, values, spread, rate);
      }
    }
  }
  out.end_array().end_object();
}

}  // namespace orn::fmcw_host
