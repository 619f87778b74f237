#include "completions.h"
#include "option_text.h"

#include <map>
#include <vector>

#include <fmt/format.h>

namespace fmcw_cli {
namespace {

// bash takes '=' for a word of its own, so "--kind=fixed" comes as three.
constexpr const char* beginning = R"(# Completion of fmcw for bash.

_fmcw_words() {
  mapfile -t COMPREPLY < <(compgen -W "$1" -- "$cur")
  if [[ ${COMPREPLY[0]-} == *= ]]; then compopt -o nospace 2>/dev/null; fi
}

_fmcw_files() {
  compopt -o filenames 2>/dev/null
  mapfile -t COMPREPLY < <(compgen -f -- "$cur")
}

_fmcw() {
  local cur=${COMP_WORDS[COMP_CWORD]} before=$((COMP_CWORD - 1)) option='' command='' word
  COMPREPLY=()
  if [[ $cur == = ]]; then
    cur=''
    option=${COMP_WORDS[before]}
  elif [[ ${COMP_WORDS[before]} == = ]]; then
    option=${COMP_WORDS[before - 1]}
    [[ $option == --* ]] || return 0
  else
    option=${COMP_WORDS[before]}
  fi
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    if [[ $word != -* ]]; then
      command=$word
      break
    fi
  done
  case $command,$option in
)";

std::string joined(const std::vector<std::string>& words) {
  return fmt::format("{}", fmt::join(words, " "));
}

/// "analyze,--fs|analyze,--from"
std::string patterns(const CLI::App& command, const CLI::Option& option) {
  std::string all;
  for (const std::string& name : option.get_lnames()) {
    all += fmt::format("{}{},--{}", all.empty() ? "" : " | ", command.get_name(), name);
  }
  return all;
}

std::string names_of(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::Option* option : options_of(command)) {
    const std::vector<std::string> more = option_names(*option);
    names.insert(names.end(), more.begin(), more.end());
  }
  return joined(names);
}

/// What completes a value.
std::string action(const CLI::Option& option, const CLI::App& app) {
  const std::vector<std::string> words = value_words(option, app);
  return takes_file(option) ? "_fmcw_files"
         : words.empty()    ? ":"
                            : fmt::format("_fmcw_words '{}'", joined(words));
}

}  // namespace

std::string bash_completion(const CLI::App& app) {
  // Options that complete alike share a line.
  std::map<std::string, std::string> values;
  std::vector<std::string> names;
  std::string by_command;
  for (const CLI::App* command : app.get_subcommands({})) {
    names.push_back(command->get_name());
    for (const CLI::Option* option : options_of(*command)) {
      if (!value_name(*option).empty()) {
        std::string& list = values[action(*option, app)];
        list += (list.empty() ? "" : " | ") + patterns(*command, *option);
      }
    }
    const auto arguments = arguments_of(*command);
    by_command += fmt::format(
        "    {})\n      if [[ $cur == -* ]]; then _fmcw_words '{}'; else {}; fi\n      ;;\n",
        command->get_name(), names_of(*command),
        arguments.empty() ? ":" : action(*arguments.front(), app));
  }
  std::string text = beginning;
  for (const auto& [complete, options] : values) {
    text += fmt::format("    {})\n      {}\n      return\n      ;;\n", options, complete);
  }
  text += "  esac\n  case $command in\n" + by_command;
  text += fmt::format("    '') _fmcw_words '{} {}' ;;\n  esac\n}}\ncomplete -F _fmcw fmcw\n",
                      joined(names), names_of(app));
  return text;
}

}  // namespace fmcw_cli
