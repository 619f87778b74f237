#include "basefunc/convolution.h"
#include "basefunc/kernels.h"
#include "synthetic.h"

#include <fmcw_demod/fmcw_demod.h>
#include <simd/dispatch.h>
#include <transform/dft.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

/// Rows are named work/target/size. Every row counts samples (bins for levels) per second, and the
/// bytes that the work reads and writes at the least, also as a share of what memcpy moves on this
/// machine between blocks beyond its caches (its reads and writes both counted): 1 is as fast as
/// memory, above it only caches are.
namespace orn::fmcw_demod_lib {
namespace {

/// Ramps of 40 MHz in 100 us at 125 MS/s, fly-backs of 5 us, SNR 40 dB.
const SignalStream& capture(std::size_t count) {
  static SignalStream stream;
  if (stream.samples.size() != count) {
    synthetic::sawtooth_t sawtooth;
    sawtooth.fs = 125e6;
    sawtooth.bandwidth = 40e6;
    sawtooth.ramp = 12500.0;
    sawtooth.flyback = 625.0;
    sawtooth.count = count;
    stream = sawtooth.stream();
    std::mt19937 random(1);
    std::normal_distribution<float> noise(0.0F, 0.00707F);
    for (auto& z : stream.samples) {
      z += sample_t(noise(random), noise(random));
    }
  }
  return stream;
}

/// Bytes per second that memcpy reads and writes, the best of a few tries.
double memory_bandwidth() {
  static const double measured = [] {
    constexpr std::size_t size = std::size_t{128} << 20;
    std::vector<char> from(size, 1);
    std::vector<char> to(size);
    double best = 0.0;
    for (int attempt = 0; attempt < 5; ++attempt) {
      const auto begin = std::chrono::steady_clock::now();
      std::memcpy(to.data(), from.data(), size);
      benchmark::DoNotOptimize(to.data());
      const std::chrono::duration<double> duration = std::chrono::steady_clock::now() - begin;
      best = std::max(best, 2.0 * static_cast<double>(size) / duration.count());
    }
    return best;
  }();
  return measured;
}

struct work_t {
  std::size_t items;
  std::size_t bytes;
  std::function<void()> run;
};

/// Registers `prepare(size)` for every size on every target.
template <class Prepare>
void add(const std::string& name, const std::vector<std::size_t>& sizes, Prepare prepare) {
  for (const simd::target_t target : simd::supported_targets()) {
    for (const std::size_t size : sizes) {
      const std::string row = name + '/' + simd::name_of(target) + '/' + std::to_string(size);
      benchmark::RegisterBenchmark(row.c_str(), [=](benchmark::State& state) {
        simd::limit_target(target);
        const work_t work = prepare(size);
        for (auto _ : state) {
          work.run();
          benchmark::ClobberMemory();
        }
        const auto passes = static_cast<double>(state.iterations());
        const double bytes = passes * static_cast<double>(work.bytes);
        state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(work.items));
        state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
        state.counters["of_memory"] =
            benchmark::Counter(bytes / memory_bandwidth(), benchmark::Counter::kIsRate);
      });
    }
  }
}

void add_analysis() {
  add("analysis", {100'000, 1'000'000, 4'000'000}, [](std::size_t count) {
    const SignalStream& signal = capture(count);
    auto analyzer = std::make_shared<FMCWAnalyzer>();
    const fmcw_demod_config_t config;
    std::vector<sample_t> planned = signal.samples;
    analyzer->config(&config, &planned, signal.fs);
    // Sixteen levels, four traces and a share of a row's vector are written for every sample.
    return work_t{count, count * (8 + 64 + 16 + 6), [&signal, analyzer] {
                    fmcw_measure_result_t result;
                    analyzer->work_analyze(signal, &result);
                  }};
  });
}

void add_stages() {
  const std::vector<std::size_t> sizes = {1'000'000};
  add("stage/spectrogram", sizes, [](std::size_t count) {
    const SignalStream& signal = capture(count);
    auto result = std::make_shared<fmcw_measure_result_t>();
    auto engine = std::make_shared<synthetic::engine_t>();
    return work_t{
        count, count * (8 + 64), [&signal, engine, result] {
          engine->engine.compute_stft_wincfg(signal.samples, signal.fs, {64, 60}, *result);
        }};
  });
  add("stage/time_axis", sizes, [](std::size_t count) {
    auto time = std::make_shared<std::vector<float>>(count);
    return work_t{count, count * 4, [time] { kernels::time_axis(125e6, *time); }};
  });
  add("stage/power", sizes, [](std::size_t count) {
    const SignalStream& signal = capture(count);
    auto power = std::make_shared<std::vector<float>>(count);
    return work_t{count, count * 12,
                  [&signal, power] { kernels::power_levels(signal.samples, 100.0F, *power); }};
  });
  add("stage/frequency", sizes, [](std::size_t count) {
    const SignalStream& signal = capture(count);
    auto frequency = std::make_shared<std::vector<double>>(count);
    return work_t{count, count * 16, [&signal, frequency] {
                    kernels::instantaneous_frequency(signal.samples, signal.fs, *frequency, {});
                  }};
  });
  add("stage/smooth_37", sizes, [](std::size_t count) {
    auto from = std::make_shared<std::vector<double>>(count, 1.0);
    auto to = std::make_shared<std::vector<float>>(count);
    const auto window = basefunc::generate_triang_window_double(37);
    return work_t{count, count * 12, [from, to, window] {
                    basefunc::convolve_same<double, float>(*from, window, *to);
                  }};
  });
  add("stage/boundaries", sizes, [](std::size_t count) {
    const SignalStream& signal = capture(count);
    auto engine = std::make_shared<synthetic::engine_t>();
    auto frequency = std::make_shared<std::vector<double>>(count);
    kernels::instantaneous_frequency(signal.samples, signal.fs, *frequency, {});
    auto slope = std::make_shared<std::vector<float>>();
    auto smooth = std::make_shared<std::vector<float>>();
    return work_t{count, count * 16, [=] {
                    const ArrayView<const double> view(frequency->data(), frequency->size());
                    engine->engine.detect_chirp_boundaries(view, *slope, *smooth, 8e-9);
                  }};
  });
  add("stage/phase", sizes, [](std::size_t count) {
    auto time = std::make_shared<std::vector<float>>(count);
    auto freq = std::make_shared<std::vector<float>>(count, 1e6F);
    auto phase = std::make_shared<std::vector<float>>(count);
    kernels::time_axis(125e6, *time);
    return work_t{count, count * 12, [=] { kernels::integrate_phase(*time, *freq, *phase); }};
  });
}

void add_kernels() {
  const std::vector<std::size_t> sizes = {10'000, 1'000'000};
  add("spectral_levels", sizes, [](std::size_t count) {
    auto re = std::make_shared<std::vector<float>>(count);
    auto im = std::make_shared<std::vector<float>>(count);
    std::mt19937 random(1);
    std::normal_distribution<float> bin(0.0F, 0.02F);  // as of a capture's noise
    for (std::size_t i = 0; i < count; ++i) {
      (*re)[i] = bin(random);
      (*im)[i] = bin(random);
    }
    auto levels = std::make_shared<std::vector<float>>(count);
    return work_t{count, count * 12, [=] { kernels::spectral_levels(*re, *im, *levels); }};
  });
  add("phase_angles", sizes, [](std::size_t count) {
    const SignalStream& signal = capture(count);
    auto angles = std::make_shared<std::vector<float>>(count);
    return work_t{count, count * 12,
                  [&signal, angles] { kernels::phase_angles(signal.samples, *angles); }};
  });
  add("convolve_float_256", sizes, [](std::size_t count) {
    auto from = std::make_shared<std::vector<float>>(count + 255, 1.0F);
    auto to = std::make_shared<std::vector<float>>(count);
    const auto window = basefunc::generate_triang_window(256);
    return work_t{count, count * 8, [from, to, window] {
                    kernels::convolve_symmetric<float, float>(*from, window, *to);
                  }};
  });
  add("chirp_figures", {10'000}, [](std::size_t count) {
    const SignalStream& signal = capture(count);
    auto time = std::make_shared<std::vector<float>>(count);
    auto slope = std::make_shared<std::vector<float>>(count, 4e11F);
    auto freq = std::make_shared<std::vector<double>>(count);
    kernels::time_axis(125e6, *time);
    kernels::instantaneous_frequency(signal.samples, signal.fs, *freq, {});
    return work_t{
        count, count * 24, [=, &signal] {
          auto sums = kernels::chirp_sums(*time, *freq, signal.samples);
          auto figures = kernels::deviations<float>(*time, *freq, {4e11F, -2e7F}, 8e-9, {});
          auto sweep = kernels::sweep(*freq, *slope, 4e11F, 1e-9);
          benchmark::DoNotOptimize(sums);
          benchmark::DoNotOptimize(figures);
          benchmark::DoNotOptimize(sweep);
        }};
  });
  add("select_median", {12'500}, [](std::size_t count) {
    auto values = std::make_shared<std::vector<float>>();
    auto buffer = std::make_shared<std::vector<float>>(count);
    std::mt19937 random(1);
    std::normal_distribution<float> normal;
    std::generate_n(std::back_inserter(*values), count, [&] { return normal(random); });
    return work_t{count, count * 4,
                  [=] { kernels::select_rank(*values, values->size() / 2, *buffer); }};
  });
}

void add_transforms() {
  add("transform_lanes", {60, 64, 100, 257, 1024, 3001}, [](std::size_t length) {
    auto dft = std::make_shared<common_lib::dft_t>(length);
    const std::size_t points = length * dft->good_lanes();
    const std::vector<sample_t>& samples = capture(100'000).samples;
    auto from = std::make_shared<memory::planes_t<float>>();
    from->resize(points);
    for (std::size_t i = 0; i < points; ++i) {
      from->re[i] = samples[i].real();
      from->im[i] = samples[i].imag();
    }
    auto data = std::make_shared<memory::planes_t<float>>(*from);
    return work_t{points, points * 16, [=] {
                    // Counts, as in every real use.
                    std::copy(from->re.begin(), from->re.end(), data->re.begin());
                    std::copy(from->im.begin(), from->im.end(), data->im.begin());
                    dft->forward(*data, dft->good_lanes());
                  }};
  });
  add("channel_power", {1'000'003, 1 << 20}, [](std::size_t count) {
    const SignalStream& signal = capture(count);
    auto freq = std::make_shared<std::vector<float>>();
    auto power = std::make_shared<std::vector<float>>();
    return work_t{count, count * 16, [=, &signal] {
                    basefunc::calculate_channel_power_db(signal.samples, *freq, *power, 125e6F,
                                                         50.0F);
                  }};
  });
}

}  // namespace
}  // namespace orn::fmcw_demod_lib

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 2;
  }
  using namespace orn::fmcw_demod_lib;
  add_analysis();
  add_stages();
  add_kernels();
  add_transforms();
  benchmark::AddCustomContext("memory_bandwidth_GB_per_s",
                              std::to_string(memory_bandwidth() * 1e-9));
  benchmark::RunSpecifiedBenchmarks();
}
