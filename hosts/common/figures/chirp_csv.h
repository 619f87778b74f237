#pragma once

#include "common/figures/chirp.h"

#include <ostream>
#include <string>

namespace orn::fmcw_host {

/// Chirps as CSV, a line each: capture, chirp, direction, first_sample, last_sample, selected, the
/// figures, flags. Numbers round-trip; infinities are inf and -inf, an unknown RF frequency is
/// empty.
class chirp_csv_t {
 public:
  /// capture   name for the first column
  /// with_rf   whether the recording's centre frequency is known
  chirp_csv_t(std::ostream& out, const std::string& capture, bool with_rf);

  void add(const chirp_t& chirp);

 private:
  std::ostream& out_;
  std::string capture_;  ///< quoted where it has to be
  bool with_rf_;
};

}  // namespace orn::fmcw_host
