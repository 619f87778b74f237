#include "basefunc/kernels.h"
#include "dft.h"
#include "synthetic.h"

#include <fmcw_demod/fmcw_demod.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

/// Rows are named work/size; every row counts samples (bins for levels) per second.
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

std::size_t size_of(const benchmark::State& state) {
  return static_cast<std::size_t>(state.range(0));
}

void count_items(benchmark::State& state, std::size_t per_iteration) {
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(per_iteration));
}

void analysis(benchmark::State& state) {
  const SignalStream& signal = capture(size_of(state));
  SignalStream planned = signal;
  const fmcw_demod_config_t config;
  FMCWAnalyzer analyzer;
  analyzer.config(&config, &planned.samples, planned.fs);
  for (auto _ : state) {
    fmcw_measure_result_t result;
    analyzer.work_analyze(signal, &result);
    benchmark::DoNotOptimize(result.chirp_total);
  }
  count_items(state, signal.samples.size());
}
BENCHMARK(analysis)->Arg(100000)->Arg(1000000)->Arg(4000000)->Unit(benchmark::kMillisecond);

void transform(benchmark::State& state) {
  const std::vector<sample_t>& samples = capture(size_of(state)).samples;
  std::vector<sample_t> data(samples.size());
  common_lib::dft_t dft(data.size());
  for (auto _ : state) {
    std::copy(samples.begin(), samples.end(), data.begin());  // counts, as in every real use
    dft.forward(data);
    benchmark::DoNotOptimize(data.data());
  }
  count_items(state, data.size());
}
BENCHMARK(transform)->Arg(60)->Arg(64)->Arg(257)->Arg(1024)->Arg(3001)->Arg(1000003)->Arg(1 << 20);

void spectral_levels(benchmark::State& state) {
  const SignalStream& signal = capture(size_of(state));
  std::vector<float> levels(signal.samples.size());
  for (auto _ : state) {
    kernels::spectral_levels(signal.samples, levels);
    benchmark::DoNotOptimize(levels.data());
  }
  count_items(state, levels.size());
}
BENCHMARK(spectral_levels)->Arg(100000);

void power_levels(benchmark::State& state) {
  const SignalStream& signal = capture(size_of(state));
  std::vector<float> levels(signal.samples.size());
  for (auto _ : state) {
    kernels::power_levels(signal.samples, 100.0F, levels);
    benchmark::DoNotOptimize(levels.data());
  }
  count_items(state, levels.size());
}
BENCHMARK(power_levels)->Arg(100000);

void instantaneous_frequency(benchmark::State& state) {
  const SignalStream& signal = capture(size_of(state));
  const synthetic::engine_t e;
  std::vector<double> freq;
  std::vector<double> phase;
  for (auto _ : state) {
    e.engine.compute_instantaneous_freq(signal.samples, signal.fs, freq, phase);
    benchmark::DoNotOptimize(freq.data());
  }
  count_items(state, freq.size());
}
BENCHMARK(instantaneous_frequency)->Arg(100000);

template <class T, int Taps>
void smoothing(benchmark::State& state) {
  const synthetic::engine_t e;
  std::vector<T> trace(size_of(state), T(1));
  for (auto _ : state) {
    e.engine.smooth_with_triang(trace, Taps);
    benchmark::DoNotOptimize(trace.data());
  }
  count_items(state, trace.size());
}
BENCHMARK(smoothing<double, 37>)->Arg(100000);
BENCHMARK(smoothing<float, 256>)->Arg(100000);

}  // namespace
}  // namespace orn::fmcw_demod_lib
