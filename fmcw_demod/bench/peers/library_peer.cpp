#include <fmcw_demod/fmcw_demod.h>
#include <simd/dispatch.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include <fmt/format.h>

/// The library as a host calls it, to be timed beside other programs.
///
/// usage: fmcw_demod_library_peer CAPTURE.cf32 FS TARGET, TARGET being 0, 1 or 2 for baseline, AVX2
/// and AVX-512
///
/// Answers each line on standard input with the processor time [s] that its job took, on one line:
///   analysis       a whole analysis through the handle interface into a fresh result record; after
///                  the time, what it found: chirps, slope of the first one [kHz/us]
///   reused         the same into one record that it keeps
///   figures        the same without a spectrogram, whose window is longer than the capture
///   stft LENGTH    the configurable spectrogram at half overlap
///   power COUNT    channel power of the first COUNT samples, the capture repeating
///   memory         instead of a time: peak memory of an analysis besides input and result
///                  [B/sample]; to be asked first
///   check          instead of a time: what an analysis finds
namespace orn::fmcw_demod_lib {
namespace {

double thread_time() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

template <class Job>
double time_of(Job job) {
  const double begin = thread_time();
  job();
  return thread_time() - begin;
}

/// Most bytes that were resident at once so far. Not from getrusage, which starts from the
/// parent's.
double resident_peak() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM:")) {
      return 1024.0 * std::atof(line.c_str() + 6);
    }
  }
  return 0.0;
}

/// Bytes of a result's larger parts; a row costs an allocator's header as well.
double size_of(const fmcw_measure_result_t& result) {
  double bytes = 0.0;
  for (const auto* trace :
       {&result.time_axis, &result.instantaneous_freq, &result.instantaneous_power,
        &result.spectrogram_phase_inst, &result.spectrogram_time_axis_wincfg, &result.frame_power,
        &result.frame_time_axis}) {
    bytes += static_cast<double>(trace->capacity() * sizeof(float));
  }
  bytes += static_cast<double>(result.spectrogram_wincfg.capacity() * sizeof(std::vector<float>));
  for (const auto& row : result.spectrogram_wincfg) {
    bytes += static_cast<double>(row.capacity() * sizeof(float) + 16);
  }
  return bytes;
}

class host_t {
 public:
  explicit host_t(SignalStream signal) : signal_(std::move(signal)) {
    config_.fs = static_cast<double>(signal_.fs);
    create_fmcw_analyzer(&analyzer_, nullptr);
    config_fmcw_analyzer(analyzer_, signal_, &config_, nullptr);
    fmcw_demod_config_t without_spectrogram = config_;
    without_spectrogram.advanced.window.window_length =
        static_cast<std::uint32_t>(signal_.samples.size()) + 1;
    create_fmcw_analyzer(&figures_analyzer_, nullptr);
    config_fmcw_analyzer(figures_analyzer_, signal_, &without_spectrogram, nullptr);
  }
  ~host_t() {
    destroy_fmcw_analyzer(&analyzer_);
    destroy_fmcw_analyzer(&figures_analyzer_);
  }
  host_t(const host_t&) = delete;
  host_t& operator=(const host_t&) = delete;

  std::string answer(const std::string& line) {
    std::istringstream words(line);
    std::string job;
    std::size_t size = 0;
    words >> job >> size;
    std::ostringstream text;
    text.precision(9);
    if (job == "analysis") {
      fmcw_measure_result_t result;
      text << time_of([&] { analyse(analyzer_, result); }) << ' ' << found_in(result);
    } else if (job == "reused") {
      text << time_of([&] { analyse(analyzer_, kept_); }) << ' ' << found_in(kept_);
    } else if (job == "figures") {
      text << time_of([&] { analyse(figures_analyzer_, kept_figures_); }) << ' '
           << found_in(kept_figures_);
    } else if (job == "stft") {
      text << spectrogram_time(static_cast<std::uint32_t>(size));
    } else if (job == "power") {
      text << channel_power_time(size);
    } else if (job == "memory") {
      const double before = resident_peak();
      analyse(analyzer_, kept_);
      text << (resident_peak() - before - size_of(kept_)) /
                  static_cast<double>(signal_.samples.size());
    } else if (job == "check") {
      analyse(analyzer_, kept_);
      text << found_in(kept_);
    } else {
      text << "unknown job: " << line;
    }
    return text.str();
  }

 private:
  void analyse(void* analyzer, fmcw_measure_result_t& result) {
    if (work_fmcw_analyzer(analyzer, signal_, &result, nullptr) != 0) {
      std::fputs("the analysis failed\n", stderr);
      std::exit(1);
    }
  }

  static std::string found_in(const fmcw_measure_result_t& result) {
    const auto& chirps = result.chirp_results;
    return fmt::format("{} {}", result.chirp_total, chirps.empty() ? 0.0 : chirps[0].slope);
  }

  double spectrogram_time(std::uint32_t length) {
    const FMCWConfig parameters(config_, nullptr, 0.0F);
    const FMCWAnalyze engine(parameters);
    fmcw_measure_result_t result;
    return time_of([&] {
      engine.compute_stft_wincfg(signal_.samples, signal_.fs, {length, length / 2}, result);
    });
  }

  double channel_power_time(std::size_t count) {
    std::vector<sample_t> samples(count);
    for (std::size_t i = 0; i < count; ++i) {
      samples[i] = signal_.samples[i % signal_.samples.size()];
    }
    std::vector<float> freq;
    std::vector<float> power;
    return time_of(
        [&] { basefunc::calculate_channel_power_db(samples, freq, power, signal_.fs, 100.0F); });
  }

  SignalStream signal_;
  fmcw_demod_config_t config_;
  void* analyzer_ = nullptr;
  void* figures_analyzer_ = nullptr;
  fmcw_measure_result_t kept_;
  fmcw_measure_result_t kept_figures_;
};

std::vector<sample_t> samples_in(const char* path) {
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  if (!file) {
    std::fprintf(stderr, "cannot read %s\n", path);
    std::exit(1);
  }
  std::vector<sample_t> samples(static_cast<std::size_t>(file.tellg()) / sizeof(sample_t));
  file.seekg(0);
  file.read(reinterpret_cast<char*>(samples.data()),
            static_cast<std::streamsize>(samples.size() * sizeof(sample_t)));
  return samples;
}

}  // namespace
}  // namespace orn::fmcw_demod_lib

int main(int argc, char** argv) {
  using namespace orn;
  if (argc != 4) {
    std::fputs("usage: fmcw_demod_library_peer CAPTURE.cf32 FS TARGET\n", stderr);
    return 2;
  }
  simd::limit_target(static_cast<simd::target_t>(std::clamp(std::atoi(argv[3]), 0, 2)));
  fmcw_demod_lib::host_t host(
      {fmcw_demod_lib::samples_in(argv[1]), static_cast<float>(std::atof(argv[2]))});
  for (std::string line; std::getline(std::cin, line);) {
    std::cout << host.answer(line) << std::endl;
  }
}
