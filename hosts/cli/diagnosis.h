#pragma once

#include "commands.h"
#include "common/diagnosis/nothing.h"
#include "measurement.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace fmcw_cli {

/// The call that a change of options makes of reading a capture, to paste into a shell.
std::string command_text(const capture_call_t& capture, const std::string& change);

/// Why an analysis found no chirp; nothing where it found some.
/// remark  gets a sentence where there are some in data that look like none
std::optional<orn::fmcw_host::diagnosis_t> examine(
    const measurement_t& measurement, const orn::fmcw_host::recording_totals_t& totals,
    std::uint64_t chirp_count, const std::function<void(const std::string&)>& remark);

/// Tells why there are no chirps, what was counted, and the command that would find some.
void tell_diagnosis(const orn::fmcw_host::diagnosis_t& diagnosis, const capture_call_t& capture);

}  // namespace fmcw_cli
