#pragma once

#include "common/figures/chirp.h"
#include "common/output/json_writer.h"

namespace orn::fmcw_host {

/// Writes one chirp as an object: chirp, direction, first_sample, last_sample, selected, the
/// figures by their columns, flags, start_datetime (null: not known), and verdict where there are limits (null: none concerns
/// it). Beside figures that are judged stand, where the remarks have their trust, their _bias, _u,
/// _floor, _true (null: unknown) and _trust. Figures that need an RF frequency nobody told are
/// left out.
void write_json(json_writer_t& out, const chirp_t& chirp, const row_remarks_t& remarks,
                bool with_verdict);

}  // namespace orn::fmcw_host
