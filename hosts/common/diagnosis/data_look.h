#pragma once

#include "common/capture/datatype.h"

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace orn::fmcw_host {

/// What the bytes of a file look like, where they look like no samples of the format they are read
/// in. A guess from their beginning: "looks like", never "is".
struct data_look_t {
  enum kind_t {
    ordinary,      ///< nothing speaks against the format
    packed,        ///< compressed, an archive
    text,          ///< text
    headed,        ///< another file format's header before the samples
    random,        ///< bytes without any pattern: compressed or encrypted
    other_format,  ///< samples of another format, byte order included
    real_valued,   ///< a real signal, for want of imaginary parts or taken in pairs
  };
  kind_t kind = ordinary;
  std::string name;  ///< "gzip", "JSON", "WAV", the other format by its SigMF name
};

/// Bytes that are worth looking at.
inline constexpr std::size_t looked_bytes = std::size_t{1} << 20;

/// What a file's first bytes say by themselves; ordinary where they say nothing.
data_look_t look_at_head(std::span<const std::byte> head);

/// Looks at the bytes that are read as samples of `type`.
///
/// head  of the file
/// data  of the dataset in it; more than looked_bytes take longer to no use
///
/// Another format is named where the samples jump about (or are not even plausible voltages) as
/// they are read and are smooth in that one: |mean of x[n+1] x*[n]| over blocks of 64 samples below
/// 0.5 and above 0.8 of their power. Bytes without a pattern are those where each of the eight places
/// of a 64-bit word has an entropy above 7.9 bits and no correlation with the word before.
data_look_t look_at_data(std::span<const std::byte> head, std::span<const std::byte> data,
                         const datatype_t& type);

/// "a gzip file, compressed; unpack it first", "samples of cf32_be".
std::string look_text(const data_look_t& look);

}  // namespace orn::fmcw_host
