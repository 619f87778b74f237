#pragma once

#include "common/figures/chirp.h"
#include "common/settings/settings.h"
#include "common/trust/chirp_trust.h"

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace orn::fmcw_host {

/// The trust in a figure over the chirps of one direction.
struct figure_summary_t {
  figure_trust_t mean;  ///< of what is known of each; the word that most have, of two the worse
  std::array<std::uint64_t, trust_count> counts = {};  ///< chirps with each word
};
using direction_summary_t = std::array<figure_summary_t, trusted_columns.size()>;

/// Something to do about it.
struct advice_t {
  std::string sentence;  ///< without its point
  std::string options;   ///< of `fmcw`, "--set slope_tol=200kHz/us"; empty: none helps
};

/// How far a capture can be trusted. NaN: unknown.
struct statement_t {
  std::uint64_t chirp_count = 0;
  std::uint64_t told_count = 0;   ///< chirps whose noise is told
  std::uint64_t white_count = 0;  ///< and white
  std::uint64_t slip_count = 0;   ///< chirps whose phase seems to have slipped by 2 pi
  double clipped_share = std::numeric_limits<double>::quiet_NaN();  ///< of the chirps' samples
  double snr = std::numeric_limits<double>::quiet_NaN();            ///< mean of the chirps [dB]
  double correlation =
      std::numeric_limits<double>::quiet_NaN();  ///< of the noise, mean correlation_1
  double slope_over_slip = std::numeric_limits<double>::quiet_NaN();    ///< slope_over_slip()
  double cliff = std::numeric_limits<double>::quiet_NaN();              ///< cliff_of() [dB]
  double margin = std::numeric_limits<double>::quiet_NaN();             ///< snr - cliff [dB]
  double found_probability = std::numeric_limits<double>::quiet_NaN();  ///< of a chirp
  double dead_zone_loss = std::numeric_limits<double>::quiet_NaN();     ///< dead_zone_loss()
  double gap_over_merging = std::numeric_limits<double>::quiet_NaN();   ///< NaN: triangles too
  bool is_merge_risk = false;  ///< within 30 % of 1, and the settings let it matter
  bool is_too_short = false;   ///< is_too_short()
  std::vector<advice_t> advice;
  std::array<std::optional<direction_summary_t>, 2> directions;  ///< up, down

  /// Whether the envelope is disturbed slowly, as by echoes, and not by noise.
  bool is_slow() const { return correlation > 0.9; }

  /// Judged figures that mostly have that word, each counted once, by its worst direction.
  std::size_t figure_count(trust_t word) const;
};

/// A mean of what is known.
struct known_mean_t {
  double sum = 0.0;
  std::uint64_t count = 0;
  void add(double value);
  double get() const;
};
/// Of one figure.
struct figure_sums_t {
  known_mean_t value, bias, u, floor, truth;
  std::array<std::uint64_t, trust_count> counts = {};
};

/// Gathers the statement of a capture from its rows, in order, in memory of one size.
class statement_maker_t {
 public:
  /// settings           that the rows were found by; must outlive the maker
  /// knows_clip_levels  whether the recording's converter ends are known
  statement_maker_t(const settings_t& settings, bool knows_clip_levels)
      : settings_(settings), knows_clip_levels_(knows_clip_levels) {}

  /// The next row. Returns the trust in its figures.
  chirp_trust_t add(const chirp_t& chirp);

  statement_t statement() const;

 private:
  using direction_sums_t = std::array<figure_sums_t, trusted_columns.size()>;

  void add_scene(const chirp_t& chirp, const chirp_scene_t& scene);
  void judge_detection(statement_t& statement) const;
  static direction_summary_t summary_of(const direction_sums_t& sums);

  const settings_t& settings_;
  bool knows_clip_levels_;
  statement_t counted_;
  std::optional<chirp_t> before_;
  std::uint64_t sample_count_ = 0;
  std::uint64_t clipped_count_ = 0;
  known_mean_t snr_, correlation_, slope_, flyback_, ramp_, flyback_samples_, centre_;
  std::array<std::optional<direction_sums_t>, 2> sums_;
};

/// "SNR 20.1 dB, 10.2 dB above the cliff; of 21 figures 4 are noise, 3 near the floor".
std::string statement_line(const statement_t& statement);

}  // namespace orn::fmcw_host
