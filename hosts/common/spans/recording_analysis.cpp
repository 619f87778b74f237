#include "common/spans/recording_analysis.h"

#include "common/errors.h"
#include "common/spans/proposal.h"
#include "common/spans/span_reader.h"

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <limits>
#include <map>
#include <mutex>
#include <new>
#include <thread>
#include <utility>
#include <vector>

#include <fmt/format.h>

namespace orn::fmcw_host {
namespace {

/// The spans of one segment on several threads. Each thread takes the next span, analyses it and
/// leaves the result; next() hands results out in order.
class span_pool_t {
 public:
  span_pool_t(const settings_t& settings, const layout_t& layout, sample_source_t& source,
              unsigned jobs, double coverage, const measure_options_t& options)
      : settings_(settings),
        layout_(layout),
        coverage_(coverage),
        options_(options),
        reader_(layout, source),
        ahead_limit_(std::uint64_t{4} * jobs) {
    try {
      for (unsigned i = 0; i < jobs; ++i) {
        threads_.emplace_back([this] { work(); });
      }
    } catch (...) {
      stop();
      throw;
    }
  }
  span_pool_t(const span_pool_t&) = delete;
  span_pool_t& operator=(const span_pool_t&) = delete;
  ~span_pool_t() { stop(); }

  /// The next span's result; nothing after the last one. Throws what its analysis threw.
  std::optional<span_result_t> next() {
    std::unique_lock lock(results_mutex_);
    changed_.wait(lock, [&] { return results_.contains(taken_) || failure_at(taken_); });
    if (results_.contains(taken_)) {
      span_result_t result = std::move(results_.extract(taken_).mapped());
      ++taken_;
      changed_.notify_all();
      return result;
    }
    if (failure_) {
      std::rethrow_exception(failure_);
    }
    return std::nullopt;
  }

 private:
  /// Whether there is no span `index` to wait for: the last one or a failure came before it.
  bool failure_at(std::uint64_t index) const { return end_ && index >= *end_; }

  void stop() {
    {
      const std::scoped_lock lock(results_mutex_);
      stopped_ = true;
    }
    changed_.notify_all();
    for (std::thread& thread : threads_) {
      thread.join();
    }
  }

  /// Waits until there is room for another result. False: there is nothing more to do.
  bool may_go_on() {
    std::unique_lock lock(results_mutex_);
    changed_.wait(lock, [&] { return stopped_ || end_ || started_ < taken_ + ahead_limit_; });
    return !stopped_ && !end_;
  }

  /// No span from `index` on comes any more, for the given reason or because there is none.
  void end_at(std::uint64_t index, std::exception_ptr reason) {
    const std::scoped_lock lock(results_mutex_);
    if (!end_ || index < *end_) {
      end_ = index;
      failure_ = std::move(reason);
    }
    changed_.notify_all();
  }

  bool read(span_t& span) {
    const std::scoped_lock lock(reader_mutex_);
    span.index = read_count_;
    if (!may_go_on()) {
      return false;
    }
    if (!reader_.next(span)) {
      end_at(read_count_, nullptr);
      return false;
    }
    ++read_count_;
    const std::scoped_lock counted(results_mutex_);
    started_ = read_count_;
    return true;
  }

  void work() {
    span_t span;
    try {
      span_analyzer_t analyzer(settings_, layout_, coverage_, options_);
      while (read(span)) {
        span_result_t result = analyzer.analyze(span);
        const std::scoped_lock lock(results_mutex_);
        results_.emplace(span.index, std::move(result));
        changed_.notify_all();
      }
    } catch (const std::bad_alloc&) {
      const auto bytes = static_cast<std::size_t>(bytes_of_span(layout_.longest()));
      end_at(span.index, std::make_exception_ptr(memory_error_t("a span of the recording", bytes)));
    } catch (...) {
      end_at(span.index, std::current_exception());
    }
  }

  const settings_t& settings_;
  const layout_t& layout_;
  double coverage_;
  const measure_options_t& options_;

  std::mutex reader_mutex_;  // taken before results_mutex_
  span_reader_t reader_;
  std::uint64_t read_count_ = 0;

  std::mutex results_mutex_;
  std::condition_variable changed_;
  std::map<std::uint64_t, span_result_t> results_;
  std::uint64_t taken_ = 0;    ///< results handed out
  std::uint64_t started_ = 0;  ///< spans read
  std::uint64_t ahead_limit_;
  std::optional<std::uint64_t> end_;  ///< there is no span from this one on
  std::exception_ptr failure_;        ///< and why, unless they were all
  bool stopped_ = false;

  std::vector<std::thread> threads_;
};

}  // namespace

std::string change_text(const change_t& change) {
  return fmt::format(
      "about {:.6g} s on: {}, which these settings leave out; look there with --from {}",
      change.time, group_text(change.others), change.first_sample);
}

recording_analysis_t::recording_analysis_t(const settings_t& settings, unsigned jobs,
                                           listener_t listener, std::optional<std::uint64_t> total,
                                           double coverage, const measure_options_t& options)
    : settings_(settings),
      jobs_(std::max(jobs, 1U)),
      coverage_(coverage),
      options_(options),
      listener_(std::move(listener)),
      neighbours_([this](const chirp_t& chirp) {
        tell_changes(chirp.first_sample);
        listener_.on_chirp(chirp);
      }),
      joiner_(settings, [this](const chirp_t& chirp) { neighbours_.add(chirp); }) {
  progress_.total = total;
}

void recording_analysis_t::analyze(const segment_t& segment, sample_source_t& source) {
  const layout_t layout = lay_out(settings_, segment.sample_count);
  joiner_.begin_segment(segment.first_sample, segment.centre);
  totals_.uncovered_count += layout.uncovered;
  unsigned jobs = jobs_;
  if (segment.sample_count) {
    const std::uint64_t spans = *segment.sample_count / std::max<std::uint64_t>(layout.own, 1) + 1;
    jobs = static_cast<unsigned>(std::min<std::uint64_t>(jobs, spans));
  }
  span_pool_t pool(settings_, layout, source, jobs, coverage_, options_);
  while (const auto span = pool.next()) {
    take(segment, *span);
  }
  neighbours_.flush();
  tell_changes(std::numeric_limits<std::uint64_t>::max());
}

void recording_analysis_t::take(const segment_t& segment, const span_result_t& span) {
  note_change(segment.first_sample + span.own_begin, span.others);
  joiner_.add(span);
  const std::uint64_t own = span.own_end - span.own_begin;
  totals_.sample_count += own;
  totals_.squares += span.squares;
  totals_.nonfinite_count += span.nonfinite_count;
  if (span.first_nonfinite && !totals_.first_nonfinite) {
    totals_.first_nonfinite = segment.first_sample + *span.first_nonfinite;
  }
  if (span.nothing) {
    totals_.nothing.add(*span.nothing);
  }
  progress_.done += own;
  progress_.seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  if (listener_.on_progress) {
    listener_.on_progress(progress_);
  }
}

void recording_analysis_t::note_change(std::uint64_t first_sample,
                                       const std::optional<candidate_group_t>& others) {
  constexpr std::size_t most_changes = 8;
  const bool goes_on = others && others_ && others->duration < 1.25 * others_->duration &&
                       others_->duration < 1.25 * others->duration;
  others_ = others;
  if (!others || goes_on || totals_.changes.size() == most_changes) {
    return;
  }
  const double rate = settings_.manager.get_fs();
  totals_.changes.push_back({first_sample, static_cast<double>(first_sample) / rate, *others});
}

/// Tells of the changes up to a sample that were not told yet.
void recording_analysis_t::tell_changes(std::uint64_t until) {
  for (const auto& changes = totals_.changes;
       told_changes_ < changes.size() && changes[told_changes_].first_sample <= until;
       ++told_changes_) {
    if (listener_.on_change) {
      listener_.on_change(changes[told_changes_]);
    }
  }
}

}  // namespace orn::fmcw_host
