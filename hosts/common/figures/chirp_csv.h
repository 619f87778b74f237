#pragma once

#include "common/figures/chirp.h"
#include "common/output/csv_writer.h"

#include <ostream>
#include <string>

namespace orn::fmcw_host {

/// The columns that not every table has.
struct csv_columns_t {
  bool with_rf = false;       ///< a centre frequency is known, or may be
  bool with_verdict = false;  ///< there are limits
  bool with_trust = false;    ///< rows come with it
};

/// Chirps as CSV, a line each: capture, chirp, direction, first_sample, last_sample, selected (0 or
/// 1), the figures, flags, start_datetime, verdict. Numbers round-trip; an RF frequency or a time that nobody
/// told and the verdict of a chirp that no limit concerns are empty. With trust there follow, for each
/// figure that is judged, columns of its name and _bias, _u, _floor, _true (empty: unknown) and
/// _trust, a word.
class chirp_csv_t {
 public:
  chirp_csv_t(std::ostream& out, csv_columns_t columns);

  /// capture  name for the first column, of the rows that follow
  void begin_capture(std::string capture);

  void add(const chirp_t& chirp, const row_remarks_t& remarks = {});

 private:
  csv_writer_t out_;
  std::string capture_;
  csv_columns_t columns_;
};

}  // namespace orn::fmcw_host
