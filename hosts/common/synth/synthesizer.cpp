#include "common/synth/synthesizer.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace orn::fmcw_host {
namespace {

using fmcw_demod_lib::sample_t;

constexpr double two_pi = 2.0 * std::numbers::pi;

std::uint64_t checked_count(const transmitter_t& transmitter) {
  check(transmitter);
  return sample_count_of(transmitter);
}

}  // namespace

std::complex<double> noise_t::operator()() {
  const double radius = std::sqrt(-2.0 * std::log(uniform()));
  return std::polar(radius, two_pi * uniform());
}

/// Uniform in (0, 1].
double noise_t::uniform() { return (static_cast<double>(engine_() >> 11U) + 1.0) * 0x1p-53; }

synthesizer_t::synthesizer_t(const transmitter_t& transmitter)
    : transmitter_(transmitter),
      sample_count_(checked_count(transmitter)),
      amplitude_(amplitude_of(transmitter.level, transmitter.impedance)),
      noise_amplitude_(transmitter.snr ? amplitude_of(transmitter.level - *transmitter.snr,
                                                      transmitter.impedance) /
                                             std::numbers::sqrt2
                                       : 0.0),
      noise_(transmitter.seed) {}

std::size_t synthesizer_t::read(std::span<sample_t> out) {
  const auto part = out.first(
      static_cast<std::size_t>(std::min<std::uint64_t>(out.size(), sample_count_ - position_)));
  std::generate(part.begin(), part.end(), [this] { return next(); });
  return part.size();
}

sample_t synthesizer_t::next() {
  const transmitter_t& t = transmitter_;
  const double time = static_cast<double>(position_) / t.sample_rate;
  const double amplitude =
      t.droop == 0.0 ? amplitude_ : amplitude_of(level_at(t, time), t.impedance);
  std::complex<double> z = std::polar(amplitude, two_pi * turns_);
  if (t.snr) {
    z += noise_amplitude_ * noise_();
  }
  // The frequency half a sample on integrates a straight ramp exactly.
  turns_ += frequency_at(t, time + 0.5 / t.sample_rate) / t.sample_rate;
  turns_ -= std::floor(turns_);
  ++position_;
  return sample_t(z);
}

}  // namespace orn::fmcw_host
