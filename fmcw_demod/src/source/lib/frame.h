#pragma once

#include "scratch.h"

#include <fmcw_demod/engine.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace orn::fmcw_demod_lib {

/// Traces over the whole capture that every frame reads.
struct capture_traces_t {
  std::vector<float> time;                  ///< [s]
  std::vector<float> power;                 ///< [dBm]
  common_lib::scratch_t<double> frequency;  ///< unsmoothed [Hz]
};

/// What the frames of one analysis add up.
struct chirp_tally_t {
  std::vector<fmcw_chirp_result_t> chirps;
  std::vector<double> switching_times;  ///< [s], one per chirp
  float first_chirp_start = 0.0F;       ///< first candidate of the first frame, capture time [s]
  std::uint32_t measured = 0;
  double frequency_sum = 0.0;  ///< of the chirps' freq_avg [Hz]
};

/// One frame: the samples [begin, end) of the capture and what is found in them.
struct frame_t {
  std::uint32_t index;  ///< from 0
  std::size_t begin;
  std::size_t end;
  std::vector<float> time{};             ///< [s]
  std::vector<float> slope_raw{};        ///< [Hz/s]
  std::vector<float> slope_smooth{};     ///< [Hz/s]
  std::vector<interval_t> candidates{};  ///< chirp candidates, counted from `begin`

  std::size_t size() const { return end - begin; }
};

/// Finds the chirp boundaries of a frame and keeps the candidates whose duration lies strictly
/// between the configured limits. Fills every vector of the frame.
void find_candidates(const FMCWAnalyze& engine, const fmcw_demod_config_t& config,
                     const capture_traces_t& traces, frame_t& frame);

/// Refines and measures the candidates of a frame, of which there is at least one: moves the
/// frame's time to the first candidate's start, fills the first-frame and display traces and
/// appends the chirps and their intervals.
void measure_candidates(const FMCWAnalyze& engine, const fmcw_demod_config_t& config,
                        const std::vector<sample_t>& samples, const capture_traces_t& traces,
                        frame_t& frame, chirp_tally_t& tally, fmcw_measure_result_t& result);

}  // namespace orn::fmcw_demod_lib
