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
#include <type_traits>
#include <utility>

namespace orn::fmcw_demod_lib::kernels {
namespace {

using common_lib::both;
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
  alignas(64) block_t<float> re;
  alignas(64) block_t<float> im;
  for (std::size_t i = 0; i < count; ++i) {
    re[i] = samples[i].real();
    im[i] = samples[i].imag();
  }
  magnitudes<On>(re.data(), im.data(), count, 0.0F, out);
  for (std::size_t i = 0; i < count; ++i) {
    out[i] *= out[i];
  }
}

using quad_t = common_lib::vector_of_t<float, 16>::type;

/// Transposes four lines of four values.
ORN_KERNEL inline std::array<quad_t, 4> transposed(const std::array<quad_t, 4>& lines) {
  const auto& [a, b, c, d] = lines;
  const quad_t ab_low = __builtin_shufflevector(a, b, 0, 4, 1, 5);
  const quad_t ab_high = __builtin_shufflevector(a, b, 2, 6, 3, 7);
  const quad_t cd_low = __builtin_shufflevector(c, d, 0, 4, 1, 5);
  const quad_t cd_high = __builtin_shufflevector(c, d, 2, 6, 3, 7);
  return {__builtin_shufflevector(ab_low, cd_low, 0, 1, 4, 5),
          __builtin_shufflevector(ab_low, cd_low, 2, 3, 6, 7),
          __builtin_shufflevector(ab_high, cd_high, 0, 1, 4, 5),
          __builtin_shufflevector(ab_high, cd_high, 2, 3, 6, 7)};
}

/// Transposes the 4 by 4 values at `from`, `pitch` from one line to the next, into four rows.
ORN_KERNEL inline void transpose_tile(const float* from, std::size_t pitch, float* const* rows,
                                      std::size_t at) {
  std::array<quad_t, 4> lines;
  for (std::size_t i = 0; i < 4; ++i) {
    lines[i] = common_lib::load<quad_t>(from + i * pitch);
  }
  lines = transposed(lines);
  for (std::size_t i = 0; i < 4; ++i) {
    common_lib::store(lines[i], rows[i] + at);
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
      squared_magnitudes<decltype(on)>(&samples[first], count, power);
      running = added(power, count, running);
      for (std::size_t i = 0; i < count; ++i) {
        power[i] = power[i] / impedance * 1000.0F + 1e-12F;
      }
      levels<decltype(on)>(10.0F, power, count, &out[first]);
    });
    sum = running;
  });
  return sum;
}

namespace {

/// Extremes of numbers, kept per lane: which of two equal numbers wins does not matter, and a NaN
/// loses every comparison.
template <class T>
class extremes_t {
 public:
  ORN_KERNEL extremes_t(T lowest, T highest) {
    lowest_.fill(lowest);
    highest_.fill(highest);
  }

  /// Takes in `count` values, at most a block; the others are overwritten.
  ORN_KERNEL void add(block_t<T>& values, std::size_t count) {
    std::fill(values.begin() + static_cast<std::ptrdiff_t>(count), values.end(),
              std::numeric_limits<T>::quiet_NaN());
    for (std::size_t i = 0; i < block_length; i += lanes) {
      for (std::size_t l = 0; l < lanes; ++l) {
        const T value = values[i + l];
        lowest_[l] = value < lowest_[l] ? value : lowest_[l];
        highest_[l] = value > highest_[l] ? value : highest_[l];
      }
    }
  }

  T lowest() const { return *std::min_element(lowest_.begin(), lowest_.end()); }
  T highest() const { return *std::max_element(highest_.begin(), highest_.end()); }

 private:
  static constexpr std::size_t lanes = 64 / sizeof(T);
  alignas(64) std::array<T, lanes> lowest_;
  alignas(64) std::array<T, lanes> highest_;
};

squares_t squares_of(double sum, const extremes_t<float>& extremes) {
  const squares_t result{sum, extremes.lowest(), extremes.highest()};
  constexpr float none = std::numeric_limits<float>::quiet_NaN();
  return result.largest < result.smallest ? squares_t{sum, none, none} : result;
}

constexpr float infinity = std::numeric_limits<float>::infinity();

}  // namespace

squares_t squares(std::span<const sample_t> samples) noexcept {
  squares_t result{};
  dispatch([=, &result](auto on) ORN_KERNEL {
    extremes_t<float> extremes(infinity, -infinity);
    double sum = 0.0;
    for_each_block(samples.size(), [&](std::size_t first, std::size_t count) ORN_KERNEL {
      alignas(64) block_t<float> power;
      squared_magnitudes<decltype(on)>(&samples[first], count, power);
      sum = added(power, count, sum);
      extremes.add(power, count);
    });
    result = squares_of(sum, extremes);
  });
  return result;
}

line_sums_t line_sums(std::span<const float> x, std::span<const float> y) noexcept {
  line_sums_t sums{};
  for (std::size_t i = 0; i < x.size(); ++i) {
    const double x_i = x[i];
    const double y_i = y[i];
    sums.x += x_i;
    sums.y += y_i;
    sums.xx += x_i * x_i;
    sums.xy += x_i * y_i;
  }
  return sums;
}

chirp_sums_t chirp_sums(std::span<const float> time, std::span<const double> freq,
                        std::span<const sample_t> samples) noexcept {
  chirp_sums_t result{};
  dispatch([=, &result](auto on) ORN_KERNEL {
    extremes_t<float> extremes(infinity, -infinity);
    line_sums_t sums{};
    double power_sum = 0.0;
    for_each_block(time.size(), [&](std::size_t first, std::size_t count) ORN_KERNEL {
      const float* const t = &time[first];
      const double* const f = &freq[first];
      alignas(64) block_t<float> power;
      alignas(64) block_t<double> square;
      alignas(64) block_t<double> x;
      alignas(64) block_t<double> y;
      alignas(64) block_t<double> xx;
      alignas(64) block_t<double> xy;
      squared_magnitudes<decltype(on)>(&samples[first], count, power);
      for (std::size_t i = 0; i < count; ++i) {
        square[i] = power[i];
        x[i] = t[i];
        y[i] = static_cast<float>(f[i]);
        xx[i] = x[i] * x[i];
        xy[i] = x[i] * y[i];
      }
      // An ordered sum costs the latency of its additions: five of them cost no more than one.
      for (std::size_t i = 0; i < count; ++i) {
        sums.x += x[i];
        sums.y += y[i];
        sums.xx += xx[i];
        sums.xy += xy[i];
        power_sum += square[i];
      }
      extremes.add(power, count);
    });
    result = {sums, squares_of(power_sum, extremes)};
  });
  return result;
}

namespace {

/// Trapezoid of frequency [Hz] as a turn rate [rad/s], (before + after) / 2 times 2 pi: halving and
/// doubling round nothing.
ORN_KERNEL inline double mean_turn_rate(float before, float after) {
  return static_cast<double>(after + before) * pi;
}

ORN_KERNEL inline float phase_step(float before, float after, double dt, float /*time_step*/,
                                   float /*precision*/) {
  return static_cast<float>(mean_turn_rate(before, after) * dt);
}

ORN_KERNEL inline double phase_step(float before, float after, double /*dt*/, float time_step,
                                    double /*precision*/) {
  return mean_turn_rate(before, after) * static_cast<double>(time_step);
}

ORN_KERNEL inline void copy_to(std::span<float> trace, std::size_t first, const float* values,
                               std::size_t count) {
  if (!trace.empty()) {
    std::copy_n(values, count, &trace[first]);
  }
}

}  // namespace

template <class T>
deviations_t<T> deviations(std::span<const float> time, std::span<const double> freq,
                           const line_t& line, double dt,
                           const deviation_traces_t& traces) noexcept {
  deviations_t<T> result{};
  dispatch([=, &result](auto /*on*/) ORN_KERNEL {
    deviations_t<T> sums{};
    extremes_t<float> residual_extremes(0.0F, 0.0F);
    extremes_t<T> phase_extremes(T(0), T(0));
    T measured_phase = 0;
    T fitted_phase = 0;
    for_each_block(time.size(), [&](std::size_t first, std::size_t count) ORN_KERNEL {
      // Element 0 is the last one of the block before; before the first it is the first itself,
      // over a time step of zero.
      alignas(64) std::array<float, block_length + 1> f;
      alignas(64) std::array<float, block_length + 1> g;
      alignas(64) std::array<float, block_length + 1> t;
      for (std::size_t i = 0; i <= count; ++i) {
        const std::size_t at = first + i - (first + i == 0 ? 0 : 1);
        t[i] = time[at];
        f[i] = static_cast<float>(freq[at]);
        g[i] = t[i] * line.slope + line.intercept;
      }
      alignas(64) block_t<double> residual;
      alignas(64) block_t<double> residual_square;
      alignas(64) block_t<float> residual_magnitude;
      alignas(64) block_t<float> residual_single;
      alignas(64) block_t<T> measured_step;
      alignas(64) block_t<T> fitted_step;
      for (std::size_t i = 0; i < count; ++i) {
        residual[i] = static_cast<double>(f[i + 1]) - static_cast<double>(g[i + 1]);
        residual_square[i] = residual[i] * residual[i];
        residual_single[i] = static_cast<float>(residual[i]);
        residual_magnitude[i] = std::fabs(residual_single[i]);
        measured_step[i] = phase_step(f[i], f[i + 1], dt, t[i + 1] - t[i], T());
        fitted_step[i] = phase_step(g[i], g[i + 1], dt, t[i + 1] - t[i], T());
      }
      if (first == 0) {
        measured_step[0] = fitted_step[0] = 0;
      }
      alignas(64) block_t<T> deviation;
      alignas(64) block_t<float> fitted;
      for (std::size_t i = 0; i < count; ++i) {
        measured_phase += measured_step[i];
        fitted_phase += fitted_step[i];
        const T difference = measured_phase - fitted_phase;
        deviation[i] = difference;
        fitted[i] = static_cast<float>(fitted_phase);
        sums.phase_sum += difference;
        sums.phase_squares += difference * difference;
        sums.residual_sum += residual[i];
        sums.residual_squares += residual_square[i];
      }
      copy_to(traces.fitted, first, &g[1], count);
      copy_to(traces.fitted_phase, first, fitted.data(), count);
      copy_to(traces.residual, first, residual_single.data(), count);
      if (!traces.phase_deviation.empty()) {
        for (std::size_t i = 0; i < count; ++i) {
          traces.phase_deviation[first + i] = static_cast<float>(deviation[i]);
        }
      }
      for (std::size_t i = 0; i < count; ++i) {
        deviation[i] = std::abs(deviation[i]);
      }
      residual_extremes.add(residual_magnitude, count);
      phase_extremes.add(deviation, count);
    });
    // Rounding keeps order: the peak of rounded residuals is the rounded peak.
    sums.residual_peak = residual_extremes.highest();
    sums.phase_peak = phase_extremes.highest();
    result = sums;
  });
  return result;
}

sweep_t sweep(std::span<const double> freq, std::span<const float> slope, float fitted_slope,
              double unit) noexcept {
  sweep_t result{};
  dispatch([=, &result](auto /*on*/) ORN_KERNEL {
    // A NaN in front stays: the range is then not a number.
    const auto front = static_cast<float>(freq[0]);
    extremes_t<float> range(front, front);
    extremes_t<double> peak(0.0, 0.0);
    sweep_t sums{};
    for_each_block(freq.size(), [&](std::size_t first, std::size_t count) ORN_KERNEL {
      const double* const f = &freq[first];
      const float* const s = &slope[first];
      alignas(64) block_t<float> single;
      alignas(64) block_t<double> scaled;
      alignas(64) block_t<double> deviation;
      alignas(64) block_t<double> square;
      for (std::size_t i = 0; i < count; ++i) {
        single[i] = static_cast<float>(f[i]);
        scaled[i] = static_cast<double>(s[i]) * unit;
        deviation[i] = (static_cast<double>(s[i]) - static_cast<double>(fitted_slope)) * unit;
        square[i] = deviation[i] * deviation[i];
      }
      for (std::size_t i = 0; i < count; ++i) {
        sums.slope_sum += scaled[i];
        sums.deviation_sum += deviation[i];
        sums.deviation_squares += square[i];
      }
      for (std::size_t i = 0; i < count; ++i) {
        deviation[i] = std::abs(deviation[i]);
      }
      range.add(single, count);
      peak.add(deviation, count);
    });
    sums.deviation_peak = peak.highest();
    sums.lowest = range.lowest();
    sums.highest = range.highest();
    result = sums;
  });
  return result;
}

namespace {

/// Four samples of each of four columns, `hop` apart, to as many lines of both planes.
ORN_KERNEL inline void sort_tile(const sample_t* samples, std::size_t hop, float* re, float* im,
                                 std::size_t pitch) {
  std::array<quad_t, 4> re_lines;
  std::array<quad_t, 4> im_lines;
  for (std::size_t l = 0; l < 4; ++l) {
    const auto* const parts = reinterpret_cast<const float*>(samples + l * hop);
    const auto a = common_lib::load<quad_t>(parts);
    const auto b = common_lib::load<quad_t>(parts + 4);
    re_lines[l] = __builtin_shufflevector(a, b, 0, 2, 4, 6);
    im_lines[l] = __builtin_shufflevector(a, b, 1, 3, 5, 7);
  }
  re_lines = transposed(re_lines);
  im_lines = transposed(im_lines);
  for (std::size_t i = 0; i < 4; ++i) {
    common_lib::store(re_lines[i], re + i * pitch);
    common_lib::store(im_lines[i], im + i * pitch);
  }
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

void sort_by_phase(std::span<const sample_t> samples, std::size_t hop, std::size_t pitch,
                   std::span<float> re, std::span<float> im) noexcept {
  const std::size_t columns = samples.size() / hop;
  const std::size_t tiled_columns = columns / 4 * 4;
  const std::size_t tiled_phases = hop / 4 * 4;
  dispatch([=](auto /*on*/) ORN_KERNEL {
    for (std::size_t phase = 0; phase < tiled_phases; phase += 4) {
      for (std::size_t column = 0; column < tiled_columns; column += 4) {
        const std::size_t to = phase * pitch + column;
        sort_tile(&samples[column * hop + phase], hop, &re[to], &im[to], pitch);
      }
    }
  });
  for (std::size_t phase = 0; phase < hop; ++phase) {
    std::size_t column = phase < tiled_phases ? tiled_columns : 0;
    for (std::size_t i = column * hop + phase; i < samples.size(); i += hop, ++column) {
      re[phase * pitch + column] = samples[i].real();
      im[phase * pitch + column] = samples[i].imag();
    }
  }
}

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
      magnitudes<decltype(on)>(&re[first], &im[first], count, 0.0F, magnitude);
      std::copy_n(magnitude.begin(), count, &out[first]);
    });
  });
}

void spectral_levels(std::span<const float> re, std::span<const float> im,
                     std::span<float> out) noexcept {
  dispatch([=](auto on) ORN_KERNEL {
    for_each_block(out.size(), [&](std::size_t first, std::size_t count) ORN_KERNEL {
      alignas(64) block_t<float> magnitude;
      magnitudes<decltype(on)>(&re[first], &im[first], count, 1e-12F, magnitude);
      levels<decltype(on)>(20.0F, magnitude, count, &out[first]);
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
      magnitudes<decltype(on)>(&re[first], &im[first], count, 0.0F, power);
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
      levels<decltype(on)>(10.0F, power, count, &out[first]);
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
  constexpr std::size_t width = common_lib::width_of<Value, T>;
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

/// Outputs of a single-precision convolution from `first` on, one stretch of them per lane: the
/// elements that an output takes in lie a register apart then, whole registers are loaded, and
/// neighbouring outputs share them. Returns the first output that is left.
template <class Value>
ORN_KERNEL inline std::size_t convolve_stretches(std::span<const float> signal,
                                                 std::span<const float> kernel,
                                                 std::span<float> out, std::size_t first) {
  constexpr std::size_t lanes = common_lib::width_of<Value, float>;
  constexpr std::size_t stretch = 128;
  constexpr std::size_t most_taps = 256;
  constexpr std::size_t run = lanes * stretch;
  constexpr std::size_t together = 4;
  const std::size_t half = kernel.size() / 2;
  if (kernel.size() % 2 != 0 || half % together != 0 || kernel.size() > most_taps) {
    return first;
  }
  const std::size_t lines = stretch + kernel.size();  // the last one is not used
  alignas(64) std::array<float, (stretch + most_taps) * lanes> line;
  const auto load_line = [&](std::size_t i)
                             ORN_KERNEL { return common_lib::load<Value>(&line[i * lanes]); };
  for (; first + run < out.size(); first += run) {
    for (std::size_t i = 0; i < lines; i += 4) {
      for (std::size_t l = 0; l < lanes; l += 4) {
        float* const to = &line[i * lanes + l];
        const std::array<float*, 4> rows = {to, to + lanes, to + 2 * lanes, to + 3 * lanes};
        transpose_tile(&signal[first + l * stretch + i], stretch, rows.data(), 0);
      }
    }
    for (std::size_t i = 0; i < stretch; i += together) {
      // Element j + u modulo `together` of each serves output i + u.
      std::array<Value, together> sum{};
      std::array<Value, together> rising;
      std::array<Value, together> falling;
      for (std::size_t u = 0; u + 1 < together; ++u) {
        rising[u] = load_line(i + u);
        falling[u] = load_line(i + kernel.size() + u);
      }
      for (std::size_t k = 0; k < half; k += together) {
#pragma GCC unroll 4
        for (std::size_t j = 0; j < together; ++j) {
          const std::size_t newest = together - 1 - j;
          rising[(j + together - 1) % together] = load_line(i + k + j + together - 1);
          falling[newest] = load_line(i + kernel.size() - 1 - k - j);
#pragma GCC unroll 4
          for (std::size_t u = 0; u < together; ++u) {
            sum[u] +=
                (rising[(j + u) % together] + falling[(newest + u) % together]) * kernel[k + j];
          }
        }
      }
      alignas(64) std::array<float, together * lanes> result;
#pragma GCC unroll 4
      for (std::size_t u = 0; u < together; ++u) {
        common_lib::store(sum[u], &result[u * lanes]);
      }
      for (std::size_t l = 0; l < lanes; l += 4) {
        float* const to = &out[first + l * stretch + i];
        const std::array<float*, 4> rows = {to, to + stretch, to + 2 * stretch, to + 3 * stretch};
        transpose_tile(&result[l], lanes, rows.data(), 0);
      }
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
    std::size_t next = 0;
    if constexpr (std::is_same_v<T, float>) {
      next = convolve_stretches<value_t>(signal, kernel, out, next);
    }
    next = convolve_run<value_t, 8>(signal, kernel, out, next);
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
        term[i] = mean_turn_rate(f[i], f[i + 1]) * static_cast<double>(t[i + 1] - t[i]);
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
      any |= static_cast<int>(
          both(trace[i] * trace[i - 1] < 0,
               both(std::abs(trace[i]) > clearly, std::abs(trace[i - 1]) > clearly)));
    }
    result = any != 0;
  });
  return result;
}

namespace {

/// Whether a value that has one property follows one that has not, among `count` values from
/// trace[0] on, the first of which follows trace[-1].
template <class Property>
ORN_KERNEL inline bool any_edge(const float* trace, std::size_t count, Property has) {
  int any = 0;
  for (std::size_t i = 0; i < count; ++i) {
    any |= static_cast<int>(both(has(trace[i]), !has(trace[static_cast<std::ptrdiff_t>(i) - 1])));
  }
  return any != 0;
}

}  // namespace

std::size_t first_rise(std::span<const float> trace, float lowest, float highest) noexcept {
  std::size_t result = trace.size();
  dispatch([=, &result](auto /*on*/) ORN_KERNEL {
    const auto inside = [=](float x) ORN_KERNEL { return both(lowest <= x, x <= highest); };
    for (std::size_t first = 1; first < trace.size(); first += block_length) {
      const std::size_t end = std::min(first + block_length, trace.size());
      if (any_edge(&trace[first], end - first, inside)) {
        result = first;
        while (!inside(trace[result]) || inside(trace[result - 1])) {
          ++result;
        }
        return;
      }
    }
  });
  return result;
}

std::size_t last_fall(std::span<const float> trace, float lowest, float highest) noexcept {
  std::size_t result = 0;
  dispatch([=, &result](auto /*on*/) ORN_KERNEL {
    const auto outside = [=](float x) ORN_KERNEL { return !both(lowest <= x, x <= highest); };
    for (std::size_t end = trace.size(); end > 1;) {
      const std::size_t first = end > block_length ? end - block_length : 1;
      if (any_edge(&trace[first], end - first, outside)) {
        result = end - 1;
        while (!outside(trace[result]) || outside(trace[result - 1])) {
          --result;
        }
        return;
      }
      end = first;
    }
  });
  return result;
}

namespace {

bool nan_last(float a, float b) noexcept { return a < b || (std::isnan(b) && !std::isnan(a)); }

/// Puts the element of rank `rank` at its place, NaNs last, and returns it.
float select_in_place(std::span<float> values, std::size_t rank) noexcept {
  const auto place = values.begin() + static_cast<std::ptrdiff_t>(rank);
  std::nth_element(values.begin(), place, values.end(), nan_last);
  return *place;
}

/// How many values are below a pivot, and how many at most the pivot.
struct counts_t {
  std::size_t below;
  std::size_t up_to;
};

counts_t count_around(std::span<const float> values, float pivot) noexcept {
  counts_t counts{};
  dispatch([=, &counts](auto /*on*/) ORN_KERNEL {
    constexpr std::size_t stretch = std::size_t{1} << 20;  // 32-bit lanes hold its count
    for (std::size_t first = 0; first < values.size(); first += stretch) {
      const std::size_t end = std::min(first + stretch, values.size());
      std::uint32_t below = 0;
      std::uint32_t up_to = 0;
      for (std::size_t i = first; i < end; ++i) {
        below += static_cast<std::uint32_t>(values[i] < pivot);
        up_to += static_cast<std::uint32_t>(values[i] <= pivot);
      }
      counts.below += below;
      counts.up_to += up_to;
    }
  });
  return counts;
}

/// Copies the values above `low` and below `high` to `out`, NaNs as well; a bound that is NaN does
/// not bound. Returns how many they are.
std::size_t copy_between(std::span<const float> values, float low, float high,
                         std::span<float> out) noexcept {
  std::size_t copied = 0;
  dispatch([=, &copied](auto /*on*/) ORN_KERNEL {
    const auto between = [=](float value)
                             ORN_KERNEL { return both(!(value <= low), !(value >= high)); };
    std::size_t kept = 0;
    for_each_block(values.size(), [&](std::size_t first, std::size_t count) ORN_KERNEL {
      int any = 0;
      for (std::size_t i = first; i < first + count; ++i) {
        any |= static_cast<int>(between(values[i]));
      }
      if (any == 0) {
        return;
      }
      for (std::size_t i = first; i < first + count; ++i) {
        out[kept] = values[i];  // overwritten by the next one unless it stays
        kept += static_cast<std::size_t>(between(values[i]));
      }
    });
    copied = kept;
  });
  return copied;
}

/// Where the element of a rank lies: above `low` and below `high`, unless these are NaN.
struct bracket_t {
  float low = std::numeric_limits<float>::quiet_NaN();
  float high = std::numeric_limits<float>::quiet_NaN();
  std::size_t up_to_low = 0;  ///< values that are not above `low`

  /// Narrows the bracket by a pivot, to which the element compares as the result does to 0.
  int narrow(std::span<const float> values, std::size_t rank, float pivot) noexcept {
    const counts_t counts = count_around(values, pivot);
    if (rank < counts.below) {
      high = pivot;
      return -1;
    }
    if (rank < counts.up_to) {
      return 0;
    }
    low = pivot;
    up_to_low = counts.up_to;
    return 1;
  }
};

/// The float in the middle of those from `low` to `high`, which are not NaN.
float middle_float(float low, float high) noexcept {
  // Bits of floats as integers of the same order.
  const auto ordered = [](std::int32_t bits) { return bits < 0 ? bits ^ 0x7fffffff : bits; };
  const std::int64_t sum = std::int64_t{ordered(std::bit_cast<std::int32_t>(low))} +
                           ordered(std::bit_cast<std::int32_t>(high));
  return std::bit_cast<float>(ordered(static_cast<std::int32_t>(sum >> 1)));
}

}  // namespace

float select_rank(std::span<const float> values, std::size_t rank,
                  std::span<float> buffer) noexcept {
  bracket_t bracket;
  if (values.size() > 1024) {
    // Counting is much cheaper than moving. A search in a sorted sample finds the part to look in,
    // a bisection halves it a few times.
    std::array<float, 31> sample;
    for (std::size_t i = 0; i < sample.size(); ++i) {
      sample[i] = values[(i + 1) * (values.size() / (sample.size() + 1))];
    }
    std::sort(sample.begin(), sample.end(), nan_last);
    const auto numbers =
        std::partition_point(sample.begin(), sample.end(), [](float x) { return !std::isnan(x); });
    const std::span<const float> pivots(sample.begin(), numbers);
    for (std::size_t first = 0, last = pivots.size(); first < last;) {
      const std::size_t middle = (first + last) / 2;
      const int order = bracket.narrow(values, rank, pivots[middle]);
      if (order == 0) {
        return pivots[middle];
      }
      (order < 0 ? last : first) = order < 0 ? middle : middle + 1;
    }
    for (int step = 0; step < 6 && bracket.low < bracket.high; ++step) {
      const float middle = middle_float(bracket.low, bracket.high);
      if (bracket.narrow(values, rank, middle) == 0) {
        return middle;
      }
    }
  }
  const std::size_t count = copy_between(values, bracket.low, bracket.high, buffer);
  return select_in_place(buffer.first(count), rank - bracket.up_to_low);
}

template deviations_t<float> deviations(std::span<const float>, std::span<const double>,
                                        const line_t&, double, const deviation_traces_t&) noexcept;
template deviations_t<double> deviations(std::span<const float>, std::span<const double>,
                                         const line_t&, double, const deviation_traces_t&) noexcept;
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
