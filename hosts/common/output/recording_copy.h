#pragma once

#include "common/capture/recording.h"
#include "common/condition/conditioned_source.h"
#include "common/output/recording_writer.h"

#include <cstdint>
#include <functional>
#include <string>

namespace orn::fmcw_host {

/// Writes a recording, or the part of it that was taken, under another name and format. A SigMF
/// description carries on what is known: the members of `global`, the captures with their centres
/// and times, the annotations within the part, at the same sample numbers.
///
/// options       sample_rate and sample_count follow from the recording
/// conditioning  what is done to the samples on the way; then sample numbers are divided by
///               `decimate`, rounded up, and what 0 Hz stands for moves against the shift
/// progress      called now and then with the samples read
///
/// Throws input_error_t when an output is an input, and as reading and writing do.
written_t copy_recording(const recording_t& recording, const std::string& path,
                         write_options_t options, const conditioning_t& conditioning,
                         const std::function<void(std::uint64_t)>& progress);

}  // namespace orn::fmcw_host
