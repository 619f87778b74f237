#include "common/spans/whole_analysis.h"

#include "common/errors.h"
#include "common/memory.h"
#include "common/spans/frame_plan.h"
#include "common/spans/layout.h"
#include "common/spans/span_analysis.h"

#include <fmcw_demod/engine.h>
#include <fmcw_demod/parameters.h>

#include <cmath>
#include <limits>
#include <utility>

namespace orn::fmcw_host {
namespace {

using namespace fmcw_demod_lib;

void scale(std::vector<float>& values, int exponent) {
  for (float& value : values) {
    value = std::ldexp(value, exponent);
  }
}

void scale_result_back(fmcw_measure_result_t& result, std::uint32_t rate_doublings) {
  const auto n = static_cast<int>(rate_doublings);
  for (fmcw_chirp_result_t& chirp : result.chirp_results) {
    scale_back(chirp, rate_doublings);
  }
  for (auto* times : {&result.time_axis, &result.spectrogram_time_axis_wincfg,
                      &result.frame_time_axis, &result.chirp_time_axis,
                      &result.chirp_phi_dev_time_axis, &result.chirp_freq_dev_time_axis}) {
    scale(*times, n);
  }
  for (auto* frequencies : {&result.instantaneous_freq, &result.spectrogram_freq_axis_wincfg,
                            &result.chirp_freq_dev, &result.chirp_freq_fit}) {
    scale(*frequencies, -n);
  }
  result.first_chirp_start = std::ldexp(result.first_chirp_start, n);
  result.switching_time_std = std::ldexp(result.switching_time_std, n);
  result.freq_avg = std::ldexp(result.freq_avg, -n);
  result.summary_slope_tol = std::ldexp(result.summary_slope_tol, -2 * n);
}

}  // namespace

double bytes_of_whole(const settings_t& settings, std::uint64_t sample_count,
                      bool with_spectrogram) {
  const auto samples = static_cast<double>(sample_count);
  const double window = settings.manager.get_window_length();
  const double hop = window - settings.manager.get_window_overlap();
  constexpr double row_bytes = 48.0;  // a vector of its own, as the heap hands it out
  const double rows = with_spectrogram && window <= samples ? samples / hop : 0.0;
  return static_cast<double>(bytes_of_span(sample_count)) + rows * (4.0 * window + row_bytes);
}

void check_whole(const settings_t& settings, std::uint64_t sample_count, bool with_spectrogram) {
  const double bytes = bytes_of_whole(settings, sample_count, with_spectrogram);
  const auto available = static_cast<double>(memory_of_machine());
  if (bytes > available || sample_count > most_indexed_samples) {
    throw input_error_t(
        "{} samples at once need {:.1f} GB{}; allowed are 2^31 - 1 samples and, on this machine, "
        "{:.1f} GB: take a part with --from and --for",
        sample_count, bytes * 1e-9, with_spectrogram ? " with their spectrogram" : "",
        available * 1e-9);
  }
}

fmcw_measure_result_t analyze_whole(const settings_t& settings, std::vector<sample_t> samples,
                                    bool with_spectrogram) {
  check_whole(settings, samples.size(), with_spectrogram);
  fmcw_demod_config_t record = scaled_record(settings);
  if (!with_spectrogram) {
    record.advanced.window = {std::numeric_limits<std::uint32_t>::max(), 0};
  }
  if (settings.search == search_t::frames) {
    plan_frames(settings, samples.size());
  } else {
    record.advanced = one_frame(record, samples.size());
  }
  SignalStream stream{std::move(samples), 0.0F};
  const FMCWConfig parameters(record, &stream.samples, stream.fs);
  FMCWAnalyze engine(parameters);
  fmcw_measure_result_t result;
  engine.analyze(stream, result);
  if (result.summary_valid == 0) {
    throw no_span_error(settings, stream.samples.size());
  }
  scale_result_back(result, settings.rate_doublings);
  return result;
}

}  // namespace orn::fmcw_host
