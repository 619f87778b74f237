#pragma once

#include <fmcw_demod/types.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace orn::fmcw_host {

/// A straight frequency over samples counted from their middle, (n - 1) / 2.
struct line_of_frequency_t {
  double middle = 0.0;  ///< [turns per sample]
  double slope = 0.0;   ///< [turns per sample^2]
};

/// Most samples of a block.
inline constexpr std::size_t longest_block = 64;

/// What the samples say by themselves: frequencies of 32 blocks of up to 64 samples, by the sum of
/// x[k+1] conj x[k], and a line through them.
struct first_look_t {
  line_of_frequency_t line;  ///< NaN where nothing can be told
  /// RMS of the frequencies about it but for noise, with what noise leaves of it [turns per sample].
  double deviation = 0.0;
};

/// samples  64 or more
first_look_t look_at_frequency(std::span<const fmcw_demod_lib::sample_t> samples);

/// Phases of blocks of samples about those of a line: each block is turned back by the line, summed,
/// and the angle of the sum taken. Averaging before the angle is what makes it hold at noise in which
/// single phases slip.
struct block_phases_t {
  line_of_frequency_t line;          ///< counted from the blocks' middle
  std::size_t length = 0;            ///< samples of a block
  std::size_t first = 0;             ///< sample that the first one begins at
  std::vector<double> turns;         ///< unwrapped: each within half a turn of the one before
  std::vector<std::uint8_t> usable;  ///< 0: not finite, or no signal
  double noise =
      0.0;  ///< phase variance of a sample within blocks: power beside the line over that
            ///< on it, half of which is phase [rad^2]; 0 for blocks of one
};

/// length  1 to longest_block, at most the samples; a remainder is left out, half of it at either end
block_phases_t phases_about(std::span<const fmcw_demod_lib::sample_t> samples,
                            const line_of_frequency_t& line, std::size_t length);

/// Finds steps of whole turns between two stretches of 16 values, both straight, with up to 4 values
/// between them, takes them out of all that follows, and tells how many turns there were.
std::uint64_t mend_slips(std::span<double> turns);

}  // namespace orn::fmcw_host
