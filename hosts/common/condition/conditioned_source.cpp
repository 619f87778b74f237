#include "common/condition/conditioned_source.h"

#include "common/condition/low_pass.h"
#include "common/errors.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace orn::fmcw_host {
namespace {

using fmcw_demod_lib::sample_t;

constexpr std::size_t half_taps = 12;    // times decimate
constexpr double usual_low_pass = 0.45;  // of the new rate
constexpr std::size_t oscillator_block = 1024;
constexpr std::size_t outputs_at_once = 4096;

std::complex<double> phasor(double turns) {
  return std::polar(1.0, 2.0 * std::numbers::pi * turns);
}

std::vector<double> taps_of(const conditioning_t& conditioning, double rate) {
  if (!conditioning.has_low_pass()) {
    return {1.0};
  }
  const double new_rate = rate / conditioning.decimate;
  return low_pass_taps(conditioning.low_pass.value_or(usual_low_pass * new_rate) / rate,
                       2 * half_taps * conditioning.decimate + 1);
}

}  // namespace

void check(const conditioning_t& conditioning, double rate) {
  if (!(std::abs(conditioning.shift) <= rate / 2.0)) {
    throw input_error_t("--shift cannot be {} Hz; allowed are -{} to {} Hz, half the sample rate",
                        conditioning.shift, rate / 2.0, rate / 2.0);
  }
  if (conditioning.low_pass &&
      !(*conditioning.low_pass > 0.0 && *conditioning.low_pass <= rate / 2.0)) {
    throw input_error_t(
        "--low-pass cannot be {} Hz; allowed is above 0 up to {} Hz, half the sample rate",
        *conditioning.low_pass, rate / 2.0);
  }
  if (conditioning.decimate < 1 || conditioning.decimate > most_decimate) {
    throw input_error_t("--decimate cannot be {}; allowed are 1 to {}", conditioning.decimate,
                        most_decimate);
  }
}

std::uint64_t conditioned_count(std::uint64_t first_sample, std::uint64_t count,
                                std::uint32_t decimate) {
  const auto before = [&](std::uint64_t position) {
    return position / decimate + (position % decimate != 0 ? 1 : 0);
  };
  return before(first_sample + count) - before(first_sample);
}

conditioned_source_t::conditioned_source_t(sample_source_t& source,
                                           const conditioning_t& conditioning,
                                           std::uint64_t first_sample, double rate)
    : source_(source),
      decimate_(conditioning.decimate),
      taps_(taps_of(conditioning, rate)),
      turns_per_sample_(conditioning.shift / rate),
      next_(first_sample) {
  if (conditioning.shift != 0.0) {
    for (std::size_t i = 0; i < oscillator_block; ++i) {
      oscillator_.push_back(phasor(static_cast<double>(i) * turns_per_sample_));
    }
  }
  // Zeros stand for what lies before the segment. Half the taps are more than what is left out
  // before the first output.
  const auto left_out =
      static_cast<std::size_t>((decimate_ - first_sample % decimate_) % decimate_);
  held_.resize(taps_.size() / 2 - left_out);
}

void conditioned_source_t::move_in_frequency(std::span<sample_t> samples) {
  while (!oscillator_.empty() && !samples.empty()) {
    const auto first = static_cast<std::size_t>(next_ % oscillator_block);
    const std::size_t count = std::min(oscillator_block - first, samples.size());
    const auto anchor =
        phasor(std::remainder(static_cast<double>(next_ - first) * turns_per_sample_, 1.0));
    for (std::size_t i = 0; i < count; ++i) {
      const std::complex<double> by = anchor * oscillator_[first + i];
      const double re = samples[i].real();
      const double im = samples[i].imag();
      samples[i] = {static_cast<float>(re * by.real() - im * by.imag()),
                    static_cast<float>(re * by.imag() + im * by.real())};
    }
    next_ += count;
    samples = samples.subspan(count);
  }
}

/// Reads on until what so many outputs need is held, or the segment ends.
void conditioned_source_t::fill(std::size_t outputs) {
  const std::size_t wanted = (outputs - 1) * decimate_ + taps_.size();
  if (at_end_ || held_.size() >= wanted) {
    return;
  }
  const std::size_t there = held_.size();
  held_.resize(wanted);
  const std::size_t got = source_.read(std::span(held_).subspan(there));
  move_in_frequency(std::span(held_).subspan(there, got));
  at_end_ = there + got < wanted;
  held_.resize(there + got);
  if (at_end_) {
    held_.resize(held_.size() + taps_.size() / 2);
  }
}

std::size_t conditioned_source_t::read(std::span<sample_t> out) {
  if (taps_.size() == 1) {
    const std::size_t got = source_.read(out);
    move_in_frequency(out.first(got));
    return got;
  }
  std::size_t done = 0;
  while (done < out.size()) {
    fill(std::min(outputs_at_once, out.size() - done));
    const std::size_t there =
        held_.size() < taps_.size() ? 0 : (held_.size() - taps_.size()) / decimate_ + 1;
    const std::size_t count = std::min(there, out.size() - done);
    if (count == 0) {
      break;
    }
    decimating_filter(held_, taps_, decimate_, out.subspan(done, count));
    held_.erase(held_.begin(), held_.begin() + static_cast<std::ptrdiff_t>(count * decimate_));
    done += count;
  }
  return done;
}

}  // namespace orn::fmcw_host
