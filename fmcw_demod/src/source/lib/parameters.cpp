#include "basefunc/kernels.h"
#include "conditioning.h"
#include "truncation.h"

#include <float_environment/default_environment.h>
#include <fmcw_demod/basefunc.h>
#include <fmcw_demod/parameters.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <optional>

namespace orn::fmcw_demod_lib {
namespace {

constexpr float rate_epsilon = std::numeric_limits<float>::epsilon();  // 2^-23 Hz

struct span_t {
  std::uint64_t start;
  std::uint64_t end;
  double duration;  ///< of the analysed length, before its ends are skipped [s]
};

std::optional<span_t> analysed_span(const fmcw_advanced_config_t& settings,
                                    std::uint64_t sample_count, double fs) {
  double duration =
      static_cast<double>(static_cast<float>(sample_count)) / (double{rate_epsilon} + fs);
  std::optional<std::uint64_t> length = sample_count;
  if (settings.time_auto_mode != fmcw_auto_detect_t::whole_capture) {
    if (duration >= settings.meas_time) {
      duration = settings.meas_time;
    }
    length = truncated<std::uint64_t>(fs * duration);
  }
  if (!length) {
    return std::nullopt;
  }
  const auto samples = static_cast<double>(*length);
  const auto start = truncated<std::uint64_t>(settings.from_start * samples);
  const auto end = truncated<std::uint64_t>(samples * (1.0 - settings.from_end));
  if (!start || !end || *start >= *end) {
    return std::nullopt;
  }
  return span_t{*start, *end, duration};
}

/// The frame length comes from the record's sample rate, the frame count from the duration.
std::optional<fmcw_analysis_range_t> cut_into_frames(const fmcw_demod_config_t& config,
                                                     const span_t& span) {
  const fmcw_advanced_config_t& settings = config.advanced;
  const double gate = settings.time_gate_len;
  const std::uint64_t span_length = span.end - span.start;
  auto length = truncated<std::uint64_t>(config.fs * gate);
  if (length) {
    --*length;  // a frame is one sample shorter than its time; 0 wraps, which the 32-bit plan keeps
  }
  std::uint32_t count = 1;
  if (gate > 0.0) {
    const double share = (1.0 - settings.from_end) - settings.from_start;
    const auto whole_frames = truncated<std::int64_t>(share * span.duration / gate);
    if (!whole_frames) {
      return std::nullopt;
    }
    count = static_cast<std::uint32_t>(*whole_frames);
    if (count == 0) {
      length = span_length;
      count = 1;
    }
  }
  if (!length) {
    return std::nullopt;
  }
  if (*length == 0) {
    length = span_length;
  }
  return fmcw_analysis_range_t{static_cast<std::uint32_t>(span.start),
                               static_cast<std::uint32_t>(span.end),
                               static_cast<std::uint32_t>(*length), count};
}

fmcw_analysis_range_t plan_frames(const fmcw_demod_config_t& config, std::uint64_t sample_count,
                                  float stream_fs) {
  const float fs = std::abs(stream_fs) < rate_epsilon ? static_cast<float>(config.fs) : stream_fs;
  const auto span = analysed_span(config.advanced, sample_count, fs);
  return span ? cut_into_frames(config, *span).value_or(fmcw_analysis_range_t{})
              : fmcw_analysis_range_t{};
}

void simple_frequency(const std::vector<sample_t>& signal, float fs, std::vector<float>& freq) {
  if (signal.size() <= 1 || fs <= 0.0F) {
    freq.clear();
    return;
  }
  std::vector<float> phase(signal.size());
  freq.resize(signal.size());
  kernels::phase_angles(signal, phase);
  kernels::unwrap<float>(phase);
  constexpr float two_pi = 2.0F * std::numbers::pi_v<float>;
  const float scale = fs / two_pi;
  const std::size_t last = phase.size() - 1;
  freq[0] = (phase[1] - phase[0]) * scale;
  for (std::size_t i = 1; i < last; ++i) {
    freq[i] = ((phase[i + 1] - phase[i - 1]) * 0.5F) * scale;
  }
  freq[last] = (phase[last] - phase[last - 1]) * scale;
}

}  // namespace

FMCWConfig::FMCWConfig(const fmcw_demod_config_t& settings, std::vector<sample_t>* signal, float fs)
    : config(settings),
      triang_37(basefunc::generate_triang_window(frequency_smoothing)),
      triang_256(basefunc::generate_triang_window(slope_smoothing)) {
  float_environment::in_default_environment([&] {
    config.impedance = 2.0 * settings.impedance;
    if (signal != nullptr && !signal->empty()) {
      analysis_range = plan_frames(settings, signal->size(), fs);
    }
  });
}

std::vector<float> FMCWConfig::get_smoothing_window(int n) const {
  switch (n) {
    case frequency_smoothing:
      return triang_37;
    case slope_smoothing:
      return triang_256;
    default:
      return basefunc::generate_triang_window(n);
  }
}

std::vector<double> FMCWConfig::get_smoothing_window_double(int n) const {
  return basefunc::generate_triang_window_double(n);
}

void FMCWConfig::compute_instantaneous_freq_simple(const std::vector<sample_t>& signal, float fs,
                                                   std::vector<float>& freq) {
  float_environment::in_default_environment([&] { simple_frequency(signal, fs, freq); });
}

}  // namespace orn::fmcw_demod_lib
