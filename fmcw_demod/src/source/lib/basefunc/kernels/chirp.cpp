#include "basefunc/kernels.h"
#include "basefunc/kernels/blocks.h"
#include "basefunc/trapezoid.h"

#include <simd/dispatch.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace orn::fmcw_demod_lib::kernels {

using simd::dispatch;

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
    extremes_t<float, decltype(on)> extremes(infinity, -infinity);
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

ORN_KERNEL inline float phase_step(float before, float after, double dt, float /*time_step*/,
                                   float /*precision*/) {
  return static_cast<float>(mean_angular_rate(before, after) * dt);
}

ORN_KERNEL inline double phase_step(float before, float after, double /*dt*/, float time_step,
                                    double /*precision*/) {
  return mean_angular_rate(before, after) * static_cast<double>(time_step);
}

/// A block of a chirp beside its line. T is the precision of phases.
template <class T>
struct deviation_block_t {
  alignas(64) block_t<float> fitted;              // Hz
  alignas(64) block_t<double> residual;           // Hz
  alignas(64) block_t<double> residual_square;    // Hz^2
  alignas(64) block_t<float> residual_single;     // Hz
  alignas(64) block_t<float> residual_magnitude;  // Hz
  alignas(64) block_t<T> measured_step;           // rad, since the sample before
  alignas(64) block_t<T> fitted_step;             // rad
  alignas(64) block_t<float> fitted_phase;        // rad
  alignas(64) block_t<T> phase_deviation;         // rad
};

/// Everything of a block that needs no sum. `lag` is 0 for the first sample of a chirp, which ends
/// no interval, and 1 for all others.
template <class T>
ORN_KERNEL inline void compare_with_line(const float* t, const double* f, std::size_t count,
                                         std::size_t lag, const line_t& line, double dt,
                                         deviation_block_t<T>& block) {
  const float* const t_before = t - lag;
  const double* const f_before = f - lag;
  for (std::size_t i = 0; i < count; ++i) {
    const auto before = static_cast<float>(f_before[i]);
    const auto here = static_cast<float>(f[i]);
    const float fitted_before = t_before[i] * line.slope + line.intercept;
    const float fitted = t[i] * line.slope + line.intercept;
    const double residual = static_cast<double>(here) - static_cast<double>(fitted);
    block.fitted[i] = fitted;
    block.residual[i] = residual;
    block.residual_square[i] = residual * residual;
    block.residual_single[i] = static_cast<float>(residual);
    block.residual_magnitude[i] = std::fabs(block.residual_single[i]);
    block.measured_step[i] = phase_step(before, here, dt, t[i] - t_before[i], T());
    block.fitted_step[i] = phase_step(fitted_before, fitted, dt, t[i] - t_before[i], T());
  }
  if (lag == 0) {
    block.measured_step[0] = block.fitted_step[0] = 0;
  }
}

/// Phases of measurement and line at the last sample so far [rad].
template <class T>
struct phases_t {
  T measured = 0;
  T fitted = 0;
};

/// Integrates the phases over a block and adds it to the sums, all in index order.
template <class T>
ORN_KERNEL inline void add_up(deviation_block_t<T>& block, std::size_t count, phases_t<T>& phases,
                              deviations_t<T>& sums) {
  for (std::size_t i = 0; i < count; ++i) {
    phases.measured += block.measured_step[i];
    phases.fitted += block.fitted_step[i];
    const T difference = phases.measured - phases.fitted;
    block.fitted_phase[i] = static_cast<float>(phases.fitted);
    block.phase_deviation[i] = difference;
    sums.phase_sum += difference;
    sums.phase_squares += difference * difference;
    sums.phase_peak = std::max(sums.phase_peak, std::abs(difference));
    sums.residual_sum += block.residual[i];
    sums.residual_squares += block.residual_square[i];
  }
}

template <class T>
ORN_KERNEL inline void copy_to(std::span<float> trace, std::size_t first, const block_t<T>& values,
                               std::size_t count) {
  if (!trace.empty()) {
    for (std::size_t i = 0; i < count; ++i) {
      trace[first + i] = static_cast<float>(values[i]);
    }
  }
}

}  // namespace

template <class T>
deviations_t<T> deviations(std::span<const float> time, std::span<const double> freq,
                           const line_t& line, double dt,
                           const deviation_traces_t& traces) noexcept {
  deviations_t<T> result{};
  dispatch([=, &result](auto on) ORN_KERNEL {
    deviations_t<T> sums{};
    extremes_t<float, decltype(on)> residual_extremes(0.0F, 0.0F);
    phases_t<T> phases;
    const auto add_block = [&](std::size_t first, std::size_t count, std::size_t lag) ORN_KERNEL {
      deviation_block_t<T> block;
      compare_with_line(&time[first], &freq[first], count, lag, line, dt, block);
      add_up(block, count, phases, sums);
      residual_extremes.add(block.residual_magnitude, count);
      copy_to(traces.fitted, first, block.fitted, count);
      copy_to(traces.fitted_phase, first, block.fitted_phase, count);
      copy_to(traces.residual, first, block.residual_single, count);
      copy_to(traces.phase_deviation, first, block.phase_deviation, count);
    };
    add_block(0, 1, 0);
    for_each_block(time.size() - 1, [&](std::size_t first, std::size_t count)
                                        ORN_KERNEL { add_block(1 + first, count, 1); });
    // Rounding keeps order: the peak of rounded residuals is the rounded peak.
    sums.residual_peak = residual_extremes.highest();
    result = sums;
  });
  return result;
}

sweep_t sweep(std::span<const double> freq, std::span<const float> slope, float fitted_slope,
              double unit) noexcept {
  sweep_t result{};
  dispatch([=, &result](auto on) ORN_KERNEL {
    // A NaN in front stays: the range is then not a number.
    const auto front = static_cast<float>(freq[0]);
    extremes_t<float, decltype(on)> range(front, front);
    extremes_t<double, decltype(on)> peak(0.0, 0.0);
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

template deviations_t<float> deviations(std::span<const float>, std::span<const double>,
                                        const line_t&, double, const deviation_traces_t&) noexcept;
template deviations_t<double> deviations(std::span<const float>, std::span<const double>,
                                         const line_t&, double, const deviation_traces_t&) noexcept;

}  // namespace orn::fmcw_demod_lib::kernels
