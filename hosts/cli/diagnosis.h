#pragma once

#include "commands.h"
#include "common/diagnosis/nothing.h"

#include <string>

namespace fmcw_cli {

/// The call that a change of options makes of reading a capture, to paste into a shell.
std::string command_text(const capture_call_t& capture, const std::string& change);

/// Tells why there are no chirps, what was counted, and the command that would find some.
void tell_diagnosis(const orn::fmcw_host::diagnosis_t& diagnosis, const capture_call_t& capture);

}  // namespace fmcw_cli
