#pragma once

#include <fmcw_demod/config_record.h>
#include <fmcw_demod/result_record.h>
#include <fmcw_demod/types.h>

#include <span>
#include <vector>

/// The spectra of FMCWAnalyze, which has their descriptions.
namespace orn::fmcw_demod_lib {

void compute_stft_wincfg(std::span<const sample_t> signal, float fs,
                         const fmcw_window_config_t& window, fmcw_measure_result_t& result);

void compute_spectrogram(std::span<const sample_t> signal, float fs, fmcw_measure_result_t& result);

void compute_psd(std::span<const sample_t> signal, float fs, std::vector<float>& freq,
                 std::vector<float>& magnitude_db);

}  // namespace orn::fmcw_demod_lib
