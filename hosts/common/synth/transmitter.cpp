#include "common/synth/transmitter.h"

#include "common/errors.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace orn::fmcw_host {
namespace {

constexpr double most_samples = 1e12;

/// Start of a triangle in samples: irrational, so that no ramp of a whole or fractional number of
/// samples ever ends on one.
constexpr double triangle_start = 2.0 - std::numbers::phi;

/// Where a moment lies: the ramp it belongs to and the time since that ramp began.
struct moment_t {
  double ramp_number;
  double since_start;  // s
};

moment_t moment_at(const transmitter_t& t, double time) {
  const double since_first = std::max(time - first_start_of(t), 0.0);
  const double number = std::floor(since_first / period_of(t));
  return {number, since_first - number * period_of(t)};
}

bool is_falling(const transmitter_t& t, double ramp_number) {
  const bool backwards = t.triangular && std::fmod(ramp_number, 2.0) != 0.0;
  return t.falling != backwards;
}

double flyback_of(const transmitter_t& t) {
  constexpr double default_flyback = 5e-6;
  return t.triangular ? 0.0 : t.flyback.value_or(default_flyback);
}

/// Deviation from the straight ramp, of the bandwidth.
double deviation_at(const transmitter_t& t, double since_start) {
  const double position = since_start / t.ramp;
  double deviation = t.quadratic * 4.0 * position * (1.0 - position);
  if (t.sine != 0.0) {
    deviation += t.sine * std::sin(2.0 * std::numbers::pi * t.sine_cycles * position);
  }
  if (t.overshoot != 0.0) {
    deviation += t.overshoot * std::exp(-since_start / t.settling);
  }
  return deviation;
}

/// Mean power of a ramp [dBm], from the fall of its level.
double mean_level(const transmitter_t& t) {
  const double nepers = t.droop * std::numbers::ln10 / 10.0;
  const double mean = nepers == 0.0 ? 1.0 : -std::expm1(-nepers) / nepers;
  return t.level + 10.0 * std::log10(mean);
}

void check_shape(const transmitter_t& t) {
  if (t.triangular && t.flyback) {
    throw input_error_t("--flyback cannot be {} with a triangle; allowed is a sawtooth",
                        *t.flyback);
  }
  constexpr double least_samples = 2.0;
  if (t.ramp * t.sample_rate < least_samples) {
    throw input_error_t("--ramp cannot be {}; allowed are at least two samples, {} s", t.ramp,
                        least_samples / t.sample_rate);
  }
  const double reach = std::abs(t.offset) + t.bandwidth / 2;
  if (!(reach <= t.sample_rate / 2)) {
    throw input_error_t(
        "--bandwidth {} with --offset {} reaches {} Hz; allowed is half the sample rate, {} Hz",
        t.bandwidth, t.offset, reach, t.sample_rate / 2);
  }
}

}  // namespace

void check(const transmitter_t& t) {
  const auto require = [](bool allowed, const char* name, double value, const char* range) {
    if (!allowed) {
      throw input_error_t("--{} cannot be {}; allowed is {}", name, value, range);
    }
  };
  const auto is_time = [](double value) { return value >= 0 && std::isfinite(value); };
  require(t.sample_rate > 0 && std::isfinite(t.sample_rate), "fs", t.sample_rate,
          "a rate above 0 Hz");
  require(t.ramp > 0 && is_time(t.ramp), "ramp", t.ramp, "a time above 0 s");
  require(is_time(t.flyback.value_or(0)), "flyback", t.flyback.value_or(0), "a time from 0 s up");
  require(is_time(t.idle), "idle", t.idle, "a time from 0 s up");
  require(t.chirps > 0, "chirps", 0, "a number from 1 up");
  require(t.impedance > 0 && std::isfinite(t.impedance), "impedance", t.impedance, "above 0 ohm");
  require(std::abs(t.level) <= 300, "level", t.level, "-300 to 300 dBm");
  require(std::abs(t.snr.value_or(0)) <= 300, "snr", t.snr.value_or(0), "-300 to 300 dB");
  require(std::abs(t.droop) <= 300, "droop", t.droop, "-300 to 300 dB");
  require(std::abs(t.quadratic) <= 1, "quadratic", t.quadratic, "-1 to 1");
  require(std::abs(t.sine) <= 1, "sine", t.sine, "-1 to 1");
  require(std::abs(t.overshoot) <= 1, "overshoot", t.overshoot, "-1 to 1");
  require(std::isfinite(t.sine_cycles), "sine-cycles", t.sine_cycles, "a finite number");
  require(t.settling > 0 && is_time(t.settling), "settling", t.settling, "a time above 0 s");
  require(t.bandwidth > 0 && std::isfinite(t.bandwidth), "bandwidth", t.bandwidth, "above 0 Hz");
  require(!t.duration || (*t.duration > 0 && is_time(*t.duration)), "duration",
          t.duration.value_or(0), "a time above 0 s");
  check_shape(t);
}

std::uint64_t sample_count_of(const transmitter_t& t) {
  const double seconds = t.duration.value_or(static_cast<double>(t.chirps) * period_of(t));
  // A triangle begins after the first sample, so its last ramp ends after one more.
  const double more = t.triangular && !t.duration ? 1.0 : 0.0;
  const double samples = std::round(seconds * t.sample_rate) + more;
  if (!(samples >= 1 && samples <= most_samples)) {
    throw input_error_t("{} s at {} Hz make {} samples; allowed are 1 to {:.0f}", seconds,
                        t.sample_rate, samples, most_samples);
  }
  return static_cast<std::uint64_t>(samples);
}

double period_of(const transmitter_t& t) { return t.ramp + flyback_of(t) + t.idle; }

double first_start_of(const transmitter_t& t) {
  return t.triangular ? triangle_start / t.sample_rate : 0.0;
}

double frequency_at(const transmitter_t& t, double time) {
  const auto [number, since_start] = moment_at(t, time);
  double position = 0.0;  // in the sweep, 0 at the ramp's start, 1 at its end
  double deviation = 0.0;
  if (since_start < t.ramp) {
    position = since_start / t.ramp;
    deviation = deviation_at(t, since_start);
  } else if (t.triangular) {
    position = 1.0;
  } else if (since_start < t.ramp + flyback_of(t)) {
    position = 1.0 - (since_start - t.ramp) / flyback_of(t);
  }
  const double sweep = (position - 0.5 + deviation) * t.bandwidth;
  return t.offset + (is_falling(t, number) ? -sweep : sweep);
}

double level_at(const transmitter_t& t, double time) {
  return t.level - t.droop * std::min(moment_at(t, time).since_start / t.ramp, 1.0);
}

double amplitude_of(double dbm, double impedance) {
  return std::sqrt(2.0 * impedance * 1e-3 * std::pow(10.0, dbm / 10.0));
}

std::optional<chirp_truth_t> truth_of(const transmitter_t& t, std::uint64_t number) {
  const auto ramp_number = static_cast<double>(number);
  chirp_truth_t chirp;
  chirp.start = first_start_of(t) + ramp_number * period_of(t);
  chirp.length = t.ramp;
  // The margin keeps a ramp that begins on a sample from starting at the next one.
  const double first = std::ceil(chirp.start * t.sample_rate - 1e-6);
  const double end = std::ceil((chirp.start + chirp.length) * t.sample_rate - 1e-6);
  if (end > static_cast<double>(sample_count_of(t))) {
    return std::nullopt;
  }
  chirp.sample_start = static_cast<std::uint64_t>(first);
  chirp.sample_count = static_cast<std::uint64_t>(end - first);
  chirp.slope = (is_falling(t, ramp_number) ? -t.bandwidth : t.bandwidth) / t.ramp;
  chirp.freq_lower = t.offset - t.bandwidth / 2;
  chirp.freq_upper = t.offset + t.bandwidth / 2;
  chirp.power = mean_level(t);
  return chirp;
}

std::uint64_t truth_count_of(const transmitter_t& t) {
  // One ramp of doubt at the end is settled by looking.
  const double seconds = static_cast<double>(sample_count_of(t)) / t.sample_rate;
  auto count = static_cast<std::uint64_t>(
      std::max(std::floor((seconds - t.ramp - first_start_of(t)) / period_of(t)), 0.0));
  while (truth_of(t, count)) {
    ++count;
  }
  return count;
}

}  // namespace orn::fmcw_host
