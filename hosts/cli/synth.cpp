#include "synth.h"

#include "errors.h"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <numbers>
#include <random>

namespace fmcw_cli {
namespace {

using orn::fmcw_demod_lib::sample_t;

constexpr double two_pi = 2.0 * std::numbers::pi;
constexpr double most_samples = 1e9;

void check(const transmitter_t& t) {
  const auto require = [](bool allowed, const char* name, double value, const char* range) {
    if (!allowed) {
      throw input_error("--{} cannot be {}; allowed is {}", name, value, range);
    }
  };
  require(t.sample_rate > 0 && std::isfinite(t.sample_rate), "fs", t.sample_rate,
          "a rate above 0 Hz");
  require(t.ramp > 0 && std::isfinite(t.ramp), "ramp", t.ramp, "a time above 0 s");
  require(t.flyback >= 0 && std::isfinite(t.flyback), "flyback", t.flyback, "a time from 0 s up");
  require(t.idle >= 0 && std::isfinite(t.idle), "idle", t.idle, "a time from 0 s up");
  require(t.chirps > 0, "chirps", t.chirps, "a number from 1 up");
  require(t.impedance > 0 && std::isfinite(t.impedance), "impedance", t.impedance, "above 0 ohm");
  require(std::abs(t.level) <= 300, "level", t.level, "-300 to 300 dBm");
  require(!t.snr || std::abs(*t.snr) <= 300, "snr", t.snr.value_or(0), "-300 to 300 dB");
  require(std::abs(t.droop) <= 300, "droop", t.droop, "-300 to 300 dB");
  require(std::abs(t.quadratic) <= 1, "quadratic", t.quadratic, "-1 to 1");
  require(std::abs(t.sine) <= 1, "sine", t.sine, "-1 to 1");
  require(std::abs(t.overshoot) <= 1, "overshoot", t.overshoot, "-1 to 1");
  require(std::isfinite(t.sine_cycles), "sine-cycles", t.sine_cycles, "a finite number");
  require(t.settling > 0 && std::isfinite(t.settling), "settling", t.settling, "a time above 0 s");
  require(t.bandwidth > 0 && std::isfinite(t.bandwidth), "bandwidth", t.bandwidth, "above 0 Hz");
  require(!t.duration || (*t.duration > 0 && std::isfinite(*t.duration)), "duration",
          t.duration.value_or(0), "a time above 0 s");
  if (!(std::abs(t.offset) + t.bandwidth / 2 <= t.sample_rate / 2)) {
    throw input_error(
        "--bandwidth {} with --offset {} reaches {} Hz; allowed is half the sample "
        "rate, {} Hz",
        t.bandwidth, t.offset, std::abs(t.offset) + t.bandwidth / 2, t.sample_rate / 2);
  }
}

double period_of(const transmitter_t& t) {
  return t.ramp + (t.triangular ? 0.0 : t.flyback) + t.idle;
}

std::size_t sample_count_of(const transmitter_t& t) {
  const double seconds = t.duration.value_or(t.chirps * period_of(t));
  const double samples = std::round(seconds * t.sample_rate);
  if (!(samples >= 1 && samples <= most_samples)) {
    throw input_error("{} s at {} Hz make {} samples; allowed are 1 to {:.0f}", seconds,
                      t.sample_rate, samples, most_samples);
  }
  return static_cast<std::size_t>(samples);
}

/// Where a moment lies: the ramp it belongs to and the time since that ramp began.
struct moment_t {
  double ramp_number;
  double since_start;  // s
};

moment_t moment_at(const transmitter_t& t, double time) {
  const double number = std::floor(time / period_of(t));
  return {number, time - number * period_of(t)};
}

bool is_falling(const transmitter_t& t, double ramp_number) {
  const bool backwards = t.triangular && std::fmod(ramp_number, 2.0) != 0.0;
  return t.falling != backwards;
}

double frequency_at(const transmitter_t& t, double time) {
  const auto [number, since_start] = moment_at(t, time);
  double position = 0.0;  // in the sweep, 0 at the ramp's start, 1 at its end
  double deviation = 0.0;
  if (since_start < t.ramp) {
    position = since_start / t.ramp;
    deviation = t.quadratic * 4.0 * position * (1.0 - position) +
                t.sine * std::sin(two_pi * t.sine_cycles * position) +
                t.overshoot * std::exp(-since_start / t.settling);
  } else if (t.triangular) {
    position = 1.0;
  } else if (since_start < t.ramp + t.flyback) {
    position = 1.0 - (since_start - t.ramp) / t.flyback;
  }
  const double sweep = (position - 0.5 + deviation) * t.bandwidth;
  return t.offset + (is_falling(t, number) ? -sweep : sweep);
}

/// Amplitude [V] of a carrier whose mean power into the impedance is `dbm`.
double amplitude_of(double dbm, double impedance) {
  return std::sqrt(2.0 * impedance * 1e-3 * std::pow(10.0, dbm / 10.0));
}

double level_at(const transmitter_t& t, double time) {
  const double since_start = moment_at(t, time).since_start;
  return t.level - t.droop * std::min(since_start / t.ramp, 1.0);
}

/// Pairs of independent standard normal values (Box and Muller): unlike the standard library's
/// distribution, the same seed gives the same values with every compiler.
class noise_t {
 public:
  explicit noise_t(std::uint64_t seed) : engine_(seed) {}

  std::complex<double> operator()() {
    const double radius = std::sqrt(-2.0 * std::log(uniform()));
    return std::polar(radius, two_pi * uniform());
  }

 private:
  /// Uniform in (0, 1].
  double uniform() { return (static_cast<double>(engine_() >> 11) + 1.0) * 0x1p-53; }

  std::mt19937_64 engine_;
};

std::vector<sample_t> samples_of(const transmitter_t& t) {
  std::vector<sample_t> samples(sample_count_of(t));
  noise_t noise(t.seed);
  const double noise_amplitude =
      t.snr ? amplitude_of(t.level - *t.snr, t.impedance) / std::numbers::sqrt2 : 0.0;
  double turns = 0.0;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const double time = static_cast<double>(i) / t.sample_rate;
    std::complex<double> z =
        std::polar(amplitude_of(level_at(t, time), t.impedance), two_pi * turns);
    if (t.snr) {
      z += noise_amplitude * noise();
    }
    samples[i] = sample_t(z);
    // The frequency half a sample on integrates a straight ramp exactly.
    turns += frequency_at(t, time + 0.5 / t.sample_rate) / t.sample_rate;
    turns -= std::floor(turns);
  }
  return samples;
}

/// Mean power of a ramp [dBm], from the fall of its level.
double mean_level(const transmitter_t& t) {
  const double nepers = t.droop * std::numbers::ln10 / 10.0;
  const double mean = nepers == 0.0 ? 1.0 : -std::expm1(-nepers) / nepers;
  return t.level + 10.0 * std::log10(mean);
}

std::vector<chirp_truth_t> truth_of(const transmitter_t& t, std::size_t sample_count) {
  std::vector<chirp_truth_t> truth;
  for (std::size_t n = 0;; ++n) {
    const auto number = static_cast<double>(n);
    chirp_truth_t chirp;
    chirp.start = number * period_of(t);
    chirp.length = t.ramp;
    // The margin keeps a ramp that begins on a sample from starting at the next one.
    const double first = std::ceil(chirp.start * t.sample_rate - 1e-6);
    const double end = std::ceil((chirp.start + chirp.length) * t.sample_rate - 1e-6);
    if (end > static_cast<double>(sample_count)) {
      return truth;
    }
    chirp.sample_start = static_cast<std::uint64_t>(first);
    chirp.sample_count = static_cast<std::uint64_t>(end - first);
    chirp.slope = (is_falling(t, number) ? -t.bandwidth : t.bandwidth) / t.ramp;
    chirp.freq_lower = t.offset - t.bandwidth / 2;
    chirp.freq_upper = t.offset + t.bandwidth / 2;
    chirp.power = mean_level(t);
    truth.push_back(chirp);
  }
}

}  // namespace

synthetic_capture_t synthesize(const transmitter_t& transmitter) {
  check(transmitter);
  synthetic_capture_t capture;
  capture.samples = samples_of(transmitter);
  capture.truth = truth_of(transmitter, capture.samples.size());
  return capture;
}

void synth(const transmitter_t& t, const std::string& out) {
  const synthetic_capture_t capture = synthesize(t);
  const std::string description = fmt::format("synthetic FMCW capture: {}, ramps of {} Hz in {} s",
                                              t.triangular ? "triangular" : "sawtooth",
                                              t.falling ? -t.bandwidth : t.bandwidth, t.ramp);
  const std::string stem = sigmf_stem(out);
  write_sigmf(stem, capture.samples, t.sample_rate, capture.truth, description);
  std::cout << fmt::format("{}.sigmf-data: {} samples at {} Hz, {} whole chirps annotated\n", stem,
                           capture.samples.size(), t.sample_rate, capture.truth.size());
}

}  // namespace fmcw_cli
