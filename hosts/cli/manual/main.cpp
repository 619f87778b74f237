// Writes the manual pages and the shells' completions of fmcw from the texts of its help.
#include "commands.h"
#include "completions.h"
#include "manual_page.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>

namespace {

namespace fs = std::filesystem;

void write(const fs::path& path, const std::string& text) {
  fs::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary);
  file << text << std::flush;
  if (!file) {
    throw std::runtime_error(path.string() + ": cannot be written");
  }
}

void write_all(const fs::path& share) {
  CLI::App app;
  fmcw_cli::describe_program(app);
  const fs::path pages = share / "man" / "man1";
  write(pages / "fmcw.1", fmcw_cli::program_page(app));
  for (const CLI::App* command : app.get_subcommands({})) {
    write(pages / ("fmcw-" + command->get_name() + ".1"), fmcw_cli::command_page(app, *command));
  }
  write(share / "bash-completion/completions/fmcw", fmcw_cli::bash_completion(app));
  write(share / "zsh/vendor-completions/_fmcw", fmcw_cli::zsh_completion(app));
  write(share / "fish/vendor_completions.d/fmcw.fish", fmcw_cli::fish_completion(app));
}

}  // namespace

int main(int argc, char** argv) {
  try {
    if (argc != 2) {
      throw std::runtime_error("usage: fmcw_manual FOLDER");
    }
    write_all(argv[1]);
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
