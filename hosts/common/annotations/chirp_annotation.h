#pragma once

#include "common/capture/annotation.h"
#include "common/capture/json_value.h"
#include "common/figures/chirp.h"

#include <string_view>

namespace orn::fmcw_host {

/// A measured chirp as a SigMF annotation: core:sample_start, core:sample_count, both frequency
/// edges (of the RF where a centre is known, else of the baseband), core:label ("up 12"),
/// core:generator, and its figures in the extension `fmcw`, which docs/annotations.md describes.
///
/// The edges lie half the bandwidth about the mean frequency. What is not finite is left out; the
/// slope, which makes an annotation tell the truth of a chirp, with any other that this needs.
/// verdict  "pass", "fail", or empty: no limit concerned it
json_value_t annotation_of(const chirp_t& chirp, std::string_view verdict);

/// Whether an annotation was measured by this program: such are replaced by later ones.
bool is_measured(const annotation_t& annotation);

/// The element of core:extensions that declares the extension.
json_value_t extension_declaration();

}  // namespace orn::fmcw_host
