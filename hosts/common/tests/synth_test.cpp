#include "common/errors.h"
#include "common/synth/synthesizer.h"
#include "own_folder.h"

#include <cmath>
#include <complex>
#include <functional>
#include <numbers>
#include <vector>

#include <gmock/gmock.h>

namespace {

using namespace orn::fmcw_host;
using orn::fmcw_demod_lib::sample_t;
using testing::HasSubstr;

std::vector<sample_t> all_samples(const transmitter_t& transmitter, std::size_t piece) {
  synthesizer_t synthesizer(transmitter);
  std::vector<sample_t> samples;
  std::vector<sample_t> part(piece);
  while (const std::size_t count = synthesizer.read(part)) {
    samples.insert(samples.end(), part.begin(), part.begin() + static_cast<std::ptrdiff_t>(count));
  }
  return samples;
}

TEST(Synth, PiecesDoNotShowInTheSamples) {
  transmitter_t transmitter;
  transmitter.snr = 20;
  transmitter.droop = 1;
  transmitter.duration = 200e-6;
  const auto whole = all_samples(transmitter, 100000);
  ASSERT_EQ(whole.size(), 25000U);
  EXPECT_EQ(all_samples(transmitter, 997), whole);
}

/// The turn of a triangle must show as a change of the slope's sign between two samples, whatever
/// the ramp's length in samples.
TEST(Synth, ATriangleNeverTurnsOnASample) {
  for (const double ramp_samples : {100.0, 99.5, 100.25, 333.3333333333333, 64.0, 7.0}) {
    transmitter_t transmitter;
    transmitter.sample_rate = 1e6;
    transmitter.bandwidth = 1e5;
    transmitter.triangular = true;
    transmitter.ramp = ramp_samples * 1e-6;
    transmitter.chirps = 200;
    const auto samples = all_samples(transmitter, 4096);
    const auto step = [&](std::size_t i) {
      return std::arg(std::complex<double>(samples[i + 1]) *
                      std::conj(std::complex<double>(samples[i])));
    };
    int turns = 0;
    for (std::size_t i = 2; i + 2 < samples.size(); ++i) {
      const double before = step(i) - step(i - 1);
      const double after = step(i + 1) - step(i);
      turns += before * after < 0.0 && std::abs(before) > 1e-6 && std::abs(after) > 1e-6 ? 1 : 0;
    }
    const double slope_step = 2.0 * std::numbers::pi * 0.1 / ramp_samples;
    ASSERT_GT(slope_step, 1e-4) << "steeper than the samples' rounding";
    EXPECT_GE(turns, 180) << ramp_samples;
    EXPECT_LE(turns, 199) << ramp_samples;
    EXPECT_EQ(truth_count_of(transmitter), 200U);
  }
}

TEST(Synth, TruthNamesEveryWholeRamp) {
  transmitter_t transmitter;
  transmitter.sample_rate = 10e6;
  transmitter.ramp = 200e-6;
  transmitter.flyback = 10e-6;
  transmitter.bandwidth = 2e6;
  transmitter.duration = 1e-3;
  ASSERT_EQ(truth_count_of(transmitter), 4U) << "the fifth ends after the capture";
  const auto chirp = truth_of(transmitter, 3);
  EXPECT_EQ(chirp->sample_start, 6300U);
  EXPECT_EQ(chirp->sample_count, 2000U);
  EXPECT_EQ(chirp->slope, 1e10);
  transmitter.duration.reset();
  transmitter.chirps = 1000000;
  EXPECT_EQ(truth_count_of(transmitter), 1000000U);
}

TEST(Synth, RefusesWhatCannotBe) {
  struct refusal_t {
    std::function<void(transmitter_t&)> spoil;
    const char* named;
  };
  const refusal_t refusals[] = {
      {[](auto& t) { t.ramp = 1e-15; }, "--ramp cannot be 1e-15; allowed are at least two samples"},
      {[](auto& t) { t.ramp = std::nan(""); }, "--ramp"},
      {[](auto& t) { t.triangular = true, t.flyback = 1e-6; }, "--flyback cannot be 1e-06"},
      {[](auto& t) { t.flyback = -1.0; }, "--flyback cannot be -1"},
      {[](auto& t) { t.bandwidth = 200e6; }, "reaches 100000000 Hz"},
      {[](auto& t) { t.offset = 50e6; }, "--offset 50000000"},
      {[](auto& t) { t.duration = 1e9; }, "make 1.25e+17 samples"},
      {[](auto& t) { t.duration = 1e-12; }, "make 0 samples"},
      {[](auto& t) { t.chirps = 0; }, "--chirps cannot be 0"},
      {[](auto& t) { t.snr = 400; }, "--snr cannot be 400"},
  };
  for (const auto& refusal : refusals) {
    transmitter_t transmitter;
    refusal.spoil(transmitter);
    EXPECT_THAT(message_of<input_error_t>([&] { synthesizer_t{transmitter}; }),
                HasSubstr(refusal.named));
  }
}

}  // namespace
