#pragma once

#include "common/capture/sample_source.h"

#include <complex>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace orn::fmcw_host {

/// The greatest decimation.
inline constexpr std::uint32_t most_decimate = 4096;

/// What is done to samples before they are analysed.
struct conditioning_t {
  double shift = 0.0;                   ///< by which every frequency moves up [Hz]
  std::optional<double> low_pass = {};  ///< where the gain is 1/2 [Hz]; nothing: see decimate
  std::uint32_t decimate = 1;           ///< one sample of so many is kept

  bool is_none() const { return shift == 0.0 && !has_low_pass(); }

  /// Whether there is a low-pass: asked for, or at 0.45 of the new rate, which decimating needs.
  bool has_low_pass() const { return low_pass || decimate > 1; }
};

/// Throws input_error_t, naming the option, where samples of that rate [Hz] cannot be conditioned
/// so: |shift| beyond half the rate, low_pass not in (0, half the rate], decimate not in 1 to 4096.
void check(const conditioning_t& conditioning, double rate);

/// The samples of a segment, moved in frequency, low-pass filtered, every so many of them: those at
/// positions on the recording's axis that `decimate` divides, so that position p becomes
/// p / decimate and times stay what they were. The filter has 24 decimate + 1 taps of linear phase
/// and its delay is taken out; beyond the segment's ends samples count as 0, so the first and last
/// 12 are rounded off. A sample that is not finite spoils 24 around it.
class conditioned_source_t : public sample_source_t {
 public:
  /// source        must outlive this
  /// first_sample  the segment's first position
  /// rate          [Hz], of the source
  conditioned_source_t(sample_source_t& source, const conditioning_t& conditioning,
                       std::uint64_t first_sample, double rate);

  std::size_t read(std::span<fmcw_demod_lib::sample_t> out) override;

 private:
  void fill(std::size_t outputs);
  void move_in_frequency(std::span<fmcw_demod_lib::sample_t> samples);

  sample_source_t& source_;
  std::size_t decimate_;
  std::vector<double> taps_;
  double turns_per_sample_;
  std::vector<std::complex<double>> oscillator_;  ///< one block of it; empty: no shift
  std::vector<fmcw_demod_lib::sample_t> held_;    ///< from the first tap of the next output on
  std::uint64_t next_;                            ///< position of the next sample of the source
  bool at_end_ = false;
};

/// How many samples come of those at positions [first_sample, first_sample + count).
std::uint64_t conditioned_count(std::uint64_t first_sample, std::uint64_t count,
                                std::uint32_t decimate);

}  // namespace orn::fmcw_host
