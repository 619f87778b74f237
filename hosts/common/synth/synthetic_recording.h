#pragma once

#include "common/output/recording_writer.h"
#include "common/synth/transmitter.h"

#include <cstdint>
#include <functional>
#include <string>

namespace orn::fmcw_host {

/// Writes the samples of a transmitter, of any length in bounded memory, as a recording whose
/// annotations tell the truth about each whole ramp.
/// path      as create_recording() takes it
/// progress  called now and then with the samples done
/// Throws input_error_t and run_error_t; then no file appears.
written_t write_synthetic(const transmitter_t& transmitter, const std::string& path,
                          existing_t existing, const std::function<void(std::uint64_t)>& progress);

}  // namespace orn::fmcw_host
