#include "measurement.h"

#include "common/condition/suggestion.h"
#include "errors.h"
#include "option_text.h"
#include "program.h"
#include "progress.h"

#include <algorithm>
#include <thread>
#include <utility>

#include <fmt/format.h>

namespace fmcw_cli {

using namespace orn::fmcw_host;

namespace {

/// A replayed source that owns what it goes on with.
class owning_replay_t : public sample_source_t {
 public:
  owning_replay_t(std::vector<orn::fmcw_demod_lib::sample_t> read,
                  std::unique_ptr<sample_source_t> rest)
      : rest_(std::move(rest)), replay_(std::move(read), *rest_) {}

  std::size_t read(std::span<orn::fmcw_demod_lib::sample_t> out) override {
    return replay_.read(out);
  }

 private:
  std::unique_ptr<sample_source_t> rest_;
  replay_source_t replay_;
};

/// The samples of a segment after the conditioning.
class owning_conditioned_t : public sample_source_t {
 public:
  owning_conditioned_t(std::unique_ptr<sample_source_t> source, const conditioning_t& conditioning,
                       std::uint64_t first_sample, double rate)
      : source_(std::move(source)), conditioned_(*source_, conditioning, first_sample, rate) {}

  std::size_t read(std::span<orn::fmcw_demod_lib::sample_t> out) override {
    return conditioned_.read(out);
  }

 private:
  std::unique_ptr<sample_source_t> source_;
  conditioned_source_t conditioned_;
};

std::unique_ptr<sample_source_t> open_source(const measurement_t& measurement,
                                             std::size_t segment) {
  const recording_t& recording = measurement.recording;
  auto source = recording.source(segment);
  if (measurement.conditioning.is_none()) {
    return source;
  }
  return std::make_unique<owning_conditioned_t>(std::move(source), measurement.conditioning,
                                                recording.segments()[segment].first_sample,
                                                recording.info().sample_rate);
}

/// Chooses a conditioning by the first samples. Says which, or that none helps.
conditioning_t choose_conditioning(const recording_t& recording, std::vector<std::string>& notes) {
  constexpr std::uint64_t looked_at = std::uint64_t{1} << 22U;
  const auto count = recording.segments().front().sample_count;
  if (!count) {
    throw input_error_t(
        "--condition auto reads the first samples twice, which a pipe cannot give; allowed is the "
        "like of 8,7MHz");
  }
  std::vector<orn::fmcw_demod_lib::sample_t> samples(
      static_cast<std::size_t>(std::min(*count, looked_at)));
  samples.resize(recording.source(0)->read(samples));
  const auto suggested = suggest_conditioning(samples, recording.info().sample_rate);
  notes.push_back(suggested ? "conditioned: --condition " + conditioning_text(*suggested)
                            : "not conditioned: no narrow sweep stands out of the noise");
  return suggested.value_or(conditioning_t{});
}

/// What was measured of conditioned samples, on the recording's axis.
chirp_t on_recording(chirp_t chirp, const conditioning_t& conditioning) {
  chirp.first_sample *= conditioning.decimate;
  chirp.last_sample *= conditioning.decimate;
  chirp.figures.freq_avg -= conditioning.shift;
  chirp.fit.freq_centre -= conditioning.shift;
  chirp.fit.freq_start -= conditioning.shift;
  chirp.flags |= chirp_flag_t::conditioned;
  return chirp;
}

/// The same for whoever hears of the analysis.
listener_t on_recording(listener_t listener, const conditioning_t& conditioning) {
  const std::uint64_t by = conditioning.decimate;
  listener_t outer;
  outer.on_chirp = [on_chirp = std::move(listener.on_chirp), conditioning](const chirp_t& chirp) {
    on_chirp(on_recording(chirp, conditioning));
  };
  if (listener.on_change) {
    outer.on_change = [on_change = std::move(listener.on_change), by](change_t change) {
      change.first_sample *= by;
      on_change(change);
    };
  }
  if (listener.on_progress) {
    outer.on_progress = [on_progress = std::move(listener.on_progress),
                         by](analysis_progress_t progress) {
      progress.done *= by;
      on_progress(progress);
    };
  }
  return outer;
}

recording_totals_t on_recording(recording_totals_t totals, const conditioning_t& conditioning) {
  for (change_t& change : totals.changes) {
    change.first_sample *= conditioning.decimate;
  }
  if (totals.first_nonfinite) {
    *totals.first_nonfinite *= conditioning.decimate;
  }
  return totals;
}

/// Looks at segments in turn until one shows chirps. Samples of a pipe can be had once, so those of
/// the segment looked at last are kept.
void look(measurement_t& measurement) {
  const double rate = measurement.settings.manager.get_fs();
  for (std::size_t i = 0; i < measurement.recording.segments().size(); ++i) {
    measurement.looked_segment = i;
    measurement.rest = open_source(measurement, i);
    measurement.proposal = propose(*measurement.rest, rate, measurement.looked);
    if (!measurement.proposal.chosen.empty()) {
      return;
    }
  }
}

}  // namespace

std::unique_ptr<sample_source_t> measurement_t::source(std::size_t segment) {
  if (rest && segment == looked_segment) {
    return std::make_unique<owning_replay_t>(std::move(looked), std::move(rest));
  }
  return open_source(*this, segment);
}

segment_t measurement_t::segment(std::size_t index) const {
  segment_t segment = recording.segments()[index];
  if (segment.sample_count) {
    segment.sample_count =
        conditioned_count(segment.first_sample, *segment.sample_count, conditioning.decimate);
  }
  segment.first_sample = conditioned_count(0, segment.first_sample, conditioning.decimate);
  return segment;
}

measurement_t open_measurement(const capture_call_t& capture, const settings_source_t& source,
                               const std::string& condition) {
  recording_t recording = recording_t::open(capture.path, capture.options);
  tell_notes(recording);
  std::vector<std::string> notes;
  measurement_t measurement = open_measurement(std::move(recording), source, condition, notes);
  for (const std::string& note : notes) {
    tell_note(note);
  }
  return measurement;
}

measurement_t open_measurement(recording_t recording, const settings_source_t& source,
                               const std::string& condition, std::vector<std::string>& notes) {
  const double rate = recording.info().sample_rate;
  const conditioning_t conditioning = condition.empty() ? conditioning_t{}
                                      : condition == "auto"
                                          ? choose_conditioning(recording, notes)
                                          : parse_conditioning(condition, "--condition");
  check(conditioning, rate);
  measurement_t measurement{std::move(recording), {}, conditioning, false, {}, 0, {}, nullptr};
  settings_t& settings = measurement.settings;
  settings.manager.set_fs(rate / conditioning.decimate);
  const auto assumed = apply_settings(source, settings);
  notes.insert(notes.end(), assumed.begin(), assumed.end());
  return measurement;
}

void look_for_settings(measurement_t& measurement) {
  settings_t& settings = measurement.settings;
  if (settings.search != search_t::automatic) {
    return;
  }
  measurement.is_proposed = true;
  look(measurement);
  if (measurement.proposal.chosen.empty()) {
    propose_settings({"max_chirp_len=0s"}, settings);  // nothing there may count as a chirp
  }
  measurement.proposal.assignments = propose_settings(measurement.proposal.assignments, settings);
  settings.search = search_t::spans;
}

unsigned all_jobs() { return std::max(std::thread::hardware_concurrency(), 1U); }

recording_totals_t measure(measurement_t& measurement, unsigned jobs, const listener_t& listener,
                           const settling_tolerance_t& settling) {
  const conditioning_t& conditioning = measurement.conditioning;
  const recording_info_t& info = measurement.recording.info();
  const bool is_plain = conditioning.is_none();
  // Filtered samples no longer tell where the converter ended.
  recording_analysis_t analysis(measurement.settings, jobs,
                                is_plain ? listener : on_recording(listener, conditioning),
                                info.sample_count, measurement.proposal.coverage,
                                {settling, is_plain ? info.clip_levels : std::nullopt});
  for (std::size_t i = 0; i < measurement.recording.segments().size(); ++i) {
    const auto source = measurement.source(i);
    analysis.analyze(measurement.segment(i), *source);
  }
  return is_plain ? analysis.totals() : on_recording(analysis.totals(), conditioning);
}

chirp_statistics_t measure_statistics(measurement_t& measurement) {
  progress_t progress("analysed", measurement.recording.info().sample_count);
  chirp_statistics_t statistics;
  measure(measurement, all_jobs(),
          {.on_chirp = [&](const chirp_t& chirp) { statistics.add(chirp); },
           .on_progress =
               [&](const analysis_progress_t& state) {
                 progress.show(state.done, statistics.count());
               }});
  return statistics;
}

void describe_settings_source(CLI::App& command, settings_source_t& source) {
  command
      .add_option("--settings", source.file,
                  "Profile: JSON file of settings, {\"name\": value}, or the JSON of a result")
      ->type_name(file_type);
  command
      .add_option("--set", source.assignments,
                  "One setting, name=value with or without a unit (20us, 1.6MHz/us, 5%); may be "
                  "repeated")
      ->allow_extra_args(false)
      ->take_all()
      ->type_name(setting_type);
}

}  // namespace fmcw_cli
