#include "measurement.h"

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

/// Looks at segments in turn until one shows chirps. Samples of a pipe can be had once, so those of
/// the segment looked at last are kept.
void look(measurement_t& measurement) {
  const double rate = measurement.recording.info().sample_rate;
  for (std::size_t i = 0; i < measurement.recording.segments().size(); ++i) {
    measurement.looked_segment = i;
    measurement.rest = measurement.recording.source(i);
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
  return recording.source(segment);
}

measurement_t open_measurement(const capture_call_t& capture, const settings_source_t& source) {
  recording_t recording = recording_t::open(capture.path, capture.options);
  tell_notes(recording);
  std::vector<std::string> notes;
  measurement_t measurement = open_measurement(std::move(recording), source, notes);
  for (const std::string& note : notes) {
    tell_note(note);
  }
  return measurement;
}

measurement_t open_measurement(recording_t recording, const settings_source_t& source,
                               std::vector<std::string>& notes) {
  measurement_t measurement{std::move(recording), {}, false, {}, 0, {}, nullptr};
  settings_t& settings = measurement.settings;
  settings.manager.set_fs(measurement.recording.info().sample_rate);
  notes = apply_settings(source, settings);
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
  recording_analysis_t analysis(
      measurement.settings, jobs, listener, measurement.recording.info().sample_count,
      measurement.proposal.coverage, {settling, measurement.recording.info().clip_levels});
  const auto& segments = measurement.recording.segments();
  for (std::size_t i = 0; i < segments.size(); ++i) {
    const auto source = measurement.source(i);
    analysis.analyze(segments[i], *source);
  }
  return analysis.totals();
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
