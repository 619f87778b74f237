#include "option_text.h"

#include "common/capture/datatype.h"
#include "common/settings/setting_table.h"

#include <fmt/format.h>

namespace fmcw_cli {
namespace {

std::vector<std::string> split(const std::string& text, const std::string& separator) {
  std::vector<std::string> parts;
  std::size_t begin = 0;
  for (std::size_t end = 0; end != std::string::npos; begin = end + separator.size()) {
    end = text.find(separator, begin);
    parts.push_back(text.substr(begin, end - begin));
  }
  return parts;
}

/// The allowed words of a check by IsMember, which stand in the type's name: "TEXT:{up,down}".
std::vector<std::string> members(const std::string& type) {
  const std::size_t begin = type.find('{');
  const std::size_t end = type.find('}');
  return begin < end && end != std::string::npos
             ? split(type.substr(begin + 1, end - begin - 1), ",")
             : std::vector<std::string>{};
}

}  // namespace

std::string value_name(const CLI::Option& option) {
  if (option.get_type_size() == 0) {
    return "";
  }
  const std::string type = option.get_type_name();
  if (!members(type).empty()) {
    return fmt::format("{}", fmt::join(members(type), "|"));
  }
  const std::string name = type.substr(0, type.find(':'));
  return name == "UINT" || name == "INT" || name == "FLOAT" ? "NUMBER" : name;
}

std::vector<std::string> value_words(const CLI::Option& option, const CLI::App& app) {
  const std::string name = value_name(option);
  std::vector<std::string> words = members(option.get_type_name());
  if (name == format_type) {
    words = split(orn::fmcw_host::datatype_names() + ", wav", ", ");
  } else if (name == setting_type) {
    for (const auto& setting : orn::fmcw_host::setting_table()) {
      words.push_back(std::string(setting.name) + "=");
    }
  } else if (name == command_type) {
    for (const CLI::App* command : app.get_subcommands({})) {
      words.push_back(command->get_name());
    }
  }
  return words;
}

std::vector<std::string> option_names(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) {
    names.push_back("-" + name);
  }
  for (const std::string& name : option.get_lnames()) {
    names.push_back("--" + name);
  }
  return names;
}

bool takes_file(const CLI::Option& option) { return value_name(option) == file_type; }

std::string option_heading(const CLI::Option& option) {
  const std::string value = value_name(option);
  return option.get_positional()
             ? option.get_name(true)
             : option.get_name(false, true) + (value.empty() ? "" : " " + value);
}

std::string option_meaning(const CLI::Option& option) {
  const std::string& standard = option.get_default_str();
  return option.get_description() +
         (standard.empty() ? "" : fmt::format("; default: {}", standard));
}

std::vector<const CLI::Option*> options_of(const CLI::App& command) {
  return command.get_options([](const CLI::Option* option) { return option->nonpositional(); });
}

std::vector<const CLI::Option*> arguments_of(const CLI::App& command) {
  return command.get_options([](const CLI::Option* option) { return option->get_positional(); });
}

}  // namespace fmcw_cli
