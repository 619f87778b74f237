#include "completions.h"
#include "option_text.h"

#include <string_view>
#include <vector>

#include <fmt/format.h>

namespace fmcw_cli {
namespace {

/// Text for a word in single quotes, with a backslash before what means something to _arguments.
std::string escaped(std::string_view text) {
  std::string safe;
  for (const char c : text) {
    if (c == '\'') {
      safe += "'\\''";
    } else if (c == '[' || c == ']' || c == ':' || c == '\\') {
      safe.append({'\\', c});
    } else {
      safe += c;
    }
  }
  return safe;
}

/// ":FILE:_files", nothing for a flag.
std::string value(const CLI::Option& option, const CLI::App& app) {
  const std::string name = option.get_positional() ? option_heading(option) : value_name(option);
  const std::vector<std::string> words = value_words(option, app);
  if (name.empty()) {
    return "";
  }
  return fmt::format(":{}:{}", escaped(name),
                     takes_file(option) ? "_files"
                     : words.empty()    ? " "
                                        : fmt::format("({})", fmt::join(words, " ")));
}

std::string specifications(const CLI::App& command, const CLI::App& app) {
  std::string text;
  for (const CLI::Option* option : options_of(command)) {
    const bool repeats = option->get_expected_max() > 1;
    const std::string takes = value(*option, app);
    for (const std::string& name : option_names(*option)) {
      text += fmt::format(" \\\n        '{}{}{}[{}]{}'", repeats ? "*" : "", name,
                          takes.empty() ? "" : "=", escaped(option->get_description()), takes);
    }
  }
  for (const CLI::Option* argument : arguments_of(command)) {
    text += fmt::format(" \\\n        '{}{}'", argument->get_required() ? "" : ":",
                        value(*argument, app));
  }
  return text;
}

}  // namespace

std::string zsh_completion(const CLI::App& app) {
  std::string list;
  std::string cases;
  for (const CLI::App* command : app.get_subcommands({})) {
    list += fmt::format("    '{}:{}'\n", command->get_name(), escaped(command->get_description()));
    cases += fmt::format("    {})\n      _arguments{}\n      ;;\n", command->get_name(),
                         specifications(*command, app));
  }
  return fmt::format(R"(#compdef fmcw
# Completion of fmcw for zsh.

_fmcw() {{
  local curcontext="$curcontext" state line
  local -a commands
  commands=(
{}  )
  _arguments -C{} \
        '1: :->command' \
        '*:: :->argument'
  case $state in
    command)
      _describe -t commands command commands
      return
      ;;
  esac
  case $words[1] in
{}  esac
}}

_fmcw "$@"
)",
                     list, specifications(app, app), cases);
}

}  // namespace fmcw_cli
