#include "common/spans/span_reader.h"

#include <algorithm>
#include <span>

namespace orn::fmcw_host {

span_reader_t::span_reader_t(const layout_t& layout, sample_source_t& source)
    : layout_(layout), source_(source), own_begin_(layout.begin) {}

/// Reads on until the next span, and half of the one after it, are there.
void span_reader_t::fill() {
  const std::uint64_t wanted_end = own_begin_ + layout_.own + layout_.own / 2 + layout_.tail;
  while (!at_end_ && ahead_first_ + ahead_.size() < wanted_end) {
    const std::size_t held = ahead_.size();
    const std::uint64_t missing = wanted_end - ahead_first_ - held;
    // In pieces, so that samples before the analysed part are not held.
    const auto piece = static_cast<std::size_t>(std::min(missing, layout_.longest()));
    ahead_.resize(held + piece);
    const std::size_t got = source_.read(std::span(ahead_).subspan(held));
    ahead_.resize(held + got);
    at_end_ = got < piece;
    if (own_begin_ > layout_.lead) {
      drop(own_begin_ - layout_.lead);
    }
  }
}

/// Forgets samples before `position`.
void span_reader_t::drop(std::uint64_t position) {
  if (position > ahead_first_) {
    const auto count = std::min<std::uint64_t>(position - ahead_first_, ahead_.size());
    ahead_.erase(ahead_.begin(), ahead_.begin() + static_cast<std::ptrdiff_t>(count));
    ahead_first_ += count;
  }
}

bool span_reader_t::next(span_t& span) {
  if (finished_) {
    return false;
  }
  fill();
  const std::uint64_t read_end = ahead_first_ + ahead_.size();
  if (read_end <= own_begin_) {
    finished_ = true;
    return false;
  }
  const std::uint64_t end = layout_.end ? std::min(*layout_.end, read_end) : read_end;
  span.index = index_++;
  span.own_begin = own_begin_;
  // In frames the remainder is frames of its own; in spans a short one would hold few chirps.
  const std::uint64_t least_rest = layout_.frame_length > 0 ? 1 : layout_.own / 2;
  span.is_last = (at_end_ || layout_.end) && end < own_begin_ + layout_.own + least_rest;
  span.own_end = span.is_last ? std::max(end, own_begin_) : own_begin_ + layout_.own;
  span.first = ahead_first_;
  const std::uint64_t seen_end = std::min(span.own_end + layout_.tail, read_end);
  own_begin_ = span.own_end;
  // The span gets what was read and leaves its memory for what the next one sees again.
  span.samples.swap(ahead_);
  const std::uint64_t kept =
      std::clamp(own_begin_ - std::min(own_begin_, layout_.lead), ahead_first_, read_end);
  ahead_.assign(span.samples.begin() + static_cast<std::ptrdiff_t>(kept - ahead_first_),
                span.samples.end());
  span.samples.resize(static_cast<std::size_t>(seen_end - ahead_first_));
  ahead_first_ = kept;
  finished_ = span.is_last;
  return true;
}

}  // namespace orn::fmcw_host
