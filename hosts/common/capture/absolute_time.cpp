#include "common/capture/absolute_time.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <limits>

#include <fmt/format.h>

namespace orn::fmcw_host {
namespace {

constexpr std::int64_t second = 1'000'000'000;  // [ns]

/// Takes a text apart from its start; once something is missing, everything is.
class scanner_t {
 public:
  explicit scanner_t(std::string_view text) : text_(text) {}

  bool is_good() const { return good_; }
  bool is_done() const { return good_ && text_.empty(); }
  bool starts_with(char c) const { return good_ && text_.starts_with(c); }

  void skip(char c) {
    good_ = starts_with(c);
    text_.remove_prefix(good_ ? 1 : 0);
  }

  int number(std::size_t digits, int least, int most) {
    int value = -1;
    const std::string_view part = text_.substr(0, digits);
    const auto parsed = std::from_chars(part.data(), part.data() + part.size(), value);
    good_ = good_ && part.size() == digits && parsed.ptr == part.data() + part.size() &&
            part.front() != '-' && value >= least && value <= most;
    text_.remove_prefix(good_ ? digits : 0);
    return value;
  }

  /// The digits after a decimal point [ns].
  std::int64_t nanoseconds() {
    std::int64_t value = 0;
    std::int64_t place = second / 10;
    std::size_t digits = 0;
    for (; digits < text_.size() && text_[digits] >= '0' && text_[digits] <= '9'; ++digits) {
      value += (text_[digits] - '0') * place;
      place /= 10;
    }
    good_ = good_ && digits > 0;
    text_.remove_prefix(digits);
    return value;
  }

 private:
  std::string_view text_;
  bool good_ = true;
};

/// "Z", or a shift [min] as "+02:00".
int read_zone(scanner_t& scanner) {
  if (scanner.starts_with('Z')) {
    scanner.skip('Z');
    return 0;
  }
  const char sign = scanner.starts_with('-') ? '-' : '+';
  scanner.skip(sign);
  const int hours = scanner.number(2, 0, 23);
  scanner.skip(':');
  const int minutes = hours * 60 + scanner.number(2, 0, 59);
  return sign == '-' ? -minutes : minutes;
}

}  // namespace

std::optional<instant_t> parse_datetime(std::string_view text) {
  using namespace std::chrono;
  scanner_t scanner(text);
  const int years = scanner.number(4, 0, 9999);
  scanner.skip('-');
  const int months = scanner.number(2, 1, 12);
  scanner.skip('-');
  const int days_of_month = scanner.number(2, 1, 31);
  scanner.skip('T');
  const int hour = scanner.number(2, 0, 23);
  scanner.skip(':');
  const int minute = scanner.number(2, 0, 59);
  scanner.skip(':');
  const int seconds_of_minute = scanner.number(2, 0, 60);
  instant_t instant;
  if (scanner.starts_with('.')) {
    scanner.skip('.');
    instant.nanoseconds = scanner.nanoseconds();
  }
  const int zone = read_zone(scanner);
  const year_month_day date(year(years), month(static_cast<unsigned>(std::max(months, 0))),
                            day(static_cast<unsigned>(std::max(days_of_month, 0))));
  if (!scanner.is_done() || !date.ok()) {
    return std::nullopt;
  }
  const std::int64_t minutes_of_day = std::int64_t{60} * hour + minute - zone;
  instant.seconds = std::int64_t{86400} * sys_days(date).time_since_epoch().count() +
                    60 * minutes_of_day + seconds_of_minute;
  return instant;
}

std::string datetime_text(const instant_t& instant) {
  using namespace std::chrono;
  const sys_seconds time{seconds(instant.seconds)};
  const auto date_days = floor<days>(time);
  const year_month_day date(date_days);
  const hh_mm_ss clock(time - date_days);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:09}Z", static_cast<int>(date.year()),
                     static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                     clock.hours().count(), clock.minutes().count(), clock.seconds().count(),
                     instant.nanoseconds);
}

absolute_time_t::absolute_time_t(const recording_t& recording)
    : rate_(recording.info().sample_rate) {
  for (std::size_t i = 0; i < recording.segments().size(); ++i) {
    const segment_t& segment = recording.segments()[i];
    // The fields as they stand: a part that begins later is as well known as the whole.
    const auto* const start = recording.segment_fields(i).find("core:sample_start");
    const auto* const member = recording.segment_fields(i).find("core:datetime");
    const auto* const text = member != nullptr ? member->as<std::string>() : nullptr;
    const auto instant = text != nullptr ? parse_datetime(*text) : std::nullopt;
    const auto sample = start != nullptr ? start->whole() : std::nullopt;
    if (instant && sample) {
      const std::uint64_t end = segment.sample_count ? segment.first_sample + *segment.sample_count
                                                     : std::numeric_limits<std::uint64_t>::max();
      anchors_.push_back({segment.first_sample, end, *sample, *instant});
    }
  }
}

std::string absolute_time_t::of(std::uint64_t sample) const {
  const auto anchor = std::find_if(anchors_.begin(), anchors_.end(), [&](const anchor_t& a) {
    return sample >= a.begin && sample < a.end;
  });
  if (anchor == anchors_.end()) {
    return "";
  }
  const double elapsed = static_cast<double>(sample - anchor->sample) / rate_;
  constexpr double longest = 1e11;  // [s]: where years would take more than four digits
  if (!(elapsed < longest)) {
    return "";
  }
  const double whole = std::floor(elapsed);
  instant_t instant = anchor->instant;
  instant.seconds += static_cast<std::int64_t>(whole);
  instant.nanoseconds += std::llround((elapsed - whole) * static_cast<double>(second));
  instant.seconds += instant.nanoseconds / second;
  instant.nanoseconds %= second;
  return datetime_text(instant);
}

}  // namespace orn::fmcw_host
