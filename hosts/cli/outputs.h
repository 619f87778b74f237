#pragma once

#include "analysis_json.h"
#include "chirp_table.h"
#include "common/annotations/annotation_writer.h"
#include "common/capture/absolute_time.h"
#include "common/figures/chirp_csv.h"
#include "common/figures/summary.h"
#include "common/limits/judge.h"
#include "common/output/output_file.h"
#include "common/statistics/chirp_statistics.h"
#include "common/statistics/run_chart.h"
#include "common/trust/statement.h"
#include "measurement.h"
#include "verdicts.h"

#include <array>
#include <future>
#include <optional>
#include <string>
#include <vector>

namespace fmcw_cli {

/// Where the rows of an analysis go.
struct output_choice_t {
  bool is_several = false;  ///< captures, in one table
  bool all_figures = false;
  bool only_selected = false;
  bool against_truth = false;  ///< instead of the table of chirps
  bool with_uncertainty = false;
  std::string json_file;
  std::string csv_file;
  verdict_choice_t verdicts;
  std::optional<orn::fmcw_host::annotation_choice_t> annotation;
};

/// Whether a file takes the place of the table on standard output.
bool takes_stdout(const output_choice_t& choice);

/// Everything that takes the rows of a run, as they come: begin(), rows and end() for each capture,
/// then finish().
class outputs_t {
 public:
  /// The choice must outlive the outputs.
  explicit outputs_t(const output_choice_t& choice);

  /// The rows of a capture follow, which must stay until end() or fail().
  void begin(const measurement_t& measurement);
  void add(const orn::fmcw_host::chirp_t& chirp);
  /// No row; a line between them.
  void add(const orn::fmcw_host::change_t& change);

  /// diagnosis  null: there are chirps
  void end(const orn::fmcw_host::recording_totals_t& totals, double impedance,
           const orn::fmcw_host::diagnosis_t* diagnosis);

  /// Forgets the capture that was begun, before its recording goes.
  void drop();

  /// A capture, begun or not, could not be analysed to its end.
  void fail(const std::string& name, const std::string& error);

  /// Writes what comes after the last capture.
  void finish();

  /// Puts the annotations of the capture in place, after which they cannot be read again. Throws
  /// run_error_t.
  void commit_annotations();

  /// Puts every file that is not in place yet there, all or none; the last thing a run does, for
  /// nothing may fail then.
  /// other  one more that belongs to them, or null
  /// Throws run_error_t.
  void commit(orn::fmcw_host::output_file_t* other);

  /// Statistics, charts and limits of the capture, as the choice has it.
  void print_verdicts(std::ostream& out) const;

  bool has_limits() const { return !choice_.verdicts.limits.empty(); }
  /// Whether a table goes to standard output.
  bool has_table() const { return table_.has_value(); }
  const orn::fmcw_host::summary_t& summary() const { return of_capture_->summary; }
  const orn::fmcw_host::judge_t& judge() const { return of_capture_->judge; }
  /// How far the rows can be trusted, where a table or the choice asks for it.
  orn::fmcw_host::statement_t trust() const { return of_capture_->trust.statement(); }
  /// The rows, where they are compared with the truth.
  const std::vector<orn::fmcw_host::chirp_t>& collected() const { return of_capture_->collected; }

 private:
  /// What is gathered of one capture.
  struct of_capture_t {
    of_capture_t(const verdict_choice_t& choice, const measurement_t& of);
    orn::fmcw_host::summary_t summary;
    orn::fmcw_host::chirp_statistics_t statistics;
    orn::fmcw_host::judge_t judge;
    orn::fmcw_host::statement_maker_t trust;
    std::array<orn::fmcw_host::run_chart_t, 2> charts;  ///< of the directions
    std::vector<orn::fmcw_host::chirp_t> collected;
    const orn::fmcw_host::recording_t* recording;
    orn::fmcw_host::absolute_time_t time;
    std::future<std::string> sha256;  ///< of a file; invalid: of a pipe
  };
  void begin_tables(bool with_rf);

  const output_choice_t& choice_;
  std::optional<of_capture_t> of_capture_;
  std::optional<orn::fmcw_host::output_file_t> json_file_;
  std::optional<analysis_json_t> json_;
  std::optional<orn::fmcw_host::output_file_t> csv_file_;
  std::optional<orn::fmcw_host::chirp_csv_t> csv_;
  std::optional<chirp_table_t> table_;
  std::optional<orn::fmcw_host::annotation_writer_t> annotations_;
};

}  // namespace fmcw_cli
