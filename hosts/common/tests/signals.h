#pragma once

#include "common/capture/sample_source.h"

#include <fmcw_demod/types.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <numbers>
#include <random>
#include <vector>

namespace orn::fmcw_host {

using fmcw_demod_lib::sample_t;

/// A sawtooth or triangle for tests; samples are the integral of its frequency.
struct signal_t {
  double rate = 10e6;      // Hz
  double ramp = 200e-6;    // s
  double flyback = 10e-6;  // s; a triangle has none
  double bandwidth = 2e6;  // Hz
  bool triangle = false;
  double noise = 1e-3;  // standard deviation of each component [V], of a carrier of 1 V
};

inline std::vector<sample_t> samples_of(const signal_t& s, std::size_t count) {
  std::mt19937_64 engine(1);
  std::normal_distribution<float> noise(0.0F, static_cast<float>(s.noise));
  std::vector<sample_t> samples(count);
  const double period = s.triangle ? 2 * s.ramp : s.ramp + s.flyback;
  const double back = s.triangle ? s.ramp : s.flyback;
  double turns = 0.0;
  for (std::size_t i = 0; i < count; ++i) {
    samples[i] = std::polar(1.0F, static_cast<float>(2.0 * std::numbers::pi * turns)) +
                 sample_t(noise(engine), noise(engine));
    const double t = std::fmod((static_cast<double>(i) + 0.5) / s.rate, period);
    const double position = t < s.ramp ? t / s.ramp : 1.0 - (t - s.ramp) / back;
    turns += (position - 0.5) * s.bandwidth / s.rate;
    turns -= std::floor(turns);
  }
  return samples;
}

/// Samples in memory.
class vector_source_t : public sample_source_t {
 public:
  explicit vector_source_t(const std::vector<sample_t>& samples) : samples_(samples) {}

  std::size_t read(std::span<sample_t> out) override {
    const std::size_t count = std::min(out.size(), samples_.size() - position_);
    std::copy_n(samples_.begin() + static_cast<std::ptrdiff_t>(position_), count, out.begin());
    position_ += count;
    return count;
  }

 private:
  const std::vector<sample_t>& samples_;
  std::size_t position_ = 0;
};

}  // namespace orn::fmcw_host
