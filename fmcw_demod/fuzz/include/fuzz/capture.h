#pragma once

#include "generated.h"

#include <fmcw_demod/fmcw_demod.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <fuzz/input.h>

/// Captures and settings that a fuzzer's bytes stand for.
namespace orn::fuzz {

using fmcw_demod_lib::fmcw_demod_config_t;
using fmcw_demod_lib::sample_t;

/// Two thousand samples hold some chirps, and a thousand spectra of a thousand levels; no input
/// asks for more memory or time than that.
inline constexpr std::size_t longest_capture = 2048;

/// Numbers from the input while there are any, then noise: short inputs make long captures.
inline std::vector<sample_t> any_capture(input_t& input) {
  namespace generated = fmcw_demod_lib::generated;
  const std::size_t count = input.below(longest_capture + 1);
  const std::uint8_t kind = input.raw<std::uint8_t>();
  generated::random_t random(1 + kind);
  std::vector<sample_t> samples;
  switch (kind % 4) {
    case 0: {
      const double ramp = 20.0 + static_cast<double>(input.below(1000));
      const double flyback = 1.0 + static_cast<double>(input.below(400));
      samples = generated::sawtooth(count, ramp, flyback, input.one_in(2) ? 0.01F : 0.0F);
      break;
    }
    case 1:
      samples = generated::filled(count, [&] { return random.uniform(); });
      break;
    case 2:
      samples = generated::filled(count, [&] { return std::bit_cast<float>(random.bits()); });
      break;
    default:
      samples = generated::filled(
          count, [&] { return input.empty() ? random.uniform() : input.number<float>(); });
  }
  for (std::size_t spikes = input.raw<std::uint8_t>() % 4; spikes > 0 && count > 0; --spikes) {
    const std::size_t where = input.below(count);
    const auto re = input.number<float>();
    samples[where] = {re, input.number<float>()};
  }
  return samples;
}

/// A duration [s] of some samples at 125 MS/s, or any number.
inline void maybe_time(input_t& input, double& seconds) {
  if (input.one_in(4)) {
    seconds = input.number<double>();
  } else {
    seconds = static_cast<double>(input.below(longest_capture)) * 8e-9;
  }
}

/// Settings of every kind.
inline fmcw_demod_config_t any_settings(input_t& input) {
  fmcw_demod_config_t config;
  fmcw_demod_lib::fmcw_advanced_config_t& a = config.advanced;
  maybe_time(input, a.time_gate_len);
  maybe_time(input, a.meas_time);
  maybe_time(input, a.min_chirp_len);
  maybe_time(input, a.max_chirp_len);
  if (input.one_in(4)) {
    a.window = {input.raw<std::uint32_t>(), input.raw<std::uint32_t>()};
  } else {
    a.window.window_length = static_cast<std::uint32_t>(input.below(512));
    a.window.window_overlap = static_cast<std::uint32_t>(input.below(a.window.window_length + 1));
  }
  for (double* share : {&a.from_start, &a.from_end, &a.analysis_exclude, &a.devlength_len,
                        &a.devlength_offset_begin, &a.devlength_offset_end, &a.chirp.ref_slope,
                        &a.chirp.slope_tol, &config.fs, &config.impedance, &config.freq_center,
                        &config.reserved_a, &a.time_gate_start}) {
    if (input.one_in(4)) {
      *share = input.number<double>();
    }
  }
  for (std::uint32_t* count : {&a.chirp_start, &a.chirp_count, &config.display_chirpNO}) {
    if (input.one_in(4)) {
      *count = input.one_in(4) ? input.raw<std::uint32_t>() : input.raw<std::uint8_t>() % 8U;
    }
  }
  const std::uint8_t modes = input.raw<std::uint8_t>();
  config.chirp_detect = fmcw_demod_lib::fmcw_chirp_detect_t{modes & 1U};
  config.chirp_set = fmcw_demod_lib::fmcw_chirp_set_t{modes >> 1U & 1U};
  a.time_auto_mode = fmcw_demod_lib::fmcw_auto_detect_t{modes >> 2U & 1U};
  a.st_config = fmcw_demod_lib::fmcw_st_config_t{modes >> 3U & 1U};
  a.devlength_ref = fmcw_demod_lib::fmcw_devlength_ref_t{modes >> 4U & 1U};
  return config;
}

}  // namespace orn::fuzz
