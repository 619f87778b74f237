#include "completions.h"
#include "option_text.h"

#include <string_view>
#include <vector>

#include <fmt/format.h>

namespace fmcw_cli {
namespace {

/// Text for a word in single quotes.
std::string escaped(std::string_view text) {
  std::string safe;
  for (const char c : text) {
    safe += c == '\'' || c == '\\' ? std::string{'\\', c} : std::string(1, c);
  }
  return safe;
}

/// How the value of an option or an argument is completed; nothing for a flag.
std::string value(const CLI::Option& option, const CLI::App& app) {
  const std::vector<std::string> words = value_words(option, app);
  if (value_name(option).empty()) {
    return "";
  }
  const std::string requires_value = option.get_positional() ? "" : " -r";
  return takes_file(option) ? requires_value + " -F"
         : words.empty()    ? requires_value + " -f"
                            : fmt::format("{} -f -a '{}'", requires_value, fmt::join(words, " "));
}

std::string line(const std::string& condition, const CLI::Option& option, const CLI::App& app) {
  std::string text = "complete -c fmcw" + condition;
  for (const std::string& name : option.get_snames()) {
    text += " -s " + name;
  }
  for (const std::string& name : option.get_lnames()) {
    text += " -l " + name;
  }
  text += value(option, app);
  return text + fmt::format(" -d '{}'\n", escaped(option.get_description()));
}

}  // namespace

std::string fish_completion(const CLI::App& app) {
  const std::string no_command = " -n __fish_use_subcommand";
  std::string text = "# Completion of fmcw for fish.\n\ncomplete -c fmcw -f\n";
  for (const CLI::Option* option : options_of(app)) {
    text += line(no_command, *option, app);
  }
  for (const CLI::App* command : app.get_subcommands({})) {
    text += fmt::format("complete -c fmcw{} -a {} -d '{}'\n", no_command, command->get_name(),
                        escaped(command->get_description()));
    const std::string condition =
        fmt::format(" -n '__fish_seen_subcommand_from {}'", command->get_name());
    for (const CLI::Option* option : options_of(*command)) {
      text += line(condition, *option, app);
    }
    const auto arguments = arguments_of(*command);
    if (!arguments.empty()) {
      text += fmt::format("complete -c fmcw{}{}\n", condition, value(*arguments.front(), app));
    }
  }
  return text;
}

}  // namespace fmcw_cli
