#pragma once

#include "common/errors.h"
#include "common/settings/settings.h"

#include <fmcw_demod/config_record.h>

#include <cstdint>

namespace orn::fmcw_host {

/// The library's frame plan of a capture, with numbers of any size.
struct frame_plan_t {
  std::uint64_t start = 0;   ///< first analysed sample
  std::uint64_t end = 0;     ///< one past the last; start: no span at all
  std::uint64_t length = 0;  ///< samples per frame
  std::uint64_t count = 0;   ///< number of frames
};

/// The plan that the library would lay out if it could hold `sample_count` samples; see FMCWConfig.
/// Throws input_error_t naming the settings for a plan that cannot end or wraps 32 bits.
frame_plan_t plan_frames(const settings_t& settings, std::uint64_t sample_count);

/// The record's advanced settings with one frame over a capture of so many samples.
fmcw_demod_lib::fmcw_advanced_config_t one_frame(const fmcw_demod_lib::fmcw_demod_config_t& record,
                                                 std::uint64_t sample_count);

/// Says that the time settings leave nothing to analyse.
run_error_t no_span_error(const settings_t& settings, std::uint64_t sample_count);

}  // namespace orn::fmcw_host
