#include "digest.h"

#include "host_environment.h"
#include "targets.h"

#include <fmcw_demod/fmcw_demod.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

/// Whole results, bit for bit: what the plain loops gave before any of them was vectorised, every
/// instruction set must give.
namespace orn::fmcw_demod_lib {
namespace {

/// xorshift64* (Vigna, ACM Trans. Math. Softw. 42 (2016), 30).
class random_t {
 public:
  explicit random_t(std::uint64_t seed) : state_(seed) {}

  std::uint32_t bits() {
    state_ ^= state_ >> 12;
    state_ ^= state_ << 25;
    state_ ^= state_ >> 27;
    return static_cast<std::uint32_t>(state_ * 0x2545f4914f6cdd1dU >> 32);
  }
  /// Uniform, -1 to 1.
  float uniform() { return static_cast<float>(static_cast<std::int32_t>(bits())) * 0x1p-31F; }

 private:
  std::uint64_t state_;
};

/// A unit phasor that turns by multiplications, so that captures need no library function and have
/// the same bits everywhere.
struct phasor_t {
  double re = 1.0;
  double im = 0.0;

  /// Turns by `angle` [rad], small, and returns to unit length.
  void turn(double angle) {
    const double square = angle * angle;
    const double s = angle * (1.0 - square * (1.0 / 6.0) * (1.0 - square * (1.0 / 20.0)));
    const double c = 1.0 - square * 0.5 * (1.0 - square * (1.0 / 12.0));
    const double next_re = re * c - im * s;
    const double next_im = re * s + im * c;
    const double length = std::sqrt(next_re * next_re + next_im * next_im);
    re = next_re / length;
    im = next_im / length;
  }
};

/// Ramps of 0.64 pi around 0 in `ramp` samples, fly-backs of `flyback` samples, with noise.
std::vector<sample_t> sawtooth(std::size_t count, double ramp, double flyback, float noise) {
  random_t random(count);
  phasor_t phasor;
  std::vector<sample_t> samples(count);
  double within = 0.0;
  for (auto& z : samples) {
    z = {static_cast<float>(0.3 * phasor.re) + noise * random.uniform(),
         static_cast<float>(0.3 * phasor.im) + noise * random.uniform()};
    const double position = within < ramp ? within / ramp : 1.0 - (within - ramp) / flyback;
    phasor.turn((position - 0.5) * 2.0);
    within += 1.0;
    within -= within < ramp + flyback ? 0.0 : ramp + flyback;
  }
  return samples;
}

std::vector<sample_t> filled(std::size_t count, const std::function<float()>& value) {
  std::vector<sample_t> samples(count);
  for (auto& z : samples) {
    const float re = value();
    z = {re, value()};
  }
  return samples;
}

struct capture_t {
  const char* name;
  std::uint64_t digest;  ///< of the result of the plain loops
  std::function<std::vector<sample_t>()> samples;
  std::function<void(fmcw_demod_config_t&)> adjust;
};

void as_is(fmcw_demod_config_t& /*config*/) {}

auto windowed(std::uint32_t length, std::uint32_t overlap) {
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

const std::array<capture_t, 10>& captures() {
  static const std::array<capture_t, 10> all = {{
      {"radar", 0x539df24dde2c2093U, [] { return sawtooth(300'001, 12500, 625, 0.003F); }, as_is},
      {"short chirps", 0x6e5a80f47e548a26U, [] { return sawtooth(60'000, 1500, 100, 0.001F); },
       automatic_band_in_short_frames},
      {"one frame", 0x396a243b9623accdU, [] { return sawtooth(50'000, 4000, 1000, 0.0F); },
       one_frame_cut_by_share},
      {"window of 60", 0x9f84ced32dd99ad8U, [] { return sawtooth(20'000, 5000, 500, 0.01F); },
       windowed(60, 30)},
      {"window of 257", 0xf60331f4610af438U, [] { return sawtooth(20'003, 5000, 500, 0.01F); },
       windowed(257, 129)},
      {"window of 1024", 0xf3e4c340423bec13U, [] { return sawtooth(30'000, 5000, 500, 0.01F); },
       windowed(1024, 1000)},
      {"window of 3001", 0xd3c422fc0cd1f483U, [] { return sawtooth(40'000, 5000, 500, 0.01F); },
       windowed(3001, 1500)},
      {"noise", 0x7fbd2648b4721635U,
       [] {
         random_t random(7);
         return filled(40'000, [&] { return random.uniform(); });
       },
       as_is},
      {"any bits", 0x50384424d5587852U,
       [] {
         random_t random(8);
         return filled(30'000, [&] { return std::bit_cast<float>(random.bits()); });
       },
       as_is},
      {"axes, zeros and turns of pi", 0x17f9dc23d5e0e2c6U,
       [] {
         constexpr std::array<float, 6> values = {
             0.0F, -0.0F, 1.0F, -1.0F, 0x1p-140F, std::numeric_limits<float>::max()};
         random_t random(9);
         return filled(30'000, [&] { return values[random.bits() % values.size()]; });
       },
       as_is},
  }};
  return all;
}

/// Of the capture's result when `call` makes the analysis, as a host's wrapper might.
template <class Call>
std::uint64_t digest_of(const capture_t& capture, const Call& call) {
  fmcw_demod_config_t config;
  capture.adjust(config);
  const SignalStream signal{capture.samples(), 125e6F};
  fmcw_measure_result_t result;
  int code = -1;
  call([&] { code = DLL_fmcw_analysis(&config, signal, &result, nullptr); });
  EXPECT_EQ(code, 0);
  digest_t digest;
  digest.add(result);
  return digest.value();
}

TEST(Digest, OfEveryCaptureIsThatOfThePlainLoops) {
  on_every_target([] {
    for (const capture_t& capture : captures()) {
      EXPECT_EQ(digest_of(capture, [](const auto& analyse) { analyse(); }), capture.digest)
          << capture.name;
    }
  });
}

TEST(Digest, OfEveryCaptureIsTheSameInEveryHostEnvironment) {
  for (const auto& environment : host_environments()) {
    for (const capture_t& capture : captures()) {
      const auto in_environment = [&](const auto& analyse) {
        EXPECT_TRUE(survives(environment, analyse)) << environment.name << ", " << capture.name;
      };
      EXPECT_EQ(digest_of(capture, in_environment), capture.digest)
          << environment.name << ", " << capture.name;
    }
  }
}

/// The spectra that no analysis computes, of a whole capture.
std::uint64_t digest_of_spectra(std::size_t count) {
  const std::vector<sample_t> samples = sawtooth(count, 5000, 500, 0.01F);
  const FMCWConfig parameters(fmcw_demod_config_t{}, nullptr, 0.0F);
  const FMCWAnalyze engine(parameters);
  fmcw_measure_result_t result;
  engine.compute_spectrogram(samples, 125e6F, result);
  engine.compute_psd(samples, 125e6F, result.psd_freq, result.psd_magnitude_dB);
  std::vector<float> freq;
  std::vector<float> power;
  digest_t digest;
  digest.add(basefunc::calculate_channel_power_db(samples, freq, power, 125e6F, 50.0F));
  digest.add(freq);
  digest.add(power);
  digest.add(result);
  return digest.value();
}

TEST(Digest, OfHostSpectraIsThatOfThePlainLoops) {
  const std::vector<std::pair<std::size_t, std::uint64_t>> expected = {
      {1, 0x5e2622b13ec7a286U},     {2, 0x2c1c8e47b6d88aefU},     {60, 0x40f2ce6b32b485cbU},
      {63, 0xa07fd03375a1348eU},    {97, 0x1cf7256a4f9dfc35U},    {1000, 0x9fc907f4ffdd5e4aU},
      {1023, 0xfb1169db9419d0e4U},  {3003, 0xa66e1e07ae177df6U},  {4096, 0x6db6246859c4fe6dU},
      {17017, 0xd124697d7db56960U}, {65536, 0x20c84b14e84e0e06U}, {65537, 0x88f729e12303bb65U},
      {262144, 0xf03ba75e4f26e57eU}};
  on_every_target([&] {
    for (const auto& [count, digest] : expected) {
      EXPECT_EQ(digest_of_spectra(count), digest) << count;
    }
  });
}

}  // namespace
}  // namespace orn::fmcw_demod_lib
