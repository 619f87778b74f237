#pragma once

#include <fmcw_demod/parameters.h>
#include <fmcw_demod/result_record.h>

namespace orn::fmcw_demod_lib {

/// The road of one analysis; see FMCWAnalyze::analyze.
void analyze(const FMCWConfig& parameters, const SignalStream& signal,
             fmcw_measure_result_t& result);

}  // namespace orn::fmcw_demod_lib
