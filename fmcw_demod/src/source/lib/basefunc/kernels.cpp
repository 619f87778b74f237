#include "basefunc/kernels.h"

#include "basefunc/arctangent.h"
#include "basefunc/bounded.h"
#include "dispatch.h"
#include "vector.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <utility>

namespace orn::fmcw_demod_lib::kernels {
namespace {

using common_lib::dispatch;

constexpr double pi = std::numbers::pi;
constexpr double two_pi = 2.0 * pi;

/// q rounded to the nearest integer, halves toward zero. Infinities and NaN stay.
double round_half_toward_zero(double q) {
  const double whole = std::trunc(q);
  return std::abs(q - whole) <= 0.5 ? whole : std::round(q);
}

/// Calls body(first, count) for the blocks of `size` values.
template <class Body>
ORN_KERNEL inline void for_each_block(std::size_t size, Body body) {
  for (std::size_t first = 0; first < size; first += block_length) {
    body(first, std::min(block_length, size - first));
  }
}

/// |x|^2 of `count` samples, at most a block, |x| and its square each rounded to float.
template <class On>
ORN_KERNEL inline void squared_magnitudes(const sample_t* samples, std::size_t count,
                                          block_t<float>& out) {
  magnitudes<On>([=](std::size_t i) ORN_KERNEL { return samples[i].real(); },
                 [=](std::size_t i) ORN_KERNEL { return samples[i].imag(); }, count, out);
  for (std::size_t i = 0; i < count; ++i) {
    out[i] *= out[i];
  }
}

ORN_KERNEL inline double added(const block_t<float>& values, std::size_t count, double sum) {
  for (std::size_t i = 0; i < count; ++i) {
    sum += values[i];
  }
  return sum;
}

}  // namespace

void time_axis(double fs, std::span<float> out) noexcept {
  // Indices are 32-bit within a run, for which every target has a vector conversion to float.
  constexpr std::size_t run = std::size_t{1} << 30;
  const std::size_t narrow = std::min(out.size(), run);
  dispatch([=](auto /*on*/) ORN_KERNEL {
    for (std::size_t i = 0; i < narrow; ++i) {
      out[i] = static_cast<float>(
          static_cast<double>(static_cast<float>(static_cast<std::int32_t>(i))) / fs);
    }
  });
  for (std::size_t i = narrow; i < out.size(); ++i) {
    out[i] = static_cast<float>(static_cast<double>(static_cast<float>(i)) / fs);
  }
}

double power_levels(std::span<const sample_t> samples, float impedance,
                    std::span<float> out) noexcept {
  double sum = 0.0;
  dispatch([=, &sum](auto on) ORN_KERNEL {
    double running = 0.0;
    for_each_block(samples.size(), [&](std::size_t first, std::size_t count) ORN_KERNEL {
      alignas(64) block_t<float> power;
      alignas(64) block_t<float> level;
      squared_magnitudes<decltype(on)>(&samples[first], count, power);
      running = added(power, count, running);
      for (std::size_t i = 0; i < count; ++i) {
        power[i] = power[i] / impedance * 1000.0F + 1e-12F;
      }
      log10s<decltype(on)>(power, count, level);
      for (std::size_t i = 0; i < count; ++i) {
        out[first + i] = 10.0F * level[i];
      }
    });
    sum = running;
  });
  return sum;
}

double sum_of_squares(std::span<const sample_t> samples) noexcept { return squares(samples).sum; }

squares_t squares(std::span<const sample_t> samples) noexcept {
  squares_t result{};
  dispatch([=, &result](auto on) ORN_KERNEL {
    // Extremes are kept per lane: which of two equal numbers wins does not matter, and a NaN loses
    // every comparison.
    constexpr std::size_t lanes = 16;
    std::array<float, lanes> smallest;
    std::array<float, lanes> largest;
    smallest.fill(std::numeric_limits<float>::infinity());
    largest.fill(-1.0F);
    double running = 0.0;
    for_each_block(samples.size(), [&](std::size_t first, std::size_t count) ORN_KERNEL {
      alignas(64) block_t<float> power;
      squared_magnitudes<decltype(on)>(&samples[first], count, power);
      running = added(power, count, running);
      std::fill(power.begin() + static_cast<std::ptrdiff_t>(count), power.end(),
                std::numeric_limits<float>::quiet_NaN());
      for (std::size_t i = 0; i < block_length; i += lanes) {
        for (std::size_t l = 0; l < lanes; ++l) {
          smallest[l] = power[i + l] < smallest[l] ? power[i + l] : smallest[l];
          largest[l] = power[i + l] > largest[l] ? power[i + l] : largest[l];
        }
      }
    });
    result = {running, *std::min_element(smallest.begin(), smallest.end()),
              *std::max_element(largest.begin(), largest.end())};
  });
  if (result.largest < result.smallest) {
    result.smallest = result.largest = std::numeric_limits<float>::quiet_NaN();
  }
  return result;
}

void windowed_lanes(std::span<const float> phases, std::size_t hop, std::size_t pitch,
                    std::size_t first, std::size_t lanes, std::span<const sample_t> window,
                    std::span<float> out) noexcept {
  dispatch([=](auto on) ORN_KERNEL {
    using value_t = common_lib::vector_t<float, decltype(on)>;
    constexpr std::size_t width = sizeof(value_t) / sizeof(float);
    std::size_t phase = 0;
    std::size_t column = first;
    for (std::size_t i = 0; i < window.size(); ++i) {
      const float* const x = &phases[phase * pitch + column];
      const float weight = window[i].real();
      std::size_t l = 0;
      for (; l + width <= lanes; l += width) {
        common_lib::store(common_lib::load<value_t>(x + l) * weight, &out[i * lanes + l]);
      }
      for (; l < lanes; ++l) {
        out[i * lanes + l] = x[l] * weight;
      }
      if (++phase == hop) {
        phase = 0;
        ++column;
      }
    }
  });
}

namespace {

using quad_t = common_lib::vector_of_t<float, 16>::type;

/// Transposes the 4 by 4 values at `from`, `pitch` from one line to the next, into four rows.
ORN_KERNEL inline void transpose_tile(const float* from, std::size_t pitch, float* const* rows,
                                      std::size_t at) {
  const auto a = common_lib::load<quad_t>(from);
  const auto b = common_lib::load<quad_t>(from + pitch);
  const auto c = common_lib::load<quad_t>(from + 2 * pitch);
  const auto d = common_lib::load<quad_t>(from + 3 * pitch);
  const quad_t ab_low = __builtin_shufflevector(a, b, 0, 4, 1, 5);
  const quad_t ab_high = __builtin_shufflevector(a, b, 2, 6, 3, 7);
  const quad_t cd_low = __builtin_shufflevector(c, d, 0, 4, 1, 5);
  const quad_t cd_high = __builtin_shufflevector(c, d, 2, 6, 3, 7);
  common_lib::store(quad_t(__builtin_shufflevector(ab_low, cd_low, 0, 1, 4, 5)), rows[0] + at);
  common_lib::store(quad_t(__builtin_shufflevector(ab_low, cd_low, 2, 3, 6, 7)), rows[1] + at);
  common_lib::store(quad_t(__builtin_shufflevector(ab_high, cd_high, 0, 1, 4, 5)), rows[2] + at);
  common_lib::store(quad_t(__builtin_shufflevector(ab_high, cd_high, 2, 3, 6, 7)), rows[3] + at);
}

/// Copies the bins [first, last) to the rows from element `at` on.
ORN_KERNEL inline void lanes_to_rows(std::span<const float> values, std::size_t lanes,
                                     std::size_t first, std::size_t last,
                                     std::span<float* const> rows, std::size_t at) {
  const std::size_t whole_tiles = rows.size() - rows.size() % 4;
  for (; first + 4 <= last; first += 4, at += 4) {
    for (std::size_t l = 0; l < whole_tiles; l += 4) {
      transpose_tile(&values[first * lanes + l], lanes, &rows[l], at);
    }
    for (std::size_t l = whole_tiles; l < rows.size(); ++l) {
      for (std::size_t i = 0; i < 4; ++i) {
        rows[l][at + i] = values[(first + i) * lanes + l];
      }
    }
  }
  for (; first < last; ++first, ++at) {
    for (std::size_t l = 0; l < rows.size(); ++l) {
      rows[l][at] = values[first * lanes + l];
    }
  }
}

}  // namespace

void lanes_to_centred_rows(std::span<const float> values, std::size_t lanes,
                           std::span<float* const> rows) noexcept {
  dispatch([=](auto /*on*/) ORN_KERNEL {
    const std::size_t bins = values.size() / lanes;
    const std::size_t negative = (bins + 1) / 2;
    lanes_to_rows(values, lanes, negative, bins, rows, 0);
    lanes_to_rows(values, lanes, 0, negative, rows, bins - negative);
  });
}

void strongest_centred_bins(std::span<const float> magnitude,
                            std::span<std::uint32_t> strongest) noexcept {
  const std::size_t lanes = strongest.size();
  const std::size_t bins = magnitude.size() / lanes;
  const std::size_t negative = (bins + 1) / 2;
  for (std::size_t l = 0; l < lanes; ++l) {
    float largest = magnitude[negative % bins * lanes + l];
    strongest[l] = 0;
    for (std::size_t i = 1; i < bins; ++i) {
      const float candidate = magnitude[(negative + i) % bins * lanes + l];
      if (candidate > largest) {
        largest = candidate;
        strongest[l] = static_cast<std::uint32_t>(i);
      }
    }
  }
}

void magnitudes(std::span<const float> re, std::span<const float> im,
                std::span<float> out) noexcept {
  dispatch([=](auto on) ORN_KERNEL {
    for_each_block(out.size(), [&](std::size_t first, std::size_t count) ORN_KERNEL {
      alignas(64) block_t<float> magnitude;
      magnitudes<decltype(on)>([=, x = &re[first]](std::size_t i) ORN_KERNEL { return x[i]; },
                               [=, y = &im[first]](std::size_t i) ORN_KERNEL { return y[i]; },
                               count, magnitude);
      std::copy_n(magnitude.begin(), count, &out[first]);
    });
  });
}

void spectral_levels(std::span<const float> re, std::span<const float> im,
                     std::span<float> out) noexcept {
  dispatch([=](auto on) ORN_KERNEL {
    for_each_block(out.size(), [&](std::size_t first, std::size_t count) ORN_KERNEL {
      alignas(64) block_t<float> magnitude;
      alignas(64) block_t<float> level;
      magnitudes<decltype(on)>([=, x = &re[first]](std::size_t i) ORN_KERNEL { return x[i]; },
                               [=, y = &im[first]](std::size_t i) ORN_KERNEL { return y[i]; },
                               count, magnitude);
      for (std::size_t i = 0; i < count; ++i) {
        magnitude[i] += 1e-12F;
      }
      log10s<decltype(on)>(magnitude, count, level);
      for (std::size_t i = 0; i < count; ++i) {
        out[first + i] = 20.0F * level[i];
      }
    });
  });
}

double bin_powers(std::span<const float> re, std::span<const float> im, float points,
                  float impedance, double sum, std::span<float> out) noexcept {
  double result = sum;
  dispatch([=, &result](auto on) ORN_KERNEL {
    double running = sum;
    for_each_block(out.size(), [&](std::size_t first, std::size_t count) ORN_KERNEL {
      alignas(64) block_t<float> power;
      alignas(64) block_t<float> level;
      magnitudes<decltype(on)>([=, x = &re[first]](std::size_t i) ORN_KERNEL { return x[i]; },
                               [=, y = &im[first]](std::size_t i) ORN_KERNEL { return y[i]; },
                               count, power);
      for (std::size_t i = 0; i < count; ++i) {
        const float amplitude = power[i] / points;
        power[i] = amplitude * amplitude;
      }
      if (impedance > 0.0F) {
        for (std::size_t i = 0; i < count; ++i) {
          power[i] /= impedance;
        }
      }
      running = added(power, count, running);
      for (std::size_t i = 0; i < count; ++i) {
        power[i] *= 1000.0F;
      }
      log10s<decltype(on)>(power, count, level);
      for (std::size_t i = 0; i < count; ++i) {
        out[first + i] = 10.0F * level[i];
      }
    });
    result = running;
  });
  return result;
}

namespace {

/// Angles are unwrapped by the block. Each is its raw angle less a whole number of turns times 2
/// pi, and that number differs from its predecessor's by the rounded difference of the raw angles,
/// -1, 0 or 1 turns. Only where the difference is within `margin` of half a turn could rounding
/// decide otherwise: the multiples of 2 pi that the literal order subtracts are wrong by less than
/// 2^-51 of themselves, which is below the margin for 2^38 turns. Such blocks are done literally.
class unwrapper_t {
 public:
  /// Unwraps `angle`, the next block of raw angles, into `phase`.
  ORN_KERNEL void next(const block_t<float>& angle, std::size_t count, block_t<double>& phase) {
    alignas(64) block_t<std::int32_t> step;
    int unsure = 0;
    for (std::size_t i = 0; i < count; ++i) {
      const float difference = angle[i] - (i == 0 ? last_angle_ : angle[i - 1]);
      const bool up = difference > half_turn;
      const bool down = difference < -half_turn;
      step[i] = static_cast<std::int32_t>(up) - static_cast<std::int32_t>(down);
      unsure |= static_cast<int>(!(std::fabs(std::fabs(difference) - half_turn) > margin));
    }
    if (unsure != 0 || first_) {
      literally(angle, count, phase);
      return;
    }
    std::int32_t turns = 0;
    for (std::size_t i = 0; i < count; ++i) {
      turns += step[i];
      step[i] = turns;
    }
    for (std::size_t i = 0; i < count; ++i) {
      phase[i] = static_cast<double>(angle[i]) - (turns_ + static_cast<double>(step[i])) * two_pi;
    }
    turns_ += static_cast<double>(turns);
    last_angle_ = angle[count - 1];
    last_phase_ = phase[count - 1];
  }

 private:
  static constexpr float half_turn = 3.14159274F;
  static constexpr float margin = 1e-3F;

  void literally(const block_t<float>& angle, std::size_t count, block_t<double>& phase) {
    for (std::size_t i = 0; i < count; ++i) {
      phase[i] = angle[i];
      turns_ = 0.0;
      const double step = phase[i] - last_phase_;
      if (!first_ && !(std::abs(step) < pi)) {
        turns_ = round_half_toward_zero(step / two_pi);
        phase[i] -= turns_ * two_pi;
      }
      last_phase_ = phase[i];
      first_ = false;
    }
    last_angle_ = angle[count - 1];
  }

  bool first_ = true;
  float last_angle_ = 0.0F;
  double last_phase_ = 0.0;
  double turns_ = 0.0;  ///< of the last angle
};

}  // namespace

void phase_angles(std::span<const sample_t> samples, std::span<float> out) noexcept {
  dispatch([=](auto /*on*/) ORN_KERNEL {
    for (std::size_t i = 0; i < out.size(); ++i) {
      out[i] = arctangent(samples[i].imag(), samples[i].real());
    }
  });
}

void instantaneous_frequency(std::span<const sample_t> samples, float fs,
                             std::span<double> frequency, std::span<double> phase) noexcept {
  const double scale = double{fs} / two_pi;
  dispatch([=](auto /*on*/) ORN_KERNEL {
    unwrapper_t unwrapper;
    // The block's phases after the last two of the block before.
    alignas(64) std::array<double, block_length + 2> held{};
    for_each_block(samples.size(), [&](std::size_t first, std::size_t count) ORN_KERNEL {
      alignas(64) block_t<float> angle;
      alignas(64) block_t<double> block;
      const sample_t* const z = &samples[first];
      for (std::size_t i = 0; i < count; ++i) {
        angle[i] = arctangent(z[i].imag(), z[i].real());
      }
      unwrapper.next(angle, count, block);
      std::copy_n(block.begin(), count, held.begin() + 2);
      if (!phase.empty()) {
        std::copy_n(block.begin(), count, &phase[first]);
      }
      // Sample i of the block completes the gradient of the one before.
      double* const out = frequency.data() + first;
      for (std::size_t i = first < 2 ? 2 - first : 0; i < count; ++i) {
        out[static_cast<std::ptrdiff_t>(i) - 1] = ((held[i + 2] - held[i]) * 0.5) * scale;
      }
      if (first == 0) {
        frequency[0] = count > 1 ? (held[3] - held[2]) * scale : 0.0;
      }
      if (first + count == samples.size() && samples.size() > 1) {
        frequency[samples.size() - 1] = (held[count + 1] - held[count]) * scale;
      }
      held[0] = held[count];
      held[1] = held[count + 1];
    });
  });
}

template <class T>
void unwrap(std::span<T> phase) noexcept {
  for (std::size_t k = 1; k < phase.size(); ++k) {
    const double step = phase[k] - phase[k - 1];
    if (!(std::abs(step) < pi)) {
      const double turns = round_half_toward_zero(step / two_pi);
      phase[k] -= static_cast<T>(turns * two_pi);
    }
  }
}

namespace {

/// Outputs from `first` on, Vectors values of type Value at a time, as far as they go: neighbouring
/// outputs share the loop over taps, each adds its own terms in tap order. Returns the first output
/// that is left.
template <class Value, std::size_t Vectors, class T, class Out>
ORN_KERNEL inline std::size_t convolve_run(std::span<const T> signal, std::span<const T> kernel,
                                           std::span<Out> out, std::size_t first) {
  constexpr std::size_t width = sizeof(Value) / sizeof(T);
  constexpr std::size_t run = Vectors * width;
  const std::size_t half = kernel.size() / 2;
  for (; first + run <= out.size(); first += run) {
    const T* const x = signal.data() + first;
    std::array<Value, Vectors> sum{};
    for (std::size_t k = 0; k < half; ++k) {
      const T* const rising = x + k;
      const T* const falling = x + (kernel.size() - 1 - k);
#pragma GCC unroll 8
      for (std::size_t v = 0; v < Vectors; ++v) {
        sum[v] += (common_lib::load<Value>(rising + v * width) +
                   common_lib::load<Value>(falling + v * width)) *
                  kernel[k];
      }
    }
    if (kernel.size() % 2 != 0) {
#pragma GCC unroll 8
      for (std::size_t v = 0; v < Vectors; ++v) {
        sum[v] = kernel[half] * common_lib::load<Value>(x + half + v * width) + sum[v];
      }
    }
    alignas(64) std::array<T, run> result;
#pragma GCC unroll 8
    for (std::size_t v = 0; v < Vectors; ++v) {
      common_lib::store(sum[v], &result[v * width]);
    }
    for (std::size_t i = 0; i < run; ++i) {
      out[first + i] = static_cast<Out>(result[i]);
    }
  }
  return first;
}

}  // namespace

template <class T, class Out>
void convolve_symmetric(std::span<const T> signal, std::span<const T> kernel,
                        std::span<Out> out) noexcept {
  dispatch([=](auto on) ORN_KERNEL {
    using value_t = common_lib::vector_t<T, decltype(on)>;
    std::size_t next = convolve_run<value_t, 8>(signal, kernel, out, 0);
    next = convolve_run<value_t, 1>(signal, kernel, out, next);
    convolve_run<T, 1>(signal, kernel, out, next);
  });
}

template <class Slope>
void slopes(std::span<const double> freq, double dt, std::span<Slope> out) noexcept {
  dispatch([=](auto /*on*/) ORN_KERNEL {
    for (std::size_t i = 0; i < out.size(); ++i) {
      out[i] = static_cast<Slope>((freq[i + 1] - freq[i]) / dt);
    }
  });
}

void integrate_phase(std::span<const float> time, std::span<const float> freq,
                     std::span<float> phase) noexcept {
  dispatch([=](auto /*on*/) ORN_KERNEL {
    double running = 0.0;
    phase[0] = 0.0F;
    for_each_block(phase.size() - 1, [&](std::size_t first, std::size_t count) ORN_KERNEL {
      const float* const t = &time[first];
      const float* const f = &freq[first];
      float* const out = &phase[first + 1];
      alignas(64) block_t<double> term;
      for (std::size_t i = 0; i < count; ++i) {
        term[i] = static_cast<double>(f[i + 1] + f[i]) * 0.5 * two_pi *
                  static_cast<double>(t[i + 1] - t[i]);
      }
      for (std::size_t i = 0; i < count; ++i) {
        running += term[i];
        out[i] = static_cast<float>(running);
      }
    });
  });
}

template <class T>
bool any_sign_change(std::span<const T> trace, T clearly) noexcept {
  bool result = false;
  dispatch([=, &result](auto /*on*/) ORN_KERNEL {
    int any = 0;
    for (std::size_t i = 1; i < trace.size(); ++i) {
      any |= static_cast<int>((trace[i] * trace[i - 1] < 0) & (std::abs(trace[i]) > clearly) &
                              (std::abs(trace[i - 1]) > clearly));
    }
    result = any != 0;
  });
  return result;
}

namespace {

/// Puts the element of rank `rank` at its place, NaNs last, and returns it.
float select_in_place(std::span<float> values, std::size_t rank) noexcept {
  const auto nan_last = [](float a, float b) { return a < b || (std::isnan(b) && !std::isnan(a)); };
  const auto place = values.begin() + static_cast<std::ptrdiff_t>(rank);
  std::nth_element(values.begin(), place, values.end(), nan_last);
  return *place;
}

/// Two values between which the element of rank `rank` should lie, judged by a sample of the
/// values: six standard deviations of its rank in the sample apart.
std::pair<float, float> bracket(std::span<const float> values, std::size_t rank) noexcept {
  std::array<float, 256> sample;
  constexpr std::size_t half_width = 3 * 8;  // a rank near the middle deviates by sqrt(256 / 4)
  for (std::size_t i = 0; i < sample.size(); ++i) {
    sample[i] = values[i * values.size() / sample.size()];
  }
  const std::size_t centre = rank * sample.size() / values.size();
  const std::size_t low = centre < half_width ? 0 : centre - half_width;
  const std::size_t high = std::min(centre + half_width, sample.size() - 1);
  const float upper = select_in_place(sample, high);
  return {select_in_place(std::span(sample).first(high + 1), low), upper};
}

}  // namespace

float select_rank(std::span<const float> values, std::size_t rank,
                  std::span<float> buffer) noexcept {
  if (values.size() > 1024) {
    const auto [low, high] = bracket(values, rank);
    std::size_t below = 0;
    std::size_t between = 0;
    for (const float value : values) {
      buffer[between] = value;
      below += static_cast<std::size_t>(value < low);
      between += static_cast<std::size_t>((value >= low) & (value <= high));
    }
    if (below <= rank && rank < below + between) {
      return select_in_place(buffer.first(between), rank - below);
    }
  }
  std::copy(values.begin(), values.end(), buffer.begin());
  return select_in_place(buffer.first(values.size()), rank);
}

template void unwrap(std::span<float>) noexcept;
template void unwrap(std::span<double>) noexcept;
template void convolve_symmetric(std::span<const float>, std::span<const float>,
                                 std::span<float>) noexcept;
template void convolve_symmetric(std::span<const double>, std::span<const double>,
                                 std::span<double>) noexcept;
template void convolve_symmetric(std::span<const double>, std::span<const double>,
                                 std::span<float>) noexcept;
template void slopes(std::span<const double>, double, std::span<float>) noexcept;
template void slopes(std::span<const double>, double, std::span<double>) noexcept;
template bool any_sign_change(std::span<const float>, float) noexcept;
template bool any_sign_change(std::span<const double>, double) noexcept;

}  // namespace orn::fmcw_demod_lib::kernels
