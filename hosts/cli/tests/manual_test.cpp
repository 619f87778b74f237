#include "fmcw_program.h"

#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const fs::path share = FMCW_SHARE;

class FmcwManual : public Fmcw {
 protected:
  /// Runs shell commands in the test's folder and returns their lines.
  std::vector<std::string> shell(const std::string& commands) const {
    write("commands.sh", commands);
    const std::string call = fmt::format("cd '{}' && bash commands.sh >lines.txt 2>&1", path("."));
    EXPECT_EQ(WEXITSTATUS(std::system(call.c_str())), 0) << content(path("lines.txt"));
    std::vector<std::string> lines;
    std::ifstream file(path("lines.txt"));
    for (std::string line; std::getline(file, line);) {
      lines.push_back(line);
    }
    return lines;
  }

  static bool has(const char* program) {
    return std::system(fmt::format("command -v {} >/dev/null", program).c_str()) == 0;
  }
};

TEST_F(FmcwManual, BashCompletesWords) {
  write("capture one.cf32", "");
  write("capture.json", "");
  const auto complete = [&](const std::string& words) {
    // As bash would split them, the last word being the one to complete.
    return shell(
        fmt::format("source '{}'\nCOMP_WORDS=({})\nCOMP_CWORD=$((${{#COMP_WORDS[@]}} - 1))\n"
                    "_fmcw\n[ ${{#COMPREPLY[@]}} -eq 0 ] || printf '%s\\n' \"${{COMPREPLY[@]}}\"\n",
                    (share / "bash-completion/completions/fmcw").string(), words));
  };
  EXPECT_THAT(complete("fmcw an"), Contains("analyze"));
  EXPECT_THAT(complete("fmcw ''"), testing::IsSupersetOf({"analyze", "info", "--version", "-q"}));
  EXPECT_THAT(complete("fmcw -q syn"), ElementsAre("synth"));
  EXPECT_THAT(complete("fmcw help con"), ElementsAre("convert"));
  EXPECT_THAT(complete("fmcw spectrum --k"), ElementsAre("--kind"));
  EXPECT_THAT(complete("fmcw spectrum --kind ''"), ElementsAre("single", "fixed", "channel-power"));
  EXPECT_THAT(complete("fmcw spectrum --kind = fi"), ElementsAre("fixed"));
  EXPECT_THAT(complete("fmcw spectrum --kind ="), ElementsAre("single", "fixed", "channel-power"));
  EXPECT_THAT(complete("fmcw info --format ci16"), ElementsAre("ci16_le", "ci16_be"));
  EXPECT_THAT(complete("fmcw analyze --set min_"), ElementsAre("min_chirp_len="));
  EXPECT_THAT(complete("fmcw analyze --set min_chirp_len = c"), IsEmpty()) << "no file is a time";
  EXPECT_THAT(complete("fmcw analyze capt"),
              testing::UnorderedElementsAre("capture.json", "capture one.cf32"));
  EXPECT_THAT(complete("fmcw analyze --csv capture."), ElementsAre("capture.json"));
  EXPECT_THAT(complete("fmcw analyze --fs c"), IsEmpty()) << "a rate is no file";
  EXPECT_THAT(complete("fmcw settings c"), IsEmpty());
  EXPECT_THAT(complete("fmcw fly -"), IsEmpty());
}

TEST_F(FmcwManual, CompletionsAreWordsOfTheirShells) {
  const std::pair<const char*, std::string> checks[] = {
      {"bash", "bash -n '" + (share / "bash-completion/completions/fmcw").string() + "'"},
      {"zsh", "zsh -n '" + (share / "zsh/vendor-completions/_fmcw").string() + "'"},
      {"fish", "fish -n '" + (share / "fish/vendor_completions.d/fmcw.fish").string() + "'"}};
  for (const auto& [program, check] : checks) {
    if (has(program)) {
      EXPECT_THAT(shell(check), IsEmpty()) << program;
    }
  }
  const std::string zsh = content(share / "zsh/vendor-completions/_fmcw");
  EXPECT_THAT(zsh, testing::StartsWith("#compdef fmcw\n"));
  EXPECT_THAT(zsh, HasSubstr("'*--set=["));
  EXPECT_THAT(zsh, HasSubstr(":line|json:(line json)'"));
  const std::string fish = content(share / "fish/vendor_completions.d/fmcw.fish");
  EXPECT_THAT(fish,
              HasSubstr("-n '__fish_seen_subcommand_from spectrum' -l kind -r -f -a 'single "));
}

TEST_F(FmcwManual, EveryHelpIsAPage) {
  std::size_t count = 0;
  for (const auto& entry : fs::directory_iterator(share / "man/man1")) {
    const std::string page = std::regex_replace(content(entry.path()), std::regex(R"(\\-)"), "-");
    const std::string command = entry.path().stem().string().substr(4);
    // The options of the help, all of them.
    std::istringstream help(run(command.substr(command.empty() ? 0 : 1) + " --help").out);
    for (std::string line; std::getline(help, line);) {
      if (line.starts_with("  -")) {
        const std::string name = line.substr(2, line.find_first_of(" ,", 2) - 2);
        EXPECT_THAT(page, testing::ContainsRegex("\n.B ([^\n]*,)?" + name + "[ ,\n]"))
            << entry.path();
      }
    }
    EXPECT_THAT(page, HasSubstr("\n.SH EXAMPLES\n.TP\n.B ")) << entry.path();
    EXPECT_THAT(page, HasSubstr("\n.SH EXIT STATUS\n"));
    if (has("groff")) {
      EXPECT_THAT(shell(fmt::format("groff -man -Tutf8 -ww -z '{}'", entry.path().string())),
                  IsEmpty());
    }
    if (has("man")) {
      EXPECT_THAT(shell(fmt::format("man --warnings -E UTF-8 -l -Tutf8 -Z '{}' 2>&1 >/dev/null",
                                    entry.path().string())),
                  IsEmpty());
    }
    ++count;
  }
  EXPECT_GE(count, 9U);
  // What roff would obey, and signs that it would turn into others, come out as they stand.
  if (has("groff")) {
    const std::string shown =
        fmt::format("groff -man -Tascii -P-c '{}' | col -b | tr -s ' \\n' ' '",
                    (share / "man/man1/fmcw-analyze.1").string());
    const std::string text = fmt::format("{}", fmt::join(shell(shown), " "));
    EXPECT_THAT(text, HasSubstr("fmcw analyze - --fs 20M --format cs16 --json - -q"));
    EXPECT_THAT(text, HasSubstr("('-': standard output)"));
    EXPECT_THAT(text, HasSubstr("{\"name\": value}"));
  }
}

}  // namespace
