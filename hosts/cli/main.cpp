#include "commands.h"
#include "common/errors.h"
#include "program.h"

#include <iostream>
#include <new>
#include <string>

namespace {

using fmcw_cli::run_failed;
using fmcw_cli::tell;
using fmcw_cli::wrong_call;

int fail(int status, const char* message) noexcept {
  tell(message);
  return status;
}

std::string command_names(const CLI::App& app) {
  std::string names;
  for (const CLI::App* command : app.get_subcommands({})) {
    names += names.empty() ? "" : ", ";
    names += command->get_name();
  }
  return names;
}

int run(int argc, char** argv) {
  CLI::App app("Analyses captured FMCW signals: finds radar chirps and measures each one.", "fmcw");
  app.set_version_flag("--version", FMCW_VERSION);
  app.require_subcommand(1);
  fmcw_cli::describe_analyze(app);
  fmcw_cli::describe_suggest(app);
  fmcw_cli::describe_compare(app);
  fmcw_cli::describe_limits(app);
  fmcw_cli::describe_info(app);
  fmcw_cli::describe_convert(app);
  fmcw_cli::describe_spectrum(app);
  fmcw_cli::describe_synth(app);
  fmcw_cli::describe_settings(app);
  const auto is_named = [&](const CLI::App* command) { return command->get_name() == argv[1]; };
  if (argc > 1 && argv[1][0] != '-' && app.get_subcommands(is_named).empty()) {
    throw orn::fmcw_host::input_error_t("there is no command '{}'; allowed are {}", argv[1],
                                        command_names(app));
  }
  int status = 0;
  try {
    app.parse(argc, argv);
  } catch (const CLI::RuntimeError& outcome) {
    status = outcome.get_exit_code();
  } catch (const CLI::ParseError& error) {
    status = error.get_exit_code() == 0
                 ? app.exit(error)
                 : fail(wrong_call, (std::string(error.what()) + "; see fmcw --help").c_str());
  }
  std::cout.flush();
  return std::cout.good() ? status : fail(run_failed, "standard output: cannot be written");
}

}  // namespace

int main(int argc, char** argv) {
  fmcw_cli::prepare_program();
  try {
    return run(argc, argv);
  } catch (const orn::fmcw_host::input_error_t& error) {
    return fail(wrong_call, error.what());
  } catch (const orn::fmcw_host::memory_error_t& error) {
    return fail(run_failed, error.what());
  } catch (const std::bad_alloc&) {
    return fail(run_failed, "out of memory");
  } catch (const std::exception& error) {
    return fail(run_failed, error.what());
  }
}
