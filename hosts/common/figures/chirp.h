#pragma once

#include "common/figures/settling.h"
#include "common/fit/edge_fit.h"
#include "common/fit/phase_fit.h"
#include "common/trust/figure_trust.h"
#include "common/trust/snr.h"

#include <fmcw_demod/result_record.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orn::fmcw_host {

/// What else there is to say of a chirp, a bit each.
struct chirp_flag_t {
  static constexpr std::uint32_t edge = 1;    ///< reaches an end of what was sampled without a gap
  static constexpr std::uint32_t merged = 2;  ///< peak non-linearity above merged_inl_peak
  static constexpr std::uint32_t unlike = 4;  ///< unlike its neighbours, see neighbour_check_t
  static constexpr std::uint32_t nonfinite = 8;     ///< a sample inside is not finite
  static constexpr std::uint32_t clipped = 16;      ///< a sample inside reached the converter's end
  static constexpr std::uint32_t slip = 32;         ///< the phase slipped by whole turns inside
  static constexpr std::uint32_t conditioned = 64;  ///< measured on filtered and decimated samples
};

/// What stands beside a chirp's figures in a row.
struct row_remarks_t {
  std::string datetime;                  ///< of its first sample, ISO 8601; empty: not known
  std::string_view verdict;              ///< "pass" or "fail"; empty: no limit concerns it
  const chirp_trust_t* trust = nullptr;  ///< null: not asked for
};

/// One measured chirp of a recording: a row of every table.
struct chirp_t {
  std::uint64_t number = 0;         ///< over the recording, from 1
  std::uint64_t first_sample = 0;   ///< on the recording's axis
  std::uint64_t last_sample = 0;    ///< inclusive
  double start = 0.0;               ///< first_sample over the rate [s]
  double stop = 0.0;                ///< last_sample over the rate [s]
  double fm_settling_point = 0.0;   ///< on the axis of start [s]
  double pm_settling_point = 0.0;   ///< on the axis of start [s]
  double idle = 0.0;                ///< gap to the chirp before [s]; NaN where there is none
  double period = 0.0;              ///< from its start to this one [s]; NaN where there is none
  settling_t settling = {};         ///< by the smoothed frequency
  phase_fit_t fit = {};             ///< of its samples but for turn_margin at either end
  turns_t turns = {};               ///< places [s] on the axis of start, uncertainties [s]
  std::optional<double> centre;     ///< RF frequency of 0 Hz [Hz]
  std::uint32_t flags = 0;          ///< of chirp_flag_t
  bool selected = false;            ///< by `chirp_start` and `chirp_count`
  envelope_noise_t noise;           ///< told by its own samples
  std::uint64_t clipped_count = 0;  ///< samples inside that reached the converter's end

  /// The library's figures. In spans, `length` and `switching_time` are differences of the times
  /// above in double, in the library's frames they are its own, in single precision; its
  /// `start_time`, `stop_time` and settling points count from the frame's first candidate.
  fmcw_demod_lib::fmcw_chirp_result_t figures;
};

}  // namespace orn::fmcw_host
