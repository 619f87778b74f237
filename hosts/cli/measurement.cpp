#include "measurement.h"

#include "program.h"

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
  measurement_t measurement{
      recording_t::open(capture.path, capture.options), {}, false, {}, 0, {}, nullptr};
  tell_notes(measurement.recording);
  settings_t& settings = measurement.settings;
  settings.manager.set_fs(measurement.recording.info().sample_rate);
  for (const std::string& note : apply_settings(source, settings)) {
    tell(note.c_str());
  }
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

void describe_settings_source(CLI::App& command, settings_source_t& source) {
  command.add_option("--settings", source.file,
                     "Profile: JSON file of settings, {\"name\": value}, or the JSON of a result");
  command
      .add_option("--set", source.assignments,
                  "One setting, name=value with or without a unit (20us, 1.6MHz/us, 5%); may be "
                  "repeated")
      ->allow_extra_args(false)
      ->take_all();
}

}  // namespace fmcw_cli
