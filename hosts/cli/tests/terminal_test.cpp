#include "fmcw_program.h"

#include <algorithm>
#include <string>

namespace {

using testing::HasSubstr;
using testing::Not;

class FmcwTerminal : public Fmcw {
 protected:
  FmcwTerminal() { EXPECT_EQ(run("synth a" + small_synth).status, 0); }

  /// What the program shows on a terminal; its stderr comes along.
  std::string on_terminal(int columns, const std::string& arguments,
                          const std::string& variables = "TERM=xterm") const {
    const std::string program =
        fmt::format("stty cols {}; {} '{}' {}", columns, variables, FMCW_PROGRAM, arguments);
    const std::string command = fmt::format(
        "cd '{}' && script -qec \"{}\" /dev/null >shown.txt </dev/null", path("."), program);
    EXPECT_EQ(WEXITSTATUS(std::system(command.c_str())), 0);
    std::string shown = content(path("shown.txt"));
    std::erase(shown, '\r');
    return shown;
  }
};

std::size_t widest_line(const std::string& text) {
  std::size_t widest = 0;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    widest = std::max(widest, line.size());
  }
  return widest;
}

TEST_F(FmcwTerminal, TablesKeepToTheWidth) {
  const std::string plain = "TERM=dumb";
  const std::string calls[] = {"analyze a -q", "analyze a --all -q", "analyze a --truth -q"};
  for (const std::string& call : calls) {
    for (const int columns : {60, 80, 200}) {
      const std::string shown = on_terminal(columns, call + small_analysis, plain);
      const std::string table = shown.substr(0, shown.find("\nno room for"));
      EXPECT_LE(widest_line(table.substr(0, table.find("\nchirps measured"))),
                static_cast<std::size_t>(columns))
          << call << shown;
      EXPECT_THAT(shown, HasSubstr("start")) << call;
    }
  }
  const std::string narrow = on_terminal(88, calls[0] + small_analysis, plain);
  EXPECT_THAT(narrow,
              HasSubstr("\nno room for: RMS freq. dev., peak non-lin., sweep; --all shows"));
  EXPECT_THAT(narrow, HasSubstr("avg. power [dBm]")) << "more important than what stands before";
  EXPECT_THAT(on_terminal(200, calls[0] + small_analysis, plain), Not(HasSubstr("no room")));
  for (const int columns : {70, 140, 300}) {
    const std::string shown = on_terminal(columns, "settings", plain);
    EXPECT_LE(widest_line(shown), static_cast<std::size_t>(columns)) << shown;
    EXPECT_THAT(shown, HasSubstr("min_chirp_len"));
  }

  // No terminal: all columns, unless somebody says how many there are.
  EXPECT_THAT(run(calls[0] + small_analysis, "unset COLUMNS;").out, Not(HasSubstr("no room")));
  EXPECT_THAT(run(calls[0] + small_analysis, "COLUMNS=60").out, HasSubstr("no room"));
  for (const char* columns : {"COLUMNS=0", "COLUMNS=-5", "COLUMNS=80x", "COLUMNS="}) {
    EXPECT_THAT(run(calls[0] + small_analysis, columns).out, Not(HasSubstr("no room"))) << columns;
  }
  const std::string tiny = run(calls[0] + small_analysis, "COLUMNS=1").out;
  EXPECT_THAT(tiny, testing::StartsWith("#  start [us]  flags\n")) << "what stays in any case";
}

TEST_F(FmcwTerminal, EveryFigureIsALineWithEachChirpOnce) {
  for (const char* columns : {"COLUMNS=40", "COLUMNS=75", "COLUMNS=500"}) {
    std::istringstream lines(run("analyze a --all -q" + small_analysis, columns).out);
    std::string numbers;
    std::size_t slopes = 0;
    for (std::string line; std::getline(lines, line);) {
      std::istringstream words(line);
      std::string name, unit;
      words >> name;
      if (name == "#") {
        for (std::string number; words >> number;) {
          numbers += number;
        }
      } else if (name == "slope") {
        words >> unit;
        EXPECT_EQ(unit, "kHz/us");
        for (double slope = 0.0; words >> slope; ++slopes) {
          EXPECT_NEAR(slope, 10.0, 1e-3);
        }
      }
    }
    EXPECT_EQ(numbers, "1234") << columns;
    EXPECT_EQ(slopes, 4U) << columns;
  }
}

TEST_F(FmcwTerminal, ColourIsForTerminalsThatShowIt) {
  const std::string call = "analyze a -q" + small_analysis;
  EXPECT_THAT(on_terminal(200, call), HasSubstr("\033[1m#  start [us]"));
  EXPECT_THAT(on_terminal(200, call, "TERM=xterm NO_COLOR="), HasSubstr("\033[1m"));
  for (const char* variables : {"TERM=xterm NO_COLOR=1", "TERM=dumb"}) {
    EXPECT_THAT(on_terminal(200, call, variables), Not(HasSubstr("\033"))) << variables;
  }
  EXPECT_THAT(run(call).out, Not(HasSubstr("\033")));
}

TEST_F(Fmcw, TheDemoShowsWhatReadmeSays) {
  const std::string script = content(fs::path(FMCW_PROJECT) / "dev");
  const std::string beginning = "\"$fmcw\" synth \"$capture\"";
  const std::size_t begin = script.find(beginning);
  ASSERT_NE(begin, std::string::npos);
  std::string call = script.substr(begin + beginning.size());
  call.erase(call.find("\n  say"));
  std::replace_if(
      call.begin(), call.end(), [](char c) { return c == '\\' || c == '\n'; }, ' ');
  ASSERT_EQ(run("synth capture" + call).status, 0);
  const std::string shown = run("analyze capture", "unset COLUMNS;").out;
  const std::string table = shown.substr(0, shown.find("\n\n") + 1);
  EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 5) << table;
  EXPECT_THAT(content(fs::path(FMCW_PROJECT) / "README.md"),
              HasSubstr("```text\n" + table + "```"));
}

TEST_F(Fmcw, UnitsSuitTheValues) {
  struct unit_case_t {
    std::string synth;
    std::vector<std::string> headings;
  };
  for (const auto& c : {
           unit_case_t{" --fs 48e3 --ramp 0.3 --flyback 20e-3 --bandwidth 14e3",
                       {"start [ms]", "length [ms]", "slope [Hz/s]", "bandwidth [kHz]"}},
           unit_case_t{" --fs 1e6 --ramp 1e-3 --flyback 100e-6 --bandwidth 122e3",
                       {"start [ms]", "slope [Hz/us]", "bandwidth [kHz]"}},
           unit_case_t{" --fs 4e9 --ramp 2e-6 --flyback 0.4e-6 --bandwidth 1.5e9",
                       {"start [us]", "length [us]", "slope [MHz/us]", "bandwidth [GHz]"}},
       }) {
    ASSERT_EQ(run("synth a --force --chirps 4" + c.synth).status, 0);
    const auto outcome = run("analyze a");
    for (const std::string& heading : c.headings) {
      EXPECT_THAT(outcome.out, HasSubstr(heading)) << c.synth << outcome.err;
    }
  }
}

}  // namespace
