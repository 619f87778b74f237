#pragma once

#include "common/diagnosis/candidate_counts.h"
#include "common/diagnosis/signal_look.h"
#include "common/spans/proposal.h"

#include <cstdint>

namespace orn::fmcw_host {

/// What was seen instead of chirps, in spans that have none.
struct nothing_seen_t {
  candidate_counts_t counts;  ///< of the first spans
  signal_look_t look;         ///< of the first one
  proposal_t proposal;        ///< of the first one

  /// Adds what the next span has seen.
  void add(nothing_seen_t next) {
    if (look.sample_count == 0) {
      look = next.look;
      proposal = std::move(next.proposal);
    }
    counts.add(next.counts);
  }
};

/// Spans of a segment that are looked at.
inline constexpr std::uint64_t looked_spans = 16;

}  // namespace orn::fmcw_host
