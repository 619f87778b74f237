#pragma once

#include "common/figures/chirp.h"
#include "common/output/csv_writer.h"

#include <ostream>
#include <string>

namespace orn::fmcw_host {

/// Chirps as CSV, a line each: capture, chirp, direction, first_sample, last_sample, selected (0 or
/// 1), the figures, flags. Numbers round-trip; an RF frequency that nobody told is empty.
class chirp_csv_t {
 public:
  /// capture   name for the first column
  /// with_rf   whether a centre frequency is known
  chirp_csv_t(std::ostream& out, std::string capture, bool with_rf);

  void add(const chirp_t& chirp);

 private:
  csv_writer_t out_;
  std::string capture_;
  bool with_rf_;
};

}  // namespace orn::fmcw_host
