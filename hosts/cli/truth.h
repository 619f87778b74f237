#pragma once

#include "common/capture/recording.h"
#include "common/figures/chirp.h"
#include "common/settings/settings.h"

#include <ostream>
#include <vector>

namespace fmcw_cli {

/// Shows each chirp that the recording's annotations promise beside the measured one, and the ones
/// that were not measured with the reason. A measured chirp stands for at most one promised chirp,
/// the one it shares most samples with.
///
/// Returns whether every promised chirp was measured that lies whole between two switching points
/// of the recording and within the limits. Throws input_error_t.
bool print_against_truth(std::ostream& out, const orn::fmcw_host::recording_t& recording,
                         const orn::fmcw_host::settings_t& settings,
                         const std::vector<orn::fmcw_host::chirp_t>& chirps);

}  // namespace fmcw_cli
