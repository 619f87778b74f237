#include "commands.h"
#include "common/errors.h"
#include "help.h"
#include "program.h"

#include <algorithm>
#include <iostream>
#include <new>
#include <string>
#include <vector>

#include <fmt/format.h>

namespace {

using fmcw_cli::run_failed;
using fmcw_cli::tell;
using fmcw_cli::wrong_call;

int fail(int status, const char* message) noexcept {
  tell(message);
  return status;
}

/// What to say of a wrong call, with where to look.
std::string call_error(const CLI::App& app, const CLI::ParseError& error) {
  const auto called = app.get_subcommands();
  return fmt::format("{}; see fmcw {}--help", error.what(),
                     called.empty() ? "" : called.front()->get_name() + " ");
}

int run(int argc, char** argv) {
  CLI::App app;
  fmcw_cli::describe_program(app);
  int status = 0;
  try {
    fmcw_cli::parse_program(app, argc, argv);
  } catch (const CLI::RuntimeError& outcome) {
    status = outcome.get_exit_code();
  } catch (const CLI::ParseError& error) {
    status = error.get_exit_code() == 0 ? app.exit(error)
                                        : fail(wrong_call, call_error(app, error).c_str());
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
