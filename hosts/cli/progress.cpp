#include "progress.h"

#include "program.h"
#include "terminal.h"

#include <cmath>
#include <iostream>

#include <fmt/format.h>
#include <unistd.h>

namespace fmcw_cli {
namespace {

/// Runs shorter than this show nothing.
constexpr auto quiet_time = std::chrono::milliseconds(500);

std::string left_text(double seconds) {
  if (seconds < 60.0) {
    return fmt::format("{:.0f} s left", std::ceil(seconds));
  }
  const double minutes = std::ceil(seconds / 60.0);
  return minutes < 60.0 ? fmt::format("{:.0f} min left", minutes)
                        : fmt::format("{:.0f} h {:.0f} min left", std::floor(minutes / 60.0),
                                      std::fmod(minutes, 60.0));
}

}  // namespace

progress_t::progress_t(std::string_view work, std::optional<std::uint64_t> total, style_t style)
    : work_(work),
      total_(total),
      style_(style),
      shown_(style == json || (::isatty(STDERR_FILENO) != 0 && !is_quiet())),
      next_(start_ + (style == json ? std::chrono::milliseconds(0) : quiet_time)) {}

progress_t::~progress_t() {
  if (is_dirty_) {
    std::cerr << "\r\033[K" << std::flush;
  }
}

void progress_t::show(std::uint64_t done, std::optional<std::uint64_t> chirps) {
  done_ = done;
  chirps_ = chirps;
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

std::string progress_t::text(double rate, std::optional<double> left) const {
  const auto millions = [](std::uint64_t samples) { return static_cast<double>(samples) * 1e-6; };
  std::string text = fmt::format("{:.1f}", millions(done_));
  if (total_) {
    text += fmt::format(" of {:.1f}", millions(*total_));
  }
  text += fmt::format(" million samples {}", work_);
  if (chirps_) {
    text += fmt::format(", {} {} found", *chirps_, *chirps_ == 1 ? "chirp" : "chirps");
  }
  text += left ? ", " + left_text(*left) : fmt::format(", {:.1f} million a second", rate * 1e-6);
  return text.substr(0, width_of(STDERR_FILENO).value_or(text.size() + 1) - 1);
}

void progress_t::put(double seconds) {
  const auto samples = static_cast<double>(done_);
  const double rate = samples / seconds;
  std::optional<double> left;
  if (total_ && done_ != 0) {
    left = (static_cast<double>(*total_) - samples) / rate;
  }
  if (style_ == json) {
    std::cerr << fmt::format(R"({{"done": {}, "total": {}, "chirps": {}, "samples_per_s": {:.6g}, )"
                             R"("seconds_left": {}}})",
                             done_, total_ ? std::to_string(*total_) : "null",
                             chirps_ ? std::to_string(*chirps_) : "null", rate,
                             left ? fmt::format("{:.3g}", *left) : "null")
              << std::endl;
    return;
  }
  std::cerr << "\r\033[K" << text(rate, left) << std::flush;
  is_dirty_ = true;
}

}  // namespace fmcw_cli
