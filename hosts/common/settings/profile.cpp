#include "common/settings/profile.h"

#include "common/errors.h"

#include <fstream>

#include <nlohmann/json.hpp>

namespace orn::fmcw_host {

std::vector<std::pair<std::string, std::string>> read_profile(const std::string& path) {
  std::ifstream file(path);
  if (!file) {
    throw input_error_t("{}: cannot be read; expected a JSON file of settings", path);
  }
  const auto document = nlohmann::ordered_json::parse(file, nullptr, false);
  if (document.is_discarded() || !document.is_object()) {
    throw input_error_t("{}: is not a JSON object; expected {{\"setting\": value, ...}}", path);
  }
  const bool nested = document.contains("settings") && document["settings"].is_object();
  std::vector<std::pair<std::string, std::string>> values;
  for (const auto& [name, value] : (nested ? document["settings"] : document).items()) {
    values.emplace_back(name, value.is_string() ? value.get<std::string>() : value.dump());
  }
  return values;
}

}  // namespace orn::fmcw_host
