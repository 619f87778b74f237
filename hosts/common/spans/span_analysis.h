#pragma once

#include "common/figures/chirp.h"
#include "common/settings/settings.h"
#include "common/spans/candidates.h"
#include "common/spans/layout.h"
#include "common/spans/measure_options.h"
#include "common/spans/nothing_seen.h"
#include "common/spans/span_reader.h"

#include <fmcw_demod/config_record.h>
#include <fmcw_demod/result_record.h>

#include <cstdint>
#include <optional>
#include <vector>

namespace orn::fmcw_host {

/// A chirp as one span sees it, and what joining it to its neighbours needs.
struct span_chirp_t {
  /// Samples count from the segment's start; no number, no times yet. Turns are in samples from the
  /// chirp's first.
  chirp_t chirp;
  std::uint64_t cut_end = 0;  ///< first sample after the last non-finite one before it; 0: none
};

/// What one span says. A pure function of its samples, the settings and the layout, whatever
/// thread, process or machine it comes from; chirp_joiner_t makes a table of all spans in order.
struct span_result_t {
  std::uint64_t index = 0;
  std::uint64_t own_begin = 0;       ///< [samples of the segment]
  std::uint64_t own_end = 0;         ///< [samples of the segment]
  std::vector<span_chirp_t> chirps;  ///< in order; in spans, from `seam_margin` before own_begin on
  std::uint64_t nonfinite_count = 0;             ///< of the samples it owns
  std::optional<std::uint64_t> first_nonfinite;  ///< of those [samples of the segment]
  double squares = 0.0;                          ///< sum of |x|^2 of its finite samples [V^2]

  /// What fills most of the span where the settings find far less than was expected.
  std::optional<candidate_group_t> others;

  /// What the first spans of a segment have seen where they have no chirp.
  std::optional<nothing_seen_t> nothing;
};

/// Analyses spans one after the other and keeps the memory that takes. One thread at a time.
class span_analyzer_t {
 public:
  /// settings  with the rate of the recording
  /// layout    must outlive the analyzer
  /// coverage  share of the time that chirps are expected to take; 0: nothing is expected
  span_analyzer_t(const settings_t& settings, const layout_t& layout, double coverage = 0.0,
                  const measure_options_t& options = {});

  /// Consumes the span's samples. Throws std::bad_alloc.
  span_result_t analyze(span_t& span);

 private:
  void analyze_run(const span_t& span, std::size_t begin, std::size_t end, span_result_t& result);
  fmcw_demod_lib::fmcw_demod_config_t record_for(const span_t& span,
                                                 std::size_t sample_count) const;
  std::optional<candidate_group_t> others_in(const span_t& span, const span_result_t& result) const;
  void take_chirps(const span_t& span, std::size_t begin, std::size_t end, span_result_t& result);
  void look_around(const span_t& span, span_result_t& result) const;
  void look_inside(std::size_t first, std::size_t last, chirp_t& chirp) const;

  const layout_t& layout_;
  bool as_frames_;
  std::uint32_t rate_doublings_;
  double rate_;  ///< of the recording [Hz]
  double coverage_;
  measure_options_t options_;
  fmcw_demod_lib::fmcw_demod_config_t record_;  ///< with the rate that the library is told
  fmcw_demod_lib::SignalStream stream_;
  fmcw_demod_lib::fmcw_measure_result_t result_;
};

/// Figures at the recording's rate, from those at a rate 2^n times higher: times grow, frequencies
/// shrink by 2^n, slopes by 4^n. Exact, as long as nothing leaves the range of floats.
void scale_back(fmcw_demod_lib::fmcw_chirp_result_t& c, std::uint32_t rate_doublings);

/// The record for an analysis with the rate 2^n times higher: times shrink, slopes grow likewise.
fmcw_demod_lib::fmcw_demod_config_t scaled_record(const settings_t& settings);

}  // namespace orn::fmcw_host
