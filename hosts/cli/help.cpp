#include "help.h"

#include "common/settings/setting_table.h"
#include "errors.h"
#include "option_text.h"
#include "terminal.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <string_view>

#include <fmt/format.h>

namespace fmcw_cli {
namespace {

constexpr std::size_t usual_width = 80;
constexpr std::size_t widest = 100;  ///< that reads well
constexpr std::size_t name_width = 26;

class formatter_t : public CLI::Formatter {
 public:
  formatter_t() {
    column_width(name_width);
    label("Positionals", "Arguments");
    label("SUBCOMMAND", "COMMAND");
  }

  std::string make_description(const CLI::App* app) const override {
    return fmt::format("{}\n", fmt::join(wrapped(app->get_description(), width()), "\n"));
  }

  std::string make_option(const CLI::Option* option, bool /*is_positional*/) const override {
    return line(option_heading(*option), option_meaning(*option));
  }

  std::string make_subcommand(const CLI::App* command) const override {
    return line(command->get_name(), command->get_description());
  }

 private:
  static std::size_t width() { return std::min(width_of().value_or(usual_width), widest); }

  static std::string line(const std::string& name, const std::string& meaning) {
    std::string text = "  " + name;
    if (text.size() >= name_width) {
      text += '\n';
    } else {
      text.append(name_width - text.size(), ' ');
    }
    const auto lines = wrapped(meaning, width() - std::min(width(), name_width));
    for (const std::string& part : lines) {
      text.append(text.ends_with('\n') ? name_width : 0, ' ').append(part).append(1, '\n');
    }
    return text;
  }
};

}  // namespace

void add_examples(CLI::App& command, const std::vector<example_t>& examples) {
  std::string text = "Examples:";
  for (const example_t& example : examples) {
    text += fmt::format("\n  {}\n      {}", example.call, example.meaning);
  }
  command.footer(text);
}

void describe_format(CLI::App& app) { app.formatter(std::make_shared<formatter_t>()); }

const CLI::App& command_named(const CLI::App& app, const std::string& name) {
  std::vector<std::string_view> names;
  std::vector<std::string> all;
  for (const CLI::App* command : app.get_subcommands({})) {
    if (command->get_name() == name) {
      return *command;
    }
    all.push_back(command->get_name());
  }
  names.assign(all.begin(), all.end());
  throw input_error("there is no command '{}'; the nearest is '{}'; allowed are {}", name,
                    orn::fmcw_host::nearest_name(name, names), fmt::join(all, ", "));
}

void describe_help(CLI::App& app) {
  auto* const command = app.add_subcommand("help", "Show the help of a command, or of the program");
  const auto name = std::make_shared<std::string>();
  command->add_option("COMMAND", *name, "One of the commands; the program's help without")
      ->type_name(command_type);
  add_examples(*command, {{"fmcw help analyze", "what fmcw analyze --help shows"}});
  command->callback([&app, name] {
    const CLI::App& shown = name->empty() ? app : command_named(app, *name);
    // Without a mode, help would be that of the command that was called: this one.
    std::cout << app.get_formatter()->make_help(
        &shown, name->empty() ? app.get_name() : app.get_name() + " " + *name,
        CLI::AppFormatMode::Normal);
  });
}

}  // namespace fmcw_cli
