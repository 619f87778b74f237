#include "outputs.h"

#include <algorithm>
#include <iostream>

namespace fmcw_cli {

using namespace orn::fmcw_host;

bool takes_stdout(const output_choice_t& choice) {
  return choice.json_file == "-" || choice.csv_file == "-";
}

outputs_t::of_capture_t::of_capture_t(const verdict_choice_t& choice, const measurement_t& of)
    : judge(choice.limits),
      trust(of.settings, of.recording.info().clip_levels.has_value()),
      charts{run_chart_t(choice.chart_columns), run_chart_t(choice.chart_columns)},
      recording(&of.recording),
      time(of.recording) {}

outputs_t::outputs_t(const output_choice_t& choice) : choice_(choice) {
  if (!choice.json_file.empty()) {
    json_file_.emplace(choice.json_file);
    json_.emplace(json_file_->stream(), choice.is_several, has_limits());
  }
  if (!choice.csv_file.empty()) {
    csv_file_.emplace(choice.csv_file);
  }
  if (choice.is_several) {
    begin_tables(true);  // what the captures are is known too late
  }
}

void outputs_t::begin_tables(bool with_rf) {
  if (csv_file_) {
    csv_.emplace(csv_file_->stream(),
                 csv_columns_t{with_rf, has_limits(), choice_.with_uncertainty});
  }
  if (!choice_.against_truth && !takes_stdout(choice_)) {
    table_.emplace(std::cout,
                   table_columns_t{choice_.all_figures, with_rf, choice_.is_several, has_limits()});
  }
}

void outputs_t::begin(const measurement_t& measurement) {
  const recording_t& recording = measurement.recording;
  drop();
  of_capture_.emplace(choice_.verdicts, measurement);
  if (choice_.annotation) {
    annotations_.emplace(*choice_.annotation, recording);
  }
  if (!choice_.is_several) {
    const auto& segments = recording.segments();
    begin_tables(std::any_of(segments.begin(), segments.end(),
                             [](const segment_t& s) { return s.centre.has_value(); }));
  }
  if (json_) {
    json_->begin(recording, measurement.conditioning, measurement.settings);
    if (!recording.files().empty()) {
      of_capture_->sha256 =
          std::async(std::launch::async, [&recording] { return recording.sha256(); });
    }
  }
  if (csv_) {
    csv_->begin_capture(recording.info().name);
  }
  if (table_) {
    table_->begin_capture(recording.info().name, recording.info().sample_rate);
  }
}

void outputs_t::add(const chirp_t& chirp) {
  of_capture_->summary.add(chirp);
  std::optional<chirp_trust_t> trust;
  if (table_ || choice_.with_uncertainty) {
    trust = of_capture_->trust.add(chirp);
  }
  if (choice_.only_selected && !chirp.selected) {
    return;
  }
  of_capture_->statistics.add(chirp);
  const row_remarks_t remarks = {of_capture_->time.of(chirp.first_sample),
                                 name_of(of_capture_->judge.judge(chirp)),
                                 choice_.with_uncertainty ? &*trust : nullptr};
  if (const figure_t* const figure = choice_.verdicts.chart) {
    of_capture_->charts.at(static_cast<std::size_t>(direction_index(chirp)))
        .add(chirp.start, figure->get(chirp));
  }
  if (json_) {
    json_->add(chirp, remarks);
  }
  if (csv_) {
    csv_->add(chirp, remarks);
  }
  if (table_) {
    table_->add(chirp, remarks);
  }
  if (annotations_) {
    annotations_->add(chirp, remarks.verdict);
  }
  if (choice_.against_truth) {
    of_capture_->collected.push_back(chirp);
  }
}

// JSON has it in its summary; the columns of CSV have no place for it.
void outputs_t::add(const change_t& change) {
  if (table_) {
    table_->add_line("-- " + change_text(change));
  }
}

void outputs_t::end(const recording_totals_t& totals, double impedance,
                    const diagnosis_t* diagnosis) {
  of_capture_t& capture = *of_capture_;
  capture.judge.finish(capture.statistics);
  if (json_) {
    json_->end({capture.summary, totals, capture.statistics,
                has_limits() ? &capture.judge : nullptr, impedance,
                capture.sha256.valid() ? capture.sha256.get() : capture.recording->sha256(),
                diagnosis});
  }
  if (annotations_) {
    annotations_->finish();
  }
}

void outputs_t::drop() {
  annotations_.reset();
  of_capture_.reset();  // waits for the SHA-256 of its file
}

void outputs_t::fail(const std::string& name, const std::string& error) {
  drop();
  if (json_) {
    json_->fail(name, error);
  }
}

void outputs_t::finish() {
  if (json_) {
    json_->finish();
  }
  if (table_) {
    table_->finish();
  }
}

void outputs_t::commit_annotations() {
  if (annotations_) {
    annotations_->file().commit();
    annotations_.reset();
  }
}

void outputs_t::commit(output_file_t* other) {
  std::vector<output_file_t*> files;
  for (output_file_t* const file :
       {other, annotations_ ? &annotations_->file() : nullptr, json_file_ ? &*json_file_ : nullptr,
        csv_file_ ? &*csv_file_ : nullptr}) {
    if (file != nullptr) {
      files.push_back(file);
    }
  }
  output_file_t::commit_together(files);
}

void outputs_t::print_verdicts(std::ostream& out) const {
  const of_capture_t& capture = *of_capture_;
  if (choice_.verdicts.with_statistics) {
    print_statistics(out, capture.statistics, choice_.all_figures);
  }
  if (const figure_t* const figure = choice_.verdicts.chart) {
    for (const direction_t direction : directions) {
      if (capture.statistics.count(direction) > 0) {
        out << fmt::format("\n{}, {} chirps\n", figure->title, name_of(direction))
            << capture.charts.at(static_cast<std::size_t>(direction))
                   .draw(chart_rows, figure->unit);
      }
    }
  }
  if (has_limits()) {
    print_limits(out, capture.judge.outcomes());
  }
}

}  // namespace fmcw_cli
