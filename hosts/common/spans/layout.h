#pragma once

#include "common/settings/settings.h"

#include <cstdint>
#include <optional>

namespace orn::fmcw_host {

/// How a segment is cut into spans that are analysed on their own. Span k has the samples from
/// begin + k own on as its own; it reads `lead` samples before and `tail` samples after them as
/// well. The last span takes what remains, up to half as much again.
struct layout_t {
  std::uint64_t begin = 0;           ///< first sample of the segment that is analysed
  std::optional<std::uint64_t> end;  ///< one past the last; nothing: the segment's end
  std::uint64_t own = 0;             ///< samples that a span owns
  std::uint64_t lead = 0;            ///< samples it sees before them
  std::uint64_t tail = 0;            ///< and after them
  std::uint64_t frame_length = 0;    ///< of the library's frames; 0: each span is one frame
  std::uint64_t frames_per_span = 0;
  std::uint64_t uncovered = 0;  ///< samples that no frame covers

  /// Most samples of a span.
  std::uint64_t longest() const { return lead + own + own / 2 + tail; }
};

/// Samples of smoothing and merging context on either side of a chirp, besides its own length.
constexpr std::uint64_t seam_margin = 1024;

/// The layout that suits the settings.
///
/// In spans, a chirp is seen with both its switching points by the span it begins in: lead and tail
/// are 5/4 of `max_chirp_len` and `seam_margin`. A span owns 16 times `max_chirp_len`, but at least
/// 2^19 samples and at most 2^21, or twice `max_chirp_len` where that is more. In frames, spans hold whole frames of the library's own plan, as many as fit
/// into 2^21 samples; a segment that is not longer than 2^22 samples is one span, analysed with the
/// settings as they stand.
///
/// sample_count  of the segment; nothing: not known, which frames do not allow
///
/// Throws input_error_t for plans that cannot be carried out, with the estimate: frames of less
/// than 2 samples, more than 2^32 - 1 frames, spans that the library cannot index or this machine
/// has no memory for.
layout_t lay_out(const settings_t& settings, std::optional<std::uint64_t> sample_count);

/// Most samples that the library can index.
constexpr std::uint64_t most_indexed_samples = (std::uint64_t{1} << 31) - 1;

/// Bytes that the analysis of a span of so many samples takes at its peak.
std::uint64_t bytes_of_span(std::uint64_t sample_count);

}  // namespace orn::fmcw_host
