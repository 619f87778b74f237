#include "fmcw_program.h"

#include <string>
#include <vector>

namespace {

using testing::HasSubstr;

class FmcwHelp : public Fmcw {
 protected:
  /// The commands as the program lists them.
  std::vector<std::string> commands() const {
    std::istringstream lines(run("--help").out);
    std::vector<std::string> names;
    bool inside = false;
    for (std::string line; std::getline(lines, line);) {
      inside = line == "Commands:" || (inside && !line.empty());
      if (inside && line.size() > 2 && line[2] != ' ' && line[0] == ' ') {
        names.push_back(line.substr(2, line.find(' ', 2) - 2));
      }
    }
    EXPECT_GE(names.size(), 8U);
    return names;
  }
};

TEST_F(FmcwHelp, EveryCommandHasExamplesThatItUnderstands) {
  for (const std::string& command : commands()) {
    const auto help = run(command + " --help");
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(run("help " + command).out, help.out);
    EXPECT_THAT(help.out, HasSubstr("\nUsage: fmcw " + command + " "));
    const std::size_t begin = help.out.find("\nExamples:\n");
    ASSERT_NE(begin, std::string::npos) << command;
    std::istringstream lines(help.out.substr(begin));
    std::size_t count = 0;
    for (std::string line; std::getline(lines, line);) {
      const std::size_t call = line.find("fmcw ");
      if (!line.starts_with("  ") || line.starts_with("   ") || call == std::string::npos) {
        continue;
      }
      ++count;
      // Every option of the example is one that the command's help tells of.
      std::istringstream words(line.substr(call + 5));
      std::string called;
      words >> called;
      const std::string options = run(called + " --help").out;
      for (std::string word; words >> word && word != "|" && word != ">";) {
        if (word.starts_with("-") && word != "-") {
          EXPECT_THAT(options, testing::ContainsRegex("[ ,]" + word + "[ ,\n]")) << line;
        }
      }
    }
    EXPECT_GT(count, 0U) << command;
  }
  EXPECT_EQ(run("help").out, run("--help").out);
}

TEST_F(FmcwHelp, KeepsToTheWidth) {
  for (const auto& [columns, allowed] :
       {std::pair{"COLUMNS=60", 60U}, {"unset COLUMNS;", 80U}, {"COLUMNS=300", 100U}}) {
    for (const std::string& command : commands()) {
      const std::string help = run(command + " --help", columns).out;
      std::istringstream lines(help.substr(0, help.find("\nExamples:")));
      for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(line.size(), allowed) << line;
      }
    }
  }
}

TEST_F(FmcwHelp, WrongWordsAreToldTheNearest) {
  struct word_case_t {
    const char *arguments, *told;
  };
  for (const auto& c : {
           word_case_t{"analyse a", "no command 'analyse'; the nearest is 'analyze'; allowed are"},
           word_case_t{"-q conver", "the nearest is 'convert'"},
           word_case_t{"--quiet sinth", "the nearest is 'synth'"},
           word_case_t{"help sugest", "the nearest is 'suggest'"},
           word_case_t{"''", "no command ''"},
           word_case_t{"-", "see fmcw --help"},
           word_case_t{"info", "CAPTURE is required; see fmcw info --help"},
       }) {
    const auto outcome = run(c.arguments);
    EXPECT_EQ(outcome.status, 2) << c.arguments;
    EXPECT_THAT(outcome.err, HasSubstr(c.told));
  }
}

TEST_F(FmcwHelp, FailsWhereItCannotBeWritten) {
  std::vector<std::string> calls = {"--help", "--version", "help", "settings", "settings --json"};
  for (const std::string& command : commands()) {
    calls.push_back(command + " --help");
    calls.push_back("help " + command);
  }
  for (const std::string& call : calls) {
    EXPECT_EQ(run(call + " >/dev/full 2>told.txt #").status, 1) << call;
    EXPECT_THAT(content(path("told.txt")), HasSubstr("standard output: ")) << call;
  }
}

TEST_F(FmcwHelp, QuietLeavesOutNotesButNoErrors) {
  ASSERT_EQ(run("synth a" + small_synth).status, 0);
  for (const char* call : {"-q analyze a", "analyze a -q", "--quiet analyze a", "analyze --quiet a",
                           "analyze a --set time_gate_len=2 -q", "info a -q", "convert a b.cf32 -q",
                           "-q synth c", "-q analyze a --from 2100 --json x.json"}) {
    const auto outcome = run(call);
    EXPECT_EQ(outcome.status, 0) << call << outcome.err;
    EXPECT_EQ(outcome.err, "") << call;
  }
  EXPECT_EQ(run("convert a d.cf32 -q").out, "");
  EXPECT_EQ(run("-q analyze a").out, run("analyze a").out) << "figures are no notes";
  EXPECT_THAT(run("analyze a").err, testing::StartsWith("fmcw: chirps: "));
  EXPECT_EQ(run("analyze nowhere -q").status, 2);
  EXPECT_THAT(run("analyze nowhere -q").err, HasSubstr("nowhere"));
  EXPECT_THAT(run("analyze a -q --progress=json --csv a.csv").err, HasSubstr("\"chirps\": 4"))
      << "asked for by name";
}

}  // namespace
