#include "output_file.h"

#include "errors.h"

#include <iostream>
#include <system_error>

#include <unistd.h>

namespace fmcw_cli {

namespace fs = std::filesystem;

output_file_t::output_file_t(const std::string& path) : name_(path) {
  if (path == "-") {
    return;
  }
  std::error_code ignored;
  place_ = fs::exists(path, ignored) ? fs::canonical(path, ignored) : fs::path(path);
  written_ = place_;
  if (!fs::exists(place_, ignored) || fs::is_regular_file(place_, ignored)) {
    written_ += fmt::format(".part-{}", ::getpid());
  }
  file_.open(written_, std::ios::binary);
  if (!file_) {
    throw input_error(
        "{}: cannot be created ({}); expected a file name in a folder that can be "
        "written to",
        path, std::generic_category().message(errno));
  }
}

output_file_t::~output_file_t() {
  if (!written_.empty() && written_ != place_) {
    file_.close();
    std::error_code ignored;
    fs::remove(written_, ignored);
  }
}

std::ostream& output_file_t::stream() { return written_.empty() ? std::cout : file_; }

void output_file_t::commit() {
  stream().flush();
  bool complete = stream().good();
  if (file_.is_open()) {
    file_.close();
    complete = complete && !file_.fail();
  }
  if (!complete) {
    throw run_error("{}: not everything could be written (is the disk full?)", name_);
  }
  if (written_ != place_) {
    std::error_code error;
    fs::rename(written_, place_, error);
    if (error) {
      throw run_error("{}: cannot be put in place ({})", name_, error.message());
    }
    written_ = place_;
  }
}

}  // namespace fmcw_cli
