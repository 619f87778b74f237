#pragma once

#include <fmcw_demod/types.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

/// Captures that need no library function but the square root, so that they have the same bits
/// everywhere.
namespace orn::fmcw_demod_lib::generated {

/// xorshift64* (Vigna, ACM Trans. Math. Softw. 42 (2016), 30).
class random_t {
 public:
  /// seed  not 0
  explicit random_t(std::uint64_t seed) : state_(seed) {}

  std::uint32_t bits() {
    state_ ^= state_ >> 12;
    state_ ^= state_ << 25;
    state_ ^= state_ >> 27;
    return static_cast<std::uint32_t>(state_ * 0x2545f4914f6cdd1dU >> 32);
  }
  /// Uniform, -1 to 1.
  float uniform() { return static_cast<float>(static_cast<std::int32_t>(bits())) * 0x1p-31F; }
  /// Uniform, 0 to end - 1.
  std::uint32_t below(std::uint32_t end) { return bits() % end; }
  template <class Choices>
  auto of(const Choices& choices) {
    return choices[below(static_cast<std::uint32_t>(choices.size()))];
  }

 private:
  std::uint64_t state_;
};

/// A unit phasor that turns by multiplications.
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
inline std::vector<sample_t> sawtooth(std::size_t count, double ramp, double flyback, float noise) {
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

/// Both parts of each sample from value().
template <class Value>
std::vector<sample_t> filled(std::size_t count, Value value) {
  std::vector<sample_t> samples(count);
  for (auto& z : samples) {
    const float re = value();
    z = {re, value()};
  }
  return samples;
}

}  // namespace orn::fmcw_demod_lib::generated
