#include "common/spans/chirp_joiner.h"

#include <limits>
#include <utility>

namespace orn::fmcw_host {
namespace {

constexpr double unknown = std::numeric_limits<double>::quiet_NaN();

}  // namespace

chirp_joiner_t::chirp_joiner_t(const settings_t& settings, take_t take)
    : take_(std::move(take)),
      rate_(settings.manager.get_fs()),
      as_frames_(settings.search == search_t::frames),
      selected_first_(settings.manager.get_chirp_start()),
      selected_count_(settings.manager.get_chirp_count()) {}

void chirp_joiner_t::begin_segment(std::uint64_t first_sample, std::optional<double> centre) {
  segment_first_ = first_sample;
  centre_ = centre;
  last_.reset();
  count_in_segment_ = 0;
}

bool chirp_joiner_t::is_new(const chirp_t& chirp) const {
  return as_frames_ || !last_ || (chirp.first_sample + chirp.last_sample) / 2 > last_->end;
}

/// Whether the last chirp is the one before this, as far as can be known: none between them was lost
/// in samples that are not finite or at the seam of two frames.
bool chirp_joiner_t::follows(const span_chirp_t& seen) const {
  return last_ && (as_frames_ ? seen.chirp.figures.chirp_no > last_->number_in_frame
                              : last_->end >= seen.cut_end);
}

void chirp_joiner_t::add(const span_result_t& span) {
  for (const span_chirp_t& seen : span.chirps) {
    if (!is_new(seen.chirp)) {
      continue;
    }
    chirp_t chirp = seen.chirp;
    const auto seconds = [&](double sample) {
      return (static_cast<double>(segment_first_) + sample) / rate_;
    };
    chirp.start = seconds(static_cast<double>(chirp.first_sample));
    chirp.stop = seconds(static_cast<double>(chirp.last_sample));
    for (turn_t* const turn : {&chirp.turns.start, &chirp.turns.stop}) {
      turn->place = seconds(static_cast<double>(chirp.first_sample) + turn->place);
      turn->u /= rate_;
    }
    chirp.fm_settling_point = seconds(chirp.fm_settling_point);
    chirp.pm_settling_point = seconds(chirp.pm_settling_point);
    chirp.centre = centre_;
    chirp.number = ++count_;
    const auto first = static_cast<double>(chirp.first_sample);
    const bool has_previous = follows(seen);
    chirp.idle = has_previous ? (first - static_cast<double>(last_->end)) / rate_ : unknown;
    chirp.period = has_previous ? (first - static_cast<double>(last_->start)) / rate_ : unknown;
    if (!as_frames_) {
      chirp.figures.length = static_cast<double>(chirp.last_sample - chirp.first_sample) / rate_;
      chirp.figures.switching_time = has_previous ? chirp.idle : 0.0;
      chirp.selected = count_in_segment_ >= selected_first_ &&
                       count_in_segment_ - selected_first_ < selected_count_;
    }
    last_ = {chirp.first_sample, chirp.last_sample, chirp.figures.chirp_no};
    ++count_in_segment_;
    chirp.first_sample += segment_first_;
    chirp.last_sample += segment_first_;
    take_(chirp);
  }
}

}  // namespace orn::fmcw_host
