#include "manual_page.h"

#include "option_text.h"
#include "program.h"

#include <algorithm>
#include <cctype>
#include <string_view>
#include <vector>

#include <fmt/format.h>

namespace fmcw_cli {
namespace {

/// Text that roff shows as it stands. A '-' stays one that can be copied, and '.' or ''' at the
/// start of a line is no request.
std::string roff(std::string_view text) {
  std::string safe;
  for (const char c : text) {
    const bool begins_line = safe.empty() || safe.back() == '\n';
    if (begins_line && (c == '.' || c == '\'')) {
      safe += "\\&";
    }
    switch (c) {
      case '\\':
        safe += "\\e";
        break;
      case '-':
        safe += "\\-";
        break;
      case '\'':
        safe += "\\(aq";
        break;
      case '`':
        safe += "\\(ga";
        break;
      case '^':
        safe += "\\(ha";
        break;
      case '~':
        safe += "\\(ti";
        break;
      default:
        safe += c;
    }
  }
  return safe;
}

std::string capital(std::string_view text) {
  std::string name(text);
  std::transform(name.begin(), name.end(), name.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return name;
}

std::string beginning(const CLI::App& app, const std::string& name, const std::string& meaning) {
  return fmt::format(".TH {} 1 \"\" \"fmcw {}\" \"User Commands\"\n.SH NAME\n{} \\- {}\n",
                     capital(name), app.version(), roff(name), roff(meaning));
}

std::string entry(const std::string& term, const std::string& text) {
  return fmt::format(".TP\n.B {}\n{}\n", roff(term), roff(text));
}

std::string options(const std::string& title, const std::vector<const CLI::Option*>& all) {
  std::string text = all.empty() ? "" : fmt::format(".SH {}\n", title);
  for (const CLI::Option* option : all) {
    text += entry(option_heading(*option), option_meaning(*option));
  }
  return text;
}

/// Calls are indented less than what they mean.
std::string examples(const CLI::App& command) {
  std::string text = ".SH EXAMPLES\n";
  const std::string all = command.get_footer();
  std::string_view footer = all;
  footer.remove_prefix(std::min(footer.size(), footer.find('\n') + 1));
  while (!footer.empty()) {
    std::string_view line = footer.substr(0, footer.find('\n'));
    footer.remove_prefix(std::min(footer.size(), line.size() + 1));
    const std::size_t indent = std::min(line.find_first_not_of(' '), line.size());
    line.remove_prefix(indent);
    text += indent <= 2 ? fmt::format(".TP\n.B {}\n", roff(line)) : roff(line) + "\n";
  }
  return text;
}

std::string statuses() {
  std::string text = ".SH EXIT STATUS\n";
  for (const exit_status_t& status : exit_statuses) {
    text += entry(std::to_string(status.status), status.meaning);
  }
  return text;
}

}  // namespace

std::string program_page(const CLI::App& app) {
  std::string text = beginning(app, app.get_name(), "analyse captured FMCW signals");
  text += ".SH SYNOPSIS\n.B fmcw\n[\\fIOPTIONS\\fR] \\fICOMMAND\\fR ...\n";
  text += ".SH DESCRIPTION\n" + roff(app.get_description()) + '\n';
  text += ".SH COMMANDS\n";
  std::string others;
  for (const CLI::App* command : app.get_subcommands({})) {
    text += entry(command->get_name(), command->get_description());
    others +=
        fmt::format("{}.BR fmcw\\-{} (1)", others.empty() ? "" : ",\n", roff(command->get_name()));
  }
  text += options("OPTIONS", options_of(app));
  text += ".SH ENVIRONMENT\n";
  text += entry("COLUMNS", "Width of tables and help where standard output is no terminal.");
  text += entry("NO_COLOR", "Where it is not empty, nothing is shown in colour or bold.");
  text += entry("TERM", "Likewise where it is \"dumb\".");
  return text + statuses() + examples(app) + ".SH SEE ALSO\n" + others + '\n';
}

std::string command_page(const CLI::App& app, const CLI::App& command) {
  const std::string name = app.get_name() + "-" + command.get_name();
  std::string meaning = command.get_description();
  meaning.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(meaning.front())));
  std::string text = beginning(app, name, meaning);
  text += fmt::format(".SH SYNOPSIS\n.B fmcw {}\n[\\fIOPTIONS\\fR]", roff(command.get_name()));
  for (const CLI::Option* argument : arguments_of(command)) {
    const std::string shown = fmt::format("\\fI{}\\fR", roff(option_heading(*argument)));
    text += argument->get_required() ? " " + shown : " [" + shown + "]";
  }
  text +=
      "\n" + options("ARGUMENTS", arguments_of(command)) + options("OPTIONS", options_of(command));
  return text + statuses() + examples(command) + ".SH SEE ALSO\n.BR fmcw (1)\n";
}

}  // namespace fmcw_cli
