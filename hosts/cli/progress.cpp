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

progress_t::progress_t(std::optional<std::uint64_t> total, style_t style)
    : total_(total),
      style_(style),
      shown_(style == json || ::isatty(STDERR_FILENO) != 0),
      next_(start_ + (style == json ? std::chrono::milliseconds(0) : quiet_time)) {}

progress_t::~progress_t() {
  if (is_dirty_) {
    std::cerr << "\r\033[K" << std::flush;
  }
}

void progress_t::show(std::uint64_t done) {
  done_ = done;
  if (!shown_ || clock_t::now() < next_) {
    return;
  }
  next_ = clock_t::now() + std::chrono::milliseconds(100);
  put(std::chrono::duration<double>(clock_t::now() - start_).count());
}

void progress_t::finish() {
  if (style_ == json) {
    put(std::chrono::duration<double>(clock_t::now() - start_).count());
  } else if (is_dirty_) {
    std::cerr << "\r\033[K" << std::flush;
    is_dirty_ = false;
  }
}

void progress_t::put(double seconds) {
  const auto samples = static_cast<double>(done_);
  const double rate = samples / seconds;
  const auto total = static_cast<double>(total_.value_or(0));
  const bool is_foreseen = total_ && done_ != 0;
  const double left = is_foreseen ? (total - samples) / rate : 0.0;
  if (style_ == json) {
    std::cerr << fmt::format(
                     R"({{"done": {}, "total": {}, "samples_per_s": {:.6g}, "seconds_left": {}}})",
                     done_, total_ ? std::to_string(*total_) : "null", rate,
                     is_foreseen ? fmt::format("{:.3g}", left) : "null")
              << std::endl;
    return;
  }
  std::string text = fmt::format("{:.1f} MS, {:.1f} MS/s", samples * 1e-6, rate * 1e-6);
  if (is_foreseen && total > 0.0) {
    text = fmt::format("{:.0f} %, {}, {:.0f} s left", 100.0 * samples / total, text, left);
  }
  std::cerr << "\r\033[K" << text << std::flush;
  is_dirty_ = true;
}

}  // namespace fmcw_cli
