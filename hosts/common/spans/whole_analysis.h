#pragma once

#include "common/settings/settings.h"

#include <fmcw_demod/result_record.h>

#include <cstdint>
#include <vector>

namespace orn::fmcw_host {

/// Bytes that analyze_whole() takes: 64 a sample and, where wanted, the spectrogram's levels.
double bytes_of_whole(const settings_t& settings, std::uint64_t sample_count,
                      bool with_spectrogram);

/// Throws input_error_t, with the estimate, where analyze_whole() of so many samples takes more
/// memory than this machine has, or they are more than the library can index.
void check_whole(const settings_t& settings, std::uint64_t sample_count, bool with_spectrogram);

/// Analyses a recording in memory at once and returns everything the library gives, traces at the
/// recording's rate. In spans it is one frame over all samples.
///
/// with_spectrogram  false leaves the spectrogram out
///
/// Throws as check_whole() does, before it starts, and run_error_t where the settings leave no span to analyse.
fmcw_demod_lib::fmcw_measure_result_t analyze_whole(const settings_t& settings,
                                                    std::vector<fmcw_demod_lib::sample_t> samples,
                                                    bool with_spectrogram);

}  // namespace orn::fmcw_host
