#pragma once

#include <fmcw_demod/config_record.h>
#include <fmcw_demod/parameters.h>
#include <fmcw_demod/result_record.h>
#include <fmcw_demod/types.h>
#include <memory/scratch.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace orn::fmcw_demod_lib {

/// Traces over the whole capture that every frame reads.
struct capture_traces_t {
  std::vector<float> time;              ///< [s]
  std::vector<float> power;             ///< [dBm]
  memory::scratch_t<double> frequency;  ///< unsmoothed [Hz]
};

/// What the frames of one analysis add to.
struct chirp_tally_t {
  std::vector<fmcw_chirp_result_t> chirps;
  float first_chirp_start = 0.0F;  ///< first candidate of the first frame, capture time [s]
};

/// One frame: the samples [begin, end) of the capture and what is found in them.
struct frame_t {
  std::uint32_t index = 0;
  std::size_t begin = 0;
  std::size_t end = 0;
  std::vector<float> slope_raw;        ///< [Hz/s]
  std::vector<float> slope_smooth;     ///< [Hz/s]
  std::vector<interval_t> candidates;  ///< chirp candidates, counted from `begin`

  std::size_t size() const { return end - begin; }
};

/// What every step of one analysis reads.
struct analysis_t {
  const FMCWConfig& parameters;
  const fmcw_demod_config_t settings;  ///< copy of the parameters' record, whose band may change
  const std::vector<sample_t>& samples;
  capture_traces_t traces{};
};

/// Finds the chirp boundaries of a frame and keeps the candidates whose duration lies strictly
/// between the configured limits. Fills every vector of the frame anew.
void find_candidates(const analysis_t& analysis, frame_t& frame);

/// Refines and measures the candidates of a frame, of which there is at least one: fills the
/// first-frame and display traces and appends the chirps, timed from the first candidate's start,
/// and their intervals.
void measure_candidates(const analysis_t& analysis, const frame_t& frame, chirp_tally_t& tally,
                        fmcw_measure_result_t& result);

}  // namespace orn::fmcw_demod_lib
