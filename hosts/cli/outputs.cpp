#include "outputs.h"

#include <algorithm>
#include <iostream>

namespace fmcw_cli {

using namespace orn::fmcw_host;

bool takes_stdout(const output_choice_t& choice) {
  return choice.json_file == "-" || choice.csv_file == "-";
}

outputs_t::outputs_t(const output_choice_t& choice, const measurement_t& measurement)
    : only_selected_(choice.only_selected), collects_(choice.against_truth) {
  const recording_t& recording = measurement.recording;
  const auto& segments = recording.segments();
  const bool with_rf = std::any_of(segments.begin(), segments.end(),
                                   [](const segment_t& s) { return s.centre.has_value(); });
  if (!choice.json_file.empty()) {
    json_file_.emplace(choice.json_file);
    json_.emplace(json_file_->stream(), recording, measurement.settings);
  }
  if (!choice.csv_file.empty()) {
    csv_file_.emplace(choice.csv_file);
    csv_.emplace(csv_file_->stream(), recording.info().name, with_rf);
  }
  if (!collects_ && !takes_stdout(choice)) {
    table_.emplace(std::cout, recording.info().sample_rate, choice.all_figures, with_rf);
  }
}

void outputs_t::add(const chirp_t& chirp) {
  summary_.add(chirp);
  if (only_selected_ && !chirp.selected) {
    return;
  }
  if (json_) {
    json_->add(chirp);
  }
  if (csv_) {
    csv_->add(chirp);
  }
  if (table_) {
    table_->add(chirp);
  }
  if (collects_) {
    collected_.push_back(chirp);
  }
}

// JSON has it in its summary; the columns of CSV have no place for it.
void outputs_t::add(const change_t& change) {
  if (table_) {
    table_->add_line("-- " + change_text(change));
  }
}

void outputs_t::finish(const recording_totals_t& totals, double impedance,
                       const diagnosis_t* diagnosis) {
  if (json_) {
    json_->finish(summary_, totals, impedance, diagnosis);
  }
  if (table_) {
    table_->finish();
  }
}

void outputs_t::commit(output_file_t* other) {
  std::vector<output_file_t*> files;
  for (output_file_t* const file :
       {other, json_file_ ? &*json_file_ : nullptr, csv_file_ ? &*csv_file_ : nullptr}) {
    if (file != nullptr) {
      files.push_back(file);
    }
  }
  output_file_t::commit_together(files);
}

}  // namespace fmcw_cli
