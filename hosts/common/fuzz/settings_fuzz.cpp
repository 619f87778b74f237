// Any bytes as settings: a profile, a zero byte, then an assignment a line. What is wrong must come
// out as input_error_t; what is accepted must come through a profile, and quantities through their
// text, unchanged.
#include "common/errors.h"
#include "common/fuzz/folder.h"
#include "common/output/json_writer.h"
#include "common/settings/profile.h"
#include "common/settings/setting_table.h"
#include "common/settings/settings.h"
#include "common/settings/units.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace orn::fmcw_host;

void require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

void check_quantity(std::string_view text) {
  for (const std::string_view unit : {"", "s", "Hz", "Hz/s", "ohm", "dBm", "samples", "min"}) {
    if (const auto value = parse_quantity(text, unit)) {
      require(parse_quantity(quantity_text(*value, unit), unit) == value);
    }
  }
}

settings_t settings_of(const settings_source_t& source) {
  settings_t settings;
  settings.manager.set_fs(10e6);
  apply_settings(source, settings);
  return settings;
}

/// Whether both steer an analysis alike, as far as a profile tells.
bool are_same(const settings_t& a, const settings_t& b) {
  std::ostringstream first;
  std::ostringstream second;
  json_writer_t first_json(first);
  json_writer_t second_json(second);
  write_profile(first_json, a);
  write_profile(second_json, b);
  return first.str() == second.str();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const folder_t folder;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const std::size_t end = std::min(bytes.find('\0'), bytes.size());
  settings_source_t source;
  if (end != 0) {
    source.file = (folder.path / "profile.json").string();
    write(source.file, bytes.substr(0, end));
  }
  std::istringstream lines{std::string(bytes.substr(std::min(end + 1, bytes.size())))};
  for (std::string line; std::getline(lines, line);) {
    check_quantity(std::string_view(line).substr(line.find('=') + 1));
    source.assignments.push_back(line);
  }
  try {
    const settings_t settings = settings_of(source);
    const std::string again = (folder.path / "again.json").string();
    std::ofstream out(again);
    json_writer_t json(out);
    write_profile(json, settings);
    out.close();
    require(are_same(settings_of({again, {}}), settings));
  } catch (const input_error_t&) {
    return 0;
  }
  return 0;
}
