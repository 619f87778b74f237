#pragma once

#include "analysis_json.h"
#include "chirp_table.h"
#include "common/figures/chirp_csv.h"
#include "common/figures/summary.h"
#include "common/output/output_file.h"
#include "measurement.h"

#include <optional>
#include <string>
#include <vector>

namespace fmcw_cli {

/// Where the rows of an analysis go.
struct output_choice_t {
  bool all_figures = false;
  bool only_selected = false;
  bool against_truth = false;  ///< instead of the table of chirps
  std::string json_file;
  std::string csv_file;
};

/// Whether a file takes the place of the table on standard output.
bool takes_stdout(const output_choice_t& choice);

/// Everything that takes the rows of a run, as they come.
class outputs_t {
 public:
  outputs_t(const output_choice_t& choice, const measurement_t& measurement);

  void add(const orn::fmcw_host::chirp_t& chirp);
  void add(const orn::fmcw_host::change_t& change);

  /// Writes what comes after the rows.
  /// diagnosis  null: there are chirps
  void finish(const orn::fmcw_host::recording_totals_t& totals, double impedance,
              const orn::fmcw_host::diagnosis_t* diagnosis = nullptr);

  /// Puts the files in place, all or none; the last thing a run does, for nothing may fail then.
  /// other  one more that belongs to them, or null
  /// Throws run_error_t.
  void commit(orn::fmcw_host::output_file_t* other);

  const orn::fmcw_host::summary_t& summary() const { return summary_; }
  /// The rows, where they are compared with the truth.
  const std::vector<orn::fmcw_host::chirp_t>& collected() const { return collected_; }

 private:
  bool only_selected_;
  bool collects_;
  orn::fmcw_host::summary_t summary_;
  std::optional<orn::fmcw_host::output_file_t> json_file_;
  std::optional<analysis_json_t> json_;
  std::optional<orn::fmcw_host::output_file_t> csv_file_;
  std::optional<orn::fmcw_host::chirp_csv_t> csv_;
  std::optional<chirp_table_t> table_;
  std::vector<orn::fmcw_host::chirp_t> collected_;
};

}  // namespace fmcw_cli
