#pragma once

#include "common/figures/chirp.h"
#include "common/output/json_writer.h"

#include <optional>
#include <string_view>

namespace orn::fmcw_host {

/// Writes one chirp as an object: chirp, direction, first_sample, last_sample, selected, the
/// figures by their columns, flags, and verdict where there are limits. Figures that need an RF frequency nobody told are
/// left out.
/// verdict  "pass", "fail", "": null, since no limit concerns it; nothing: there are no limits
void write_json(json_writer_t& out, const chirp_t& chirp,
                std::optional<std::string_view> verdict = std::nullopt);

}  // namespace orn::fmcw_host
