#include "progress.h"

#include <iostream>
#include <string>

#include <fmt/format.h>
#include <unistd.h>

namespace fmcw_cli {
namespace {

/// Runs shorter than this show nothing.
constexpr auto quiet_time = std::chrono::milliseconds(500);

}  // namespace

progress_t::progress_t(std::optional<std::uint64_t> total)
    : total_(total), shown_(::isatty(STDERR_FILENO) != 0), next_(start_ + quiet_time) {}

progress_t::~progress_t() {
  if (is_dirty_) {
    std::cerr << "\r\033[K" << std::flush;
  }
}

void progress_t::show(std::uint64_t done) {
  if (!shown_ || clock_t::now() < next_) {
    return;
  }
  next_ = clock_t::now() + std::chrono::milliseconds(100);
  const double seconds = std::chrono::duration<double>(clock_t::now() - start_).count();
  const auto samples = static_cast<double>(done);
  std::string line =
      fmt::format("{:.1f} MS, {:.1f} MS/s", samples * 1e-6, samples / seconds * 1e-6);
  if (total_ && *total_ != 0 && done != 0) {
    const double share = samples / static_cast<double>(*total_);
    line = fmt::format("{:.0f} %, {}, {:.0f} s left", 100.0 * share, line,
                       seconds * (1.0 - share) / share);
  }
  std::cerr << "\r\033[K" << line << std::flush;
  is_dirty_ = true;
}

}  // namespace fmcw_cli
