#include "digest.h"

#include <fmcw_demod/fmcw_demod.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include <fuzz/capture.h>
#include <fuzz/input.h>
#include <fuzz/targets.h>

/// The building blocks and the engine's steps, on numbers that no analysis would hand them.
namespace orn::fmcw_demod_lib {
namespace {

using fuzz::require;

std::vector<float> any_trace(fuzz::input_t& input) {
  std::vector<float> values;
  for (const sample_t& z : fuzz::any_capture(input)) {
    values.push_back(z.real());
  }
  return values;
}

bool same(float a, float b) { return a == b || (std::isnan(a) && std::isnan(b)); }

void windows(fuzz::input_t& input, digest_t& digest) {
  const int length = static_cast<int>(input.below(5000));
  const std::vector<float> window = basefunc::generate_triang_window(length);
  const std::vector<double> wide = basefunc::generate_triang_window_double(length);
  require(window.size() == static_cast<std::size_t>(length) && wide.size() == window.size(),
          "a window's length");
  double sum = 0.0;
  for (std::size_t i = 0; i < window.size(); ++i) {
    require(window[i] > 0.0F && same(window[i], window[window.size() - 1 - i]),
            "a window is positive and symmetric");
    sum += wide[i];
  }
  require(length == 0 || std::abs(sum - 1.0) < 1e-3, "a window sums to 1");
  digest.add(window);
  digest.add(wide);
}

void convolution(fuzz::input_t& input, digest_t& digest) {
  const std::vector<float> signal = any_trace(input);
  const std::vector<float> kernel = any_trace(input);
  const std::vector<float> smooth = basefunc::conv_same(signal, kernel);
  require(smooth.size() == signal.size(), "as long as the signal");
  digest.add(smooth);
  digest.add(basefunc::conv_float(signal, kernel));
  digest.add(
      basefunc::conv_same_double({signal.begin(), signal.end()}, {kernel.begin(), kernel.end()}));
}

void integrals(fuzz::input_t& input, digest_t& digest) {
  const std::vector<float> time = any_trace(input);
  const std::vector<float> frequency = any_trace(input);
  const auto by_time = basefunc::cumtrapz_phase(time, frequency);
  const auto by_interval = basefunc::cumtrapz_phase(input.number<double>(), frequency);
  const auto plain = basefunc::cumtrapz(time, frequency);
  require(by_time.size() == time.size() && plain.size() == time.size() &&
              by_interval.size() == frequency.size(),
          "one element per time");
  require(by_time.empty() || by_time[0] == 0.0, "an integral begins at 0");
  digest.add(by_time);
  digest.add(by_interval);
  digest.add(plain);
}

void lines(fuzz::input_t& input, digest_t& digest) {
  std::vector<float> abscissa = any_trace(input);
  const std::vector<float> ordinate = any_trace(input);
  if (input.one_in(2)) {
    abscissa.resize(ordinate.size());
  }
  const std::vector<float> line = basefunc::polyfit_1(abscissa, ordinate);
  require(line.empty() || (line.size() == 2 && abscissa.size() == ordinate.size()),
          "slope and intercept, or nothing");
  require(basefunc::has_nan(ordinate) ==
              std::any_of(ordinate.begin(), ordinate.end(), [](float x) { return std::isnan(x); }),
          "a NaN is found");
  digest.add(line);
}

void unwrapping(fuzz::input_t& input, digest_t& digest) {
  std::vector<float> phase = any_trace(input);
  std::vector<float> apart;
  basefunc::mm_unwrap(phase, apart);
  std::vector<double> wide(phase.begin(), phase.end());
  basefunc::mm_unwrap(phase, phase);
  basefunc::mm_unwrap(wide, wide);
  require(std::equal(phase.begin(), phase.end(), apart.begin(), apart.end(), same),
          "in place as apart");
  require(std::is_partitioned(phase.begin(), phase.end(), [](float x) { return !std::isnan(x); }),
          "a NaN spoils every element after it");
  digest.add(phase);
  digest.add(wide);
}

void spectra(fuzz::input_t& input, digest_t& digest) {
  const std::vector<sample_t> samples = fuzz::any_capture(input);
  const auto fs = input.number<float>();
  const FMCWConfig parameters({}, nullptr, 0.0F);
  const FMCWAnalyze engine(parameters);
  fmcw_measure_result_t r;
  engine.compute_spectrogram(samples, fs, r);
  engine.compute_psd(samples, fs, r.psd_freq, r.psd_magnitude_dB);
  require(r.spectrogram.size() == (samples.size() < 256 ? 0 : (samples.size() - 256) / 6 + 1),
          "rows of the spectrogram");
  require(r.spectrogram_time_axis.size() == r.spectrogram.size() &&
              r.spectrogram_peak_freq.size() == r.spectrogram.size() &&
              r.spectrogram_phase_inst.size() == r.spectrogram.size(),
          "one element per row");
  require(r.psd_freq.size() == std::min<std::size_t>(samples.size(), 1024) &&
              r.psd_magnitude_dB.size() == r.psd_freq.size(),
          "points of the spectrum");
  std::vector<float> freq;
  std::vector<float> power;
  digest.add(basefunc::calculate_channel_power_db(samples, freq, power, fs, input.number<float>()));
  require(freq.size() == samples.size() && power.size() == samples.size(), "a bin per sample");
  digest.add(freq);
  digest.add(power);
  digest.add(r);
}

void boundaries(fuzz::input_t& input, digest_t& digest) {
  const std::vector<float> trace = any_trace(input);
  const std::vector<double> freq(trace.begin(), trace.end());
  const double dt = input.number<double>();
  const FMCWConfig parameters({}, nullptr, 0.0F);
  const FMCWAnalyze engine(parameters);
  for (const bool by_view : {false, true}) {
    std::vector<float> raw;
    std::vector<float> smooth;
    const std::vector<int> found =
        by_view ? engine.detect_chirp_boundaries(ArrayView<const double>(freq.data(), freq.size()),
                                                 raw, smooth, dt)
                : engine.detect_chirp_boundaries(freq, raw, smooth, dt);
    require(std::is_sorted(found.begin(), found.end()), "boundaries ascend");
    if (freq.size() >= 2) {
      require(found.back() == static_cast<int>(freq.size()) - 1, "the last sample is the last one");
      require(raw.size() == freq.size() - 1 && smooth.size() == raw.size(), "a slope per gap");
    }
    for (const int boundary : found) {
      digest.add(static_cast<std::uint32_t>(boundary));
    }
    digest.add(smooth);
    const float threshold = engine.get_slope_threshold(raw);
    require(raw.empty() ? threshold == 0.0F : !(threshold < 0.001F), "the least threshold");
    digest.add(threshold);
  }
}

void merging(fuzz::input_t& input, digest_t& digest) {
  std::vector<int> switching(input.below(64));
  for (int& point : switching) {
    point = input.raw<std::int32_t>() & 0x7fffffff;
  }
  std::sort(switching.begin(), switching.end());
  const FMCWConfig parameters({}, nullptr, 0.0F);
  const FMCWAnalyze engine(parameters);
  const std::vector<int> merged = engine.MergeSwitching(switching);
  require(std::is_sorted(merged.begin(), merged.end()) && merged.size() <= switching.size() &&
              merged.empty() == switching.empty(),
          "merged points ascend");
  require(engine.MergeSwitching(merged) == merged, "merging ends where nothing merges");
  for (const int point : merged) {
    digest.add(static_cast<std::uint32_t>(point));
  }
}

/// Any candidate inside the slope, then any four indices at all.
void chirps(fuzz::input_t& input, digest_t& digest) {
  const std::vector<sample_t> samples = fuzz::any_capture(input);
  fmcw_demod_config_t settings = fuzz::any_settings(input);
  const FMCWConfig parameters(settings, nullptr, 0.0F);
  const FMCWAnalyze engine(parameters);
  std::vector<double> freq;
  std::vector<double> phase;
  engine.compute_instantaneous_freq(samples, 125e6F, freq, phase);
  require(freq.size() == samples.size() && phase.size() == samples.size(), "one per sample");
  std::vector<float> raw;
  std::vector<float> smooth;
  engine.detect_chirp_boundaries(freq, raw, smooth, 8e-9);
  if (smooth.empty()) {
    return;
  }
  int start = static_cast<int>(input.below(smooth.size()));
  int stop = static_cast<int>(input.below(smooth.size()));
  std::array<int, 4> ends{};  // measured interval, deviation window
  engine.switch_point_para(smooth, std::min(start, stop), std::max(start, stop), 0, ends[0],
                           ends[1], ends[2], ends[3], settings.advanced);
  if (input.one_in(2)) {
    ends = input.raw<std::array<int, 4>>();
  }
  std::vector<float> time(samples.size());
  for (std::size_t i = 0; i < time.size(); ++i) {
    time[i] = static_cast<float>(i) * 8e-9F;
  }
  fmcw_chirp_result_t by_vector;
  fmcw_chirp_result_t by_view;
  fmcw_measure_result_t result;
  const bool display = input.one_in(2);
  engine.extract_chirp_parameters(freq, time, raw, ends[2], ends[3], ends[0], ends[1], {}, samples,
                                  by_vector, result, display);
  digest.add(result);
  engine.extract_chirp_parameters(
      ArrayView<const double>(freq.data(), freq.size()), time, raw, result.chirp_phi_fit,
      result.chirp_freq_fit, ends[2], ends[3], ends[0], ends[1], {},
      ArrayView<const sample_t>(samples.data(), samples.size()), by_view, result, display);
  require(display || result.chirp_freq_fit.empty(), "only a shown chirp is fitted");
  digest.add(by_vector);
  digest.add(by_view);
  digest.add(result);
}

using block_t = void (*)(fuzz::input_t&, digest_t&);
constexpr std::array<block_t, 9> blocks = {windows, convolution, integrals, lines, unwrapping,
                                           spectra, boundaries,  merging,   chirps};

}  // namespace
}  // namespace orn::fmcw_demod_lib

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  namespace lib = orn::fmcw_demod_lib;
  orn::fuzz::input_t input(data, size);
  const lib::block_t block = input.of(lib::blocks);
  std::optional<std::uint64_t> first;
  orn::fuzz::on_every_target([&] {
    orn::fuzz::input_t again = input;
    lib::digest_t digest;
    block(again, digest);
    orn::fuzz::require(digest.value() == first.value_or(digest.value()),
                       "every instruction set gives the same bits");
    first = digest.value();
  });
  return 0;
}
