#pragma once

#include "common/capture/sample_source.h"
#include "common/spans/candidates.h"

#include <fmcw_demod/types.h>

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace orn::fmcw_host {

/// Settings that suit a recording, with what they were chosen by.
struct proposal_t {
  std::vector<candidate_group_t> chosen;    ///< none: nothing found; two: up and down are alike
  std::vector<candidate_group_t> left_out;  ///< those next to them in total time, at most three
  std::vector<std::string> assignments;     ///< "max_chirp_len=148us", in the order to apply
  double coverage = 0.0;                    ///< share of the time that the chosen ones take
};

/// How far a proposal looks, and how many chirps it wants to have seen to look no further.
struct look_t {
  std::uint64_t samples;
  std::uint64_t enough_chirps;
};
inline constexpr std::array looks = {look_t{std::uint64_t{1} << 19, 32},
                                     look_t{std::uint64_t{1} << 22, 3},
                                     look_t{std::uint64_t{1} << 24, 0}};

/// Chooses settings from the beginning of a recording; non-finite samples are cut out.
///
/// Chirps are the group of like candidates with the greatest total time, or two groups where
/// opposite directions are alike. Limits of their length lie half-way, geometrically, to the
/// nearest other duration; half and twice their length always count as such. `slope_tol` is half
/// the slope, deviations are taken between offsets of an eighth of the length, and slow chirps get
/// a rate declared higher. Values are rounded to three digits, so that what is printed is what is
/// used.
proposal_t propose(std::span<const fmcw_demod_lib::sample_t> samples, double rate);

/// The same from the first samples of a source, as many as it takes by `looks`.
/// read  gets the samples that were read, for replay_source_t
proposal_t propose(sample_source_t& source, double rate,
                   std::vector<fmcw_demod_lib::sample_t>& read);

/// A source whose first samples were read already: hands those out again, then the others.
class replay_source_t : public sample_source_t {
 public:
  /// `rest` must outlive the source.
  replay_source_t(std::vector<fmcw_demod_lib::sample_t> read, sample_source_t& rest);

  std::size_t read(std::span<fmcw_demod_lib::sample_t> out) override;

 private:
  std::vector<fmcw_demod_lib::sample_t> read_;  ///< emptied once they are handed out
  std::size_t position_ = 0;
  sample_source_t& rest_;
};

/// How often the rate has to be doubled for the library's dead zone of 100 Hz/s per sample to be
/// negligible: until |slope| reaches 2^30 Hz/s.
std::uint32_t doublings_for(double slope);

/// "98.6us, +400kHz/us".
std::string group_text(const candidate_group_t& group);

/// What was chosen and left out, on one line.
std::string proposal_text(const proposal_t& proposal);

}  // namespace orn::fmcw_host
