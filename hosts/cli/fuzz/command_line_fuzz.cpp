// Any words, a line each, as the program's command line, up to where a command would run. What is
// wrong must come out as input_error_t or as the parser's own error.
#include "commands.h"
#include "common/errors.h"

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::istringstream lines(std::string(reinterpret_cast<const char*>(data), size));
  std::vector<std::string> words = {"fmcw"};
  for (std::string line; std::getline(lines, line);) {
    words.push_back(line.substr(0, line.find('\0')));
  }
  std::vector<char*> arguments;
  for (std::string& word : words) {
    arguments.push_back(word.data());
  }
  CLI::App app;
  fmcw_cli::describe_program(app);
  for (CLI::App* const command : app.get_subcommands({})) {
    // Called before the command's own callback, which owns what the options write to.
    command->parse_complete_callback([] { throw CLI::Success(); });
  }
  try {
    fmcw_cli::parse_program(app, static_cast<int>(arguments.size()), arguments.data());
  } catch (const orn::fmcw_host::input_error_t&) {
    return 0;
  } catch (const CLI::ParseError&) {
    return 0;
  }
  return 0;
}
