#include "digest.h"
#include "generated.h"
#include "host_environment.h"

#include <fmcw_demod/fmcw_demod.h>
#include <simd/dispatch.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <limits>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

/// Digests of whole results, bit for bit: what every compiler, every level of optimisation, every
/// machine and every instruction set must give.
///
/// usage: fmcw_demod_digests              write the list of digests
///        fmcw_demod_digests LIST [STEP]  hold the digests of each instruction set against a list,
///                                        every one or one in STEP, on each set others, and some in
///                                        each floating-point environment that a host may be in
namespace orn::fmcw_demod_lib {
namespace {

using generated::filled;
using generated::random_t;
using generated::sawtooth;

/// What the host's thread is in when it calls the library; null: what a program starts in.
const host_environment_t* environment = nullptr;
std::size_t environments_changed = 0;

/// Calls the library as a host does.
template <class Call>
void as_host(const Call& call) {
  if (environment == nullptr) {
    call();
  } else if (!survives(*environment, call)) {
    ++environments_changed;
  }
}

/// Something to take the digest of.
struct case_t {
  std::string name;
  std::function<void(digest_t&)> run;
};

using adjust_t = std::function<void(fmcw_demod_config_t&)>;

std::function<void(digest_t&)> one_shot(const std::function<std::vector<sample_t>()>& samples,
                                        const adjust_t& adjust = {}) {
  return [samples, adjust](digest_t& digest) {
    fmcw_demod_config_t config;
    if (adjust) {
      adjust(config);
    }
    fmcw_measure_result_t result;
    const SignalStream signal{samples(), 125e6F};
    as_host([&] { DLL_fmcw_analysis(&config, signal, &result, nullptr); });
    digest.add(result);
  };
}

adjust_t windowed(std::uint32_t length, std::uint32_t overlap) {
  return [length, overlap](fmcw_demod_config_t& config) {
    config.advanced.window.window_length = length;
    config.advanced.window.window_overlap = overlap;
  };
}

void automatic_band_in_short_frames(fmcw_demod_config_t& config) {
  config.chirp_set = fmcw_chirp_set_t::automatic;
  config.advanced.time_gate_len = 100e-6;
  config.advanced.max_chirp_len = 50e-6;
  config.display_chirpNO = 2;
  config.advanced.devlength_ref = fmcw_devlength_ref_t{0};
  config.advanced.devlength_offset_begin = 0.3e-6;
  config.advanced.devlength_offset_end = 0.2e-6;
}

void one_frame_cut_by_share(fmcw_demod_config_t& config) {
  config.advanced.st_config = fmcw_st_config_t{0};
  config.advanced.time_gate_len = 1.0;
  config.advanced.meas_time = 1.0;
}

void add_captures(std::vector<case_t>& cases) {
  const auto saw = [](std::size_t count, double ramp, double flyback, float noise) {
    return [=] { return sawtooth(count, ramp, flyback, noise); };
  };
  cases.push_back({"radar", one_shot(saw(300'001, 12500, 625, 0.003F))});
  cases.push_back(
      {"short chirps", one_shot(saw(60'000, 1500, 100, 0.001F), automatic_band_in_short_frames)});
  cases.push_back({"one frame", one_shot(saw(50'000, 4000, 1000, 0.0F), one_frame_cut_by_share)});
  const std::array<std::array<std::uint32_t, 3>, 4> windows = {
      {{60, 30, 20'000}, {257, 129, 20'003}, {1024, 1000, 30'000}, {3001, 1500, 40'000}}};
  for (const auto& [length, overlap, count] : windows) {
    cases.push_back({"window of " + std::to_string(length),
                     one_shot(saw(count, 5000, 500, 0.01F), windowed(length, overlap))});
  }
  cases.push_back({"noise", one_shot([] {
                     random_t random(7);
                     return filled(40'000, [&] { return random.uniform(); });
                   })});
  cases.push_back({"any bits", one_shot([] {
                     random_t random(8);
                     return filled(30'000, [&] { return std::bit_cast<float>(random.bits()); });
                   })});
  cases.push_back({"axes, zeros and turns of pi", one_shot([] {
                     constexpr std::array<float, 6> values = {
                         0.0F, -0.0F, 1.0F, -1.0F, 0x1p-140F, std::numeric_limits<float>::max()};
                     random_t random(9);
                     return filled(30'000, [&] { return random.of(values); });
                   })});
}

/// What hosts compute apart from an analysis.
void add_host_spectra(std::vector<case_t>& cases) {
  constexpr std::array<std::size_t, 13> counts = {1,    2,    60,    63,    97,    1000,  1023,
                                                  3003, 4096, 17017, 65536, 65537, 262144};
  for (const std::size_t count : counts) {
    cases.push_back(
        {"spectra of " + std::to_string(count), [count](digest_t& digest) {
           const std::vector<sample_t> samples = sawtooth(count, 5000, 500, 0.01F);
           const FMCWConfig parameters(fmcw_demod_config_t{}, nullptr, 0.0F);
           const FMCWAnalyze engine(parameters);
           fmcw_measure_result_t result;
           engine.compute_spectrogram(samples, 125e6F, result);
           engine.compute_psd(samples, 125e6F, result.psd_freq, result.psd_magnitude_dB);
           std::vector<float> freq;
           std::vector<float> power;
           digest.add(basefunc::calculate_channel_power_db(samples, freq, power, 125e6F, 50.0F));
           digest.add(freq);
           digest.add(power);
           digest.add(result);
         }});
  }
}

/// A capture of any kind: ramps, noise, a tone, with silence, spikes and numbers at the edge.
std::vector<sample_t> any_capture(random_t& random) {
  constexpr std::array<std::uint32_t, 5> longest = {300, 6000, 12'000, 24'000, 40'000};
  constexpr std::array<double, 6> ramps = {200, 400, 700, 1000, 1500, 3000};
  constexpr std::array<double, 6> flybacks = {10, 30, 80, 200, 625, 1500};
  constexpr std::array<float, 5> noises = {0.0F, 1e-4F, 3e-3F, 3e-2F, 0.5F};
  const std::size_t count = 1 + random.below(random.of(longest));
  const double ramp = random.of(ramps);
  std::vector<sample_t> samples;
  if (random.below(8) == 0) {
    samples = filled(count, [&] { return random.uniform(); });
  } else {  // one after the other: arguments have no order
    const float noise = random.of(noises);
    const double flyback = random.below(4) == 0 ? ramp : random.of(flybacks);
    samples = sawtooth(count, ramp, flyback, noise);
  }
  if (random.below(3) == 0) {  // falling ramps
    for (auto& z : samples) {
      z = std::conj(z);
    }
  }
  if (random.below(5) == 0) {  // far from 1 V
    constexpr std::array<float, 4> scales = {0x1p-120F, 0x1p-70F, 0x1p+40F, 0x1p+120F};
    const float scale = random.of(scales);
    for (auto& z : samples) {
      z *= scale;
    }
  }
  if (random.below(6) == 0) {  // silence
    const std::uint32_t first = random.below(static_cast<std::uint32_t>(count));
    const std::size_t last = std::min<std::size_t>(count, first + 500);
    std::fill(samples.begin() + first, samples.begin() + static_cast<std::ptrdiff_t>(last),
              sample_t{});
  }
  if (random.below(6) == 0) {
    constexpr std::array<float, 6> odd = {
        std::numeric_limits<float>::infinity(),   -std::numeric_limits<float>::infinity(),
        std::numeric_limits<float>::quiet_NaN(),  std::numeric_limits<float>::max(),
        std::numeric_limits<float>::denorm_min(), -0.0F};
    for (int spike = 0; spike < 3; ++spike) {
      samples[random.below(static_cast<std::uint32_t>(count))] = {random.of(odd), random.uniform()};
    }
  }
  return samples;
}

/// Settings of any kind, some of which make no sense, whose plan has no more than a few frames.
fmcw_demod_config_t any_settings(random_t& random) {
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  constexpr double infinity = std::numeric_limits<double>::infinity();
  fmcw_demod_config_t config;
  const auto sometimes = [&](std::uint32_t one_in, auto& field, const auto& choices) {
    if (random.below(one_in) == 0) {
      field = random.of(choices);
    }
  };
  fmcw_advanced_config_t& a = config.advanced;
  constexpr std::array<std::uint32_t, 10> windows = {2, 7, 16, 60, 64, 97, 128, 256, 257, 1000};
  a.window.window_length = random.of(windows);
  a.window.window_overlap = random.below(a.window.window_length);
  sometimes(10, a.window.window_overlap, std::array{a.window.window_length, 0xffffffffU});
  a.time_gate_len = random.of(std::array{9e-4, 9e-4, 1e-4, 5e-5, 1e-5});
  a.meas_time = random.of(std::array{1e-3, 1e-3, 1e-4});
  a.min_chirp_len = random.of(std::array{3e-6, 0.0, 1e-6, 2e-6});
  a.max_chirp_len = random.of(std::array{1e-3, 1e-3, 1e-4, 2e-5});
  config.display_chirpNO = random.below(4);
  a.chirp_start = random.below(3);
  a.chirp_count = random.below(5);
  sometimes(2, config.chirp_set, std::array{fmcw_chirp_set_t::automatic});
  sometimes(6, config.chirp_detect, std::array{fmcw_chirp_detect_t{0}});
  sometimes(4, a.st_config, std::array{fmcw_st_config_t{0}});
  sometimes(3, a.devlength_ref, std::array{fmcw_devlength_ref_t{0}});
  sometimes(4, a.time_auto_mode, std::array{fmcw_auto_detect_t{0}});
  sometimes(3, a.chirp.slope_tol, std::array{1e9, 1e11, 1e12, 1e14, -1.0, nan, infinity});
  sometimes(3, a.chirp.ref_slope, std::array{1e11, 1e12, -1e12, 1e13, nan});
  sometimes(8, a.from_start, std::array{0.1, 0.5, 0.9, nan, -0.1});
  sometimes(8, a.from_end, std::array{0.1, 0.3, 0.9, 1.0, -0.5});
  sometimes(4, a.analysis_exclude, std::array{0.0, 0.2, 0.5, -0.1, nan, 1e300});
  sometimes(4, a.devlength_len, std::array{0.0, 0.3, 1.0, 1.5, -1.0, nan});
  sometimes(5, a.devlength_offset_begin, std::array{1e-7, 1e-6, -1e-6, 1e300, nan});
  sometimes(3, a.devlength_offset_end, std::array{1e-7, 1e-6, -1e-6, -1e300});
  sometimes(8, config.impedance, std::array{75.0, 0.0, -50.0, nan, 1e-300});
  sometimes(12, config.fs, std::array{1e6, 125e6 / 3, 1e9, -125e6, infinity});
  return config;
}

std::uint32_t frames_planned(const fmcw_demod_config_t& config, SignalStream& stream) {
  return FMCWConfig(config, &stream.samples, stream.fs).analysis_range.frame_count;
}

/// The engine's steps in the forms that no analysis uses, and the primitives.
void add_steps(const fmcw_demod_config_t& config, const std::vector<sample_t>& samples,
               digest_t& digest) {
  const FMCWConfig parameters(config, nullptr, 0.0F);
  const FMCWAnalyze engine(parameters);
  std::vector<float> time(samples.size());
  for (std::size_t i = 0; i < time.size(); ++i) {
    time[i] = static_cast<float>(i) * 8e-9F;
  }
  const int last = static_cast<int>(samples.size()) - 1;
  std::vector<double> freq;
  std::vector<double> phase;
  std::vector<float> single;
  std::vector<float> slope_raw;
  std::vector<float> slope_smooth;
  std::vector<int> boundaries;
  std::array<double, 2> numbers{};
  std::vector<std::vector<float>> floats;
  std::vector<std::vector<double>> doubles;
  fmcw_chirp_result_t chirp;
  fmcw_measure_result_t result;
  as_host([&] {
    engine.compute_instantaneous_freq(samples, 125e6F, freq, phase);
    FMCWConfig::compute_instantaneous_freq_simple(samples, 125e6F, single);
    boundaries = engine.detect_chirp_boundaries(freq, slope_raw, slope_smooth, 1.0 / 125e6);
    numbers = {engine.get_slope_threshold(slope_raw), engine.compute_power_dbm(samples, 75.0F)};
    engine.smooth_with_triang(freq, 24);
    doubles = {basefunc::cumtrapz(time, single), basefunc::cumtrapz_phase(time, single)};
    floats = {basefunc::cumtrapz_phase(8e-9, single), basefunc::polyfit_1(time, single),
              basefunc::conv_same(single, basefunc::generate_triang_window(13))};
    engine.smooth_with_triang(single, 5);
    engine.extract_chirp_parameters(freq, time, slope_raw, last / 8, last - last / 8, last / 10,
                                    last - last / 10, {}, samples, chirp, result, true);
  });
  for (const int boundary : boundaries) {
    digest.add(static_cast<std::uint32_t>(boundary));
  }
  digest.add(numbers[0]);
  digest.add(numbers[1]);
  digest.add(slope_raw);
  digest.add(slope_smooth);
  digest.add(freq);
  digest.add(phase);
  digest.add(single);
  digest.add(floats);
  digest.add(doubles);
  digest.add(chirp);
  digest.add(result);
}

/// One handle, configured twice and analysing two captures into one record.
void add_generated(std::vector<case_t>& cases, std::size_t total) {
  for (std::uint64_t seed = 1; cases.size() < total; ++seed) {
    cases.push_back({"generated " + std::to_string(seed), [seed](digest_t& digest) {
                       random_t random(seed);
                       void* handle = nullptr;
                       create_fmcw_analyzer(&handle, nullptr);
                       fmcw_measure_result_t result;
                       for (int run = 0; run < 2; ++run) {
                         SignalStream stream{any_capture(random), 125e6F};
                         fmcw_demod_config_t config = any_settings(random);
                         if (frames_planned(config, stream) > 1000) {
                           config.advanced.time_gate_len = 9e-4;
                         }
                         int configured = 1;
                         int analysed = 1;
                         as_host([&] {
                           configured = config_fmcw_analyzer(handle, stream, &config, nullptr);
                           analysed = work_fmcw_analyzer(handle, stream, &result, nullptr);
                         });
                         digest.add(static_cast<std::uint32_t>(configured));
                         digest.add(static_cast<std::uint32_t>(analysed));
                         digest.add(result);
                         add_steps(config, stream.samples, digest);
                       }
                       destroy_fmcw_analyzer(&handle);
                     }});
  }
}

void add_text(std::vector<case_t>& cases) {
  cases.push_back({"text", [](digest_t& digest) {
                     fmcw_demod_config_t config;
                     automatic_band_in_short_frames(config);
                     fmcw_measure_result_t result;
                     DLL_fmcw_analysis(&config,
                                       SignalStream{sawtooth(60'000, 1500, 100, 0), 125e6F},
                                       &result, nullptr);
                     std::ostringstream out;
                     as_host([&] { out << result; });
                     for (const char c : out.str()) {
                       digest.add(static_cast<std::uint8_t>(c));
                     }
                   }});
}

const std::vector<case_t>& all_cases() {
  static const std::vector<case_t> cases = [] {
    std::vector<case_t> all;
    add_captures(all);
    add_host_spectra(all);
    add_text(all);
    add_generated(all, 200);
    return all;
  }();
  return cases;
}

std::uint64_t digest_of(const case_t& one) {
  digest_t digest;
  one.run(digest);
  return digest.value();
}

void write_list() {
  for (const case_t& one : all_cases()) {
    std::printf("%016llx %s\n", static_cast<unsigned long long>(digest_of(one)), one.name.c_str());
  }
}

using list_t = std::vector<std::pair<std::string, std::uint64_t>>;

/// Name and digest of each line of a list; empty when the file cannot be read.
list_t read_list(const char* path) {
  list_t list;
  std::ifstream file(path);
  std::string digest;
  for (std::string name; file >> digest && std::getline(file >> std::ws, name);) {
    list.emplace_back(name, std::strtoull(digest.c_str(), nullptr, 16));
  }
  return list;
}

/// Number of cases, from `first` on and one in `step`, whose digest is not that of the list.
std::size_t count_wrong(const list_t& list, std::size_t first, std::size_t step,
                        const char* where) {
  std::size_t wrong = 0;
  std::size_t held = 0;
  for (std::size_t i = first % step; i < list.size(); i += step) {
    const case_t& one = all_cases()[i];
    if (list[i].first != one.name || list[i].second != digest_of(one)) {
      std::fprintf(stderr, "%s: %s differs from the list\n", where, one.name.c_str());
      ++wrong;
    }
    ++held;
  }
  std::printf("%s: %zu digests, %zu wrong\n", where, held, wrong);
  return wrong;
}

bool holds(const char* path, std::size_t step) {
  const list_t list = read_list(path);
  if (list.size() != all_cases().size()) {
    std::fprintf(stderr, "%s: has %zu digests; expected %zu\n", path, list.size(),
                 all_cases().size());
    return false;
  }
  std::size_t wrong = 0;
  for (const simd::target_t target : simd::supported_targets()) {
    simd::limit_target(target);
    wrong += count_wrong(list, static_cast<std::size_t>(target), step, simd::name_of(target));
  }
  const std::vector<host_environment_t> hosts = host_environments();
  for (std::size_t i = 0; i < hosts.size(); ++i) {
    environment = &hosts[i];
    wrong += count_wrong(list, i, hosts.size() * step, hosts[i].name);
  }
  if (environments_changed != 0) {
    std::fprintf(stderr, "%zu calls left another floating-point environment\n",
                 environments_changed);
  }
  return wrong == 0 && environments_changed == 0;
}

}  // namespace
}  // namespace orn::fmcw_demod_lib

int main(int argc, char** argv) {
  if (argc == 1) {
    orn::fmcw_demod_lib::write_list();
    return EXIT_SUCCESS;
  }
  const unsigned long step = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 1;
  return step > 0 && orn::fmcw_demod_lib::holds(argv[1], step) ? EXIT_SUCCESS : EXIT_FAILURE;
}
