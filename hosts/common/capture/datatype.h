#pragma once

#include <fmcw_demod/types.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace orn::fmcw_host {

/// A format of complex samples: I and Q interleaved. Whole numbers of n bits scale to +-1: the code
/// less the middle of its range, over 2^(n-1).
struct datatype_t {
  std::string_view name;     ///< as SigMF writes it
  std::size_t sample_bytes;  ///< of I and Q together
  float highest_code;        ///< scaled; 0: floating point, where nothing clips

  /// Samples of `out.size() * sample_bytes` bytes. Doubles beyond a float become infinite.
  void (*decode)(const std::byte* bytes, std::span<fmcw_demod_lib::sample_t> out);

  /// The inverse, rounded to the nearest code, ties to even; codes beyond the range become its
  /// ends. Returns how many samples were cut so. NaN becomes the middle of the range.
  std::size_t (*encode)(std::span<const fmcw_demod_lib::sample_t> samples, std::byte* bytes);
};

/// Every complex format of SigMF.
std::span<const datatype_t> datatypes();

/// By a SigMF name, or by the suffix that raw files carry (cf32, fc32, cfile, cf64, cs32, cs16,
/// sc16, cs8, cu8), in any case; null when the name is unknown.
const datatype_t* find_datatype(std::string_view name);

/// The SigMF names alone, for messages.
std::string sigmf_datatype_names();

/// All names that find_datatype() knows, for messages.
std::string datatype_names();

}  // namespace orn::fmcw_host
