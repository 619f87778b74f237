#include "basefunc/kernels.h"

#include "basefunc/kernels/arctangent.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numbers>
#include <numeric>
#include <span>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <simd_check/numbers.h>
#include <simd_check/targets.h>

/// Every kernel on every target against its definition, written out as plainly as it goes: bit for
/// bit, at lengths around the blocks and registers, with numbers of every kind.
namespace orn::fmcw_demod_lib {
namespace {

using simd_check::expect_same;
using simd_check::kind_t;
using simd_check::kinds;
using simd_check::numbers;
using simd_check::on_every_target;
using simd_check::same;

constexpr double two_pi = 2.0 * std::numbers::pi;
constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr std::array<std::size_t, 13> lengths = {1,  2,  3,   15,   16,   17,  63,
                                                 64, 65, 191, 1301, 2048, 4613};

std::vector<sample_t> samples_of(const std::vector<float>& re, const std::vector<float>& im) {
  std::vector<sample_t> samples(re.size());
  for (std::size_t i = 0; i < re.size(); ++i) {
    samples[i] = {re[i], im[i]};
  }
  return samples;
}

#define EXPECT_SAME(actual, expected) \
  EXPECT_TRUE(same((actual), (expected))) << (actual) << " instead of " << (expected)

/// Runs check(count, re, im) for every length and kind of numbers on every target.
template <class Check>
void on_all_numbers(Check check) {
  on_every_target([&] {
    unsigned seed = 0;
    for (const kind_t kind : kinds) {
      for (const std::size_t count : lengths) {
        seed += 2;
        check(numbers(count, kind, seed), numbers(count, kind, seed + 1));
      }
    }
  });
}

float magnitude(float re, float im) {
  return static_cast<float>(std::sqrt(double{re} * double{re} + double{im} * double{im}));
}

/// Debian 12's atan2f on x86-64; other platforms round theirs in their own way.
float angle_of(float y, float x) {
#if defined(__x86_64__)
  return std::atan2(y, x);
#else
  return kernels::arctangent(y, x);
#endif
}

float log10f_of(float x) { return static_cast<float>(std::log10(static_cast<double>(x))); }

template <class Function>
std::vector<float> map(const std::vector<float>& a, const std::vector<float>& b,
                       Function function) {
  std::vector<float> result(a.size());
  std::transform(a.begin(), a.end(), b.begin(), result.begin(), function);
  return result;
}

TEST(Kernels, ComputeLevelsAsDefined) {
  on_all_numbers([](const std::vector<float>& re, const std::vector<float>& im) {
    std::vector<float> out(re.size());
    kernels::magnitudes(re, im, out);
    expect_same(out, map(re, im, magnitude));
    kernels::spectral_levels(re, im, out);
    expect_same(out, map(re, im, [](float x, float y) {
                  return 20.0F * log10f_of(magnitude(x, y) + 1e-12F);
                }));
    const std::vector<sample_t> samples = samples_of(re, im);
    double sum = 0.0;
    float smallest = nan;
    float largest = nan;
    for (const float a : map(re, im, magnitude)) {
      const float square = a * a;
      sum += square;
      smallest = std::fmin(smallest, square);
      largest = std::fmax(largest, square);
    }
    EXPECT_SAME(kernels::power_levels(samples, 100.0F, out), sum);
    expect_same(out, map(re, im, [](float x, float y) {
                  const float a = magnitude(x, y);
                  return 10.0F * log10f_of(a * a / 100.0F * 1000.0F + 1e-12F);
                }));
    const kernels::squares_t squares = kernels::squares(samples);
    EXPECT_SAME(squares.sum, sum);
    EXPECT_SAME(squares.smallest, smallest);
    EXPECT_SAME(squares.largest, largest);
  });
}

TEST(Kernels, ComputeBinPowersAsDefined) {
  on_all_numbers([](const std::vector<float>& re, const std::vector<float>& im) {
    const auto points = static_cast<float>(re.size());
    for (const float impedance : {50.0F, 0.0F}) {
      double total = 3.0;
      const std::vector<float> powers = map(re, im, [&](float x, float y) {
        const float amplitude = magnitude(x, y) / points;
        const float power = amplitude * amplitude;
        return impedance > 0.0F ? power / impedance : power;
      });
      std::vector<float> expected;
      for (const float power : powers) {
        total += power;
        expected.push_back(10.0F * log10f_of(power * 1000.0F));
      }
      std::vector<float> out(re.size());
      EXPECT_SAME(kernels::bin_powers(re, im, points, impedance, 3.0, out), total);
      expect_same(out, expected);
    }
  });
}

double round_half_toward_zero(double q) {
  return std::abs(q - std::trunc(q)) <= 0.5 ? std::trunc(q) : std::round(q);
}

void check_frequency(const std::vector<sample_t>& samples) {
  std::vector<double> phase;
  for (const sample_t z : samples) {
    double angle = angle_of(z.imag(), z.real());
    const double step = phase.empty() ? 0.0 : angle - phase.back();
    if (!(std::abs(step) < std::numbers::pi)) {
      angle -= round_half_toward_zero(step / two_pi) * two_pi;
    }
    phase.push_back(angle);
  }
  const double scale = double{1e6F} / two_pi;
  const std::size_t last = samples.size() - 1;
  std::vector<double> frequency(samples.size());
  for (std::size_t i = 0; i < samples.size() && last > 0; ++i) {
    frequency[i] = i == 0      ? (phase[1] - phase[0]) * scale
                   : i == last ? (phase[last] - phase[last - 1]) * scale
                               : ((phase[i + 1] - phase[i - 1]) * 0.5) * scale;
  }
  std::vector<double> actual(samples.size());
  std::vector<double> unwrapped(samples.size());
  kernels::instantaneous_frequency(samples, 1e6F, actual, unwrapped);
  expect_same(unwrapped, phase);
  expect_same(actual, frequency);
  std::fill(actual.begin(), actual.end(), -1.0);
  kernels::instantaneous_frequency(samples, 1e6F, actual, {});
  expect_same(actual, frequency);
}

TEST(Kernels, FollowThePhaseAsDefined) {
  on_all_numbers([](const std::vector<float>& re, const std::vector<float>& im) {
    const std::vector<sample_t> samples = samples_of(re, im);
    std::vector<float> angles(samples.size());
    kernels::phase_angles(samples, angles);
    expect_same(angles, map(im, re, angle_of));
    check_frequency(samples);
  });
  // Steady rotations, which wind up thousands of turns, at and beside half a turn per sample.
  on_every_target([] {
    for (const double turns : {0.4999, 0.5, -0.5, 0.49984, 0.25, 1.0 / 3, -0.45}) {
      std::vector<sample_t> samples;
      for (std::size_t i = 0; i < 20000; ++i) {
        const double angle = two_pi * std::fmod(turns * static_cast<double>(i), 1.0);
        samples.emplace_back(std::polar(1.0, angle));
      }
      check_frequency(samples);
    }
  });
}

template <class T, class Out>
void check_convolution(std::size_t taps) {
  constexpr std::size_t spare = 2048;  // of the signal, and untouched memory past the outputs
  for (const std::size_t count : lengths) {
    const std::vector<float> values = numbers(count + taps - 1 + spare, kind_t::wide, 5);
    const std::vector<float> weights = numbers(taps, kind_t::normal, 6);
    const std::vector<T> signal(values.begin(), values.end());
    const std::vector<T> kernel(weights.begin(), weights.end());
    std::vector<Out> expected(count);
    for (std::size_t i = 0; i < count; ++i) {
      T sum = 0;
      for (std::size_t k = 0; k < taps / 2; ++k) {
        sum += (signal[i + k] + signal[i + taps - 1 - k]) * kernel[k];
      }
      expected[i] =
          static_cast<Out>(taps % 2 != 0 ? kernel[taps / 2] * signal[i + taps / 2] + sum : sum);
    }
    expected.resize(count + spare, Out(7));
    std::vector<Out> out(count + spare, Out(7));
    kernels::convolve_symmetric<T, Out>(signal, kernel, std::span(out).first(count));
    expect_same(out, expected);
  }
}

TEST(Kernels, ConvolveInTapOrder) {
  on_every_target([] {
    for (const std::size_t taps : {1U, 2U, 36U, 37U, 256U}) {
      check_convolution<float, float>(taps);
      check_convolution<double, double>(taps);
      check_convolution<double, float>(taps);
    }
  });
}

TEST(Kernels, DifferentiateIntegrateAndScanAsDefined) {
  on_all_numbers([](const std::vector<float>& time, const std::vector<float>& freq) {
    const std::size_t count = time.size();
    const std::vector<double> exact(freq.begin(), freq.end());
    std::vector<float> slope(count - 1);
    std::vector<float> expected_slope(count - 1);
    kernels::slopes<float>(exact, 0.3, slope);
    std::vector<float> phase(count);
    std::vector<float> expected_phase(count);
    kernels::integrate_phase(time, freq, phase);
    double sum = 0.0;
    bool changes = false;
    for (std::size_t i = 1; i < count; ++i) {
      expected_slope[i - 1] = static_cast<float>((exact[i] - exact[i - 1]) / 0.3);
      sum += static_cast<double>(freq[i] + freq[i - 1]) * 0.5 * two_pi *
             static_cast<double>(time[i] - time[i - 1]);
      expected_phase[i] = static_cast<float>(sum);
      changes = changes || (freq[i] * freq[i - 1] < 0 && std::abs(freq[i]) > 2.5F &&
                            std::abs(freq[i - 1]) > 2.5F);
    }
    expect_same(slope, expected_slope);
    expect_same(phase, expected_phase);
    EXPECT_EQ(kernels::any_sign_change<float>(freq, 2.5F), changes);
  });
}

TEST(Kernels, CountTheTimeInFloat) {
  on_every_target([] {
    std::vector<float> time(20'000'001);
    kernels::time_axis(3e6, time);
    for (std::size_t i = 0; i < time.size(); i += i < 1000 ? 1 : 997) {
      EXPECT_EQ(time[i], static_cast<float>(double{static_cast<float>(i)} / 3e6)) << i;
    }
    EXPECT_EQ(time[16'777'217], time[16'777'216]);  // indices beyond 2^24 share floats
  });
}

/// Frequencies around a line with outliers of every kind.
std::vector<double> chirp_frequency(std::size_t count, kind_t kind) {
  const std::vector<float> noise = numbers(count, kind, 21);
  std::vector<double> freq(count);
  for (std::size_t i = 0; i < count; ++i) {
    freq[i] = 1e4 * static_cast<double>(i) - 1e6 + 0.1 * static_cast<double>(noise[i]);
  }
  return freq;
}

template <class T>
void check_deviations(const std::vector<float>& time, const std::vector<double>& freq) {
  const kernels::line_t line{1.01e10F, -1.003e6F};
  constexpr double dt = 1e-6;
  const std::size_t count = time.size();
  kernels::deviations_t<T> expected{};
  std::vector<float> fitted(count);
  std::vector<float> fitted_phase(count);
  std::vector<float> residual(count);
  std::vector<float> phase_deviation(count);
  T phase_f = 0;
  T phase_g = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const auto f = static_cast<float>(freq[i]);
    fitted[i] = time[i] * line.slope + line.intercept;
    const double r = double{f} - double{fitted[i]};
    residual[i] = static_cast<float>(r);
    expected.residual_sum += r;
    expected.residual_squares += r * r;
    if (std::abs(r) > double{expected.residual_peak}) {
      expected.residual_peak = static_cast<float>(std::abs(r));
    }
    if (i > 0) {
      const auto step = [&](float sum) {
        const double rate = double{sum} * 0.5 * two_pi;
        return static_cast<T>(std::is_same_v<T, float> ? rate * dt
                                                       : rate * double{time[i] - time[i - 1]});
      };
      phase_f += step(f + static_cast<float>(freq[i - 1]));
      phase_g += step(fitted[i] + fitted[i - 1]);
    }
    fitted_phase[i] = static_cast<float>(phase_g);
    const T e = phase_f - phase_g;
    phase_deviation[i] = static_cast<float>(e);
    expected.phase_sum += e;
    expected.phase_squares += e * e;
    expected.phase_peak = std::abs(e) > expected.phase_peak ? std::abs(e) : expected.phase_peak;
  }
  std::vector<float> traces[4] = {std::vector<float>(count), std::vector<float>(count),
                                  std::vector<float>(count), std::vector<float>(count)};
  for (const bool shown : {true, false}) {
    const auto actual = kernels::deviations<T>(
        time, freq, line, dt,
        shown ? kernels::deviation_traces_t{traces[0], traces[1], traces[2], traces[3]}
              : kernels::deviation_traces_t{});
    EXPECT_SAME(actual.residual_sum, expected.residual_sum);
    EXPECT_SAME(actual.residual_squares, expected.residual_squares);
    EXPECT_SAME(actual.residual_peak, expected.residual_peak);
    EXPECT_SAME(actual.phase_sum, expected.phase_sum);
    EXPECT_SAME(actual.phase_squares, expected.phase_squares);
    EXPECT_SAME(actual.phase_peak, expected.phase_peak);
  }
  expect_same(traces[0], fitted);
  expect_same(traces[1], fitted_phase);
  expect_same(traces[2], residual);
  expect_same(traces[3], phase_deviation);
}

TEST(Kernels, MeasureAChirpInIndexOrder) {
  on_every_target([] {
    for (const kind_t kind : kinds) {
      for (const std::size_t count : lengths) {
        std::vector<float> time(count);
        for (std::size_t i = 0; i < count; ++i) {
          time[i] = static_cast<float>(i) * 1e-6F;
        }
        const std::vector<double> freq = chirp_frequency(count, kind);
        check_deviations<float>(time, freq);
        check_deviations<double>(time, freq);

        const std::vector<float> single(freq.begin(), freq.end());
        const auto samples = samples_of(numbers(count, kind, 7), numbers(count, kind, 8));
        const auto sums = kernels::chirp_sums(time, freq, samples);
        const auto line = kernels::line_sums(time, single);
        EXPECT_SAME(sums.line.x, line.x);
        EXPECT_SAME(sums.line.y, line.y);
        EXPECT_SAME(sums.line.xx, line.xx);
        EXPECT_SAME(sums.line.xy, line.xy);
        EXPECT_SAME(sums.squares.sum, kernels::squares(samples).sum);
        EXPECT_SAME(sums.squares.largest, kernels::squares(samples).largest);

        const std::vector<float> slope = numbers(count, kind, 9);
        kernels::sweep_t expected{0, 0, 0, 0, single[0], single[0]};
        for (std::size_t i = 0; i < count; ++i) {
          const double deviation = (double{slope[i]} - double{0.25F}) * 1e-9;
          expected.slope_sum += double{slope[i]} * 1e-9;
          expected.deviation_sum += deviation;
          expected.deviation_squares += deviation * deviation;
          if (std::abs(deviation) > expected.deviation_peak) {
            expected.deviation_peak = std::abs(deviation);
          }
          expected.lowest = single[i] < expected.lowest ? single[i] : expected.lowest;
          expected.highest = single[i] > expected.highest ? single[i] : expected.highest;
        }
        const kernels::sweep_t sweep = kernels::sweep(freq, slope, 0.25F, 1e-9);
        EXPECT_SAME(sweep.slope_sum, expected.slope_sum);
        EXPECT_SAME(sweep.deviation_sum, expected.deviation_sum);
        EXPECT_SAME(sweep.deviation_squares, expected.deviation_squares);
        EXPECT_SAME(sweep.deviation_peak, expected.deviation_peak);
        EXPECT_SAME(sweep.lowest, expected.lowest);
        EXPECT_SAME(sweep.highest, expected.highest);
      }
    }
  });
}

TEST(Kernels, SelectWhatSortingWouldPutThere) {
  const auto nan_last = [](float a, float b) { return a < b || (std::isnan(b) && !std::isnan(a)); };
  for (const kind_t kind : kinds) {
    for (const std::size_t count : {1U, 2U, 100U, 1025U, 20'000U}) {
      std::vector<float> values = numbers(count, kind, 31);
      for (const bool sorted_input : {false, true}) {
        std::vector<float> sorted = values;
        std::sort(sorted.begin(), sorted.end(), nan_last);
        if (sorted_input) {
          values = sorted;
        }
        for (const std::size_t rank : {std::size_t{0}, count / 3, count / 2, count - 1}) {
          std::vector<float> buffer(count);
          const float selected = kernels::select_rank(values, rank, buffer);
          EXPECT_TRUE(selected == sorted[rank] ||
                      (std::isnan(selected) && std::isnan(sorted[rank])))
              << selected << " of rank " << rank << " of " << count;
        }
      }
    }
  }
}

TEST(Kernels, SortSamplesIntoPhasesAndLanesIntoRows) {
  on_every_target([] {
    for (const std::size_t hop : {1U, 3U, 4U, 6U, 17U}) {
      for (const std::size_t columns : {1U, 4U, 9U}) {
        const std::size_t count = hop * columns + hop / 2;
        const auto samples =
            samples_of(numbers(count, kind_t::wide, 7), numbers(count, kind_t::wide, 8));
        const std::size_t pitch = columns + 2;
        std::vector<float> re(hop * pitch);
        std::vector<float> im(hop * pitch);
        kernels::sort_by_phase(samples, hop, pitch, re, im);
        for (std::size_t i = 0; i < count; ++i) {
          const std::size_t at = i % hop * pitch + i / hop;
          EXPECT_EQ(sample_t(re[at], im[at]), samples[i]);
        }
      }
    }
    for (const std::size_t bins : {1U, 4U, 7U, 64U}) {
      for (const std::size_t lanes : {1U, 8U, 16U}) {
        for (std::size_t used = 1; used <= lanes; ++used) {
          std::vector<float> values(bins * lanes);
          std::iota(values.begin(), values.end(), 0.0F);
          std::vector<std::vector<float>> rows(used, std::vector<float>(bins));
          std::vector<float*> targets;
          for (auto& row : rows) {
            targets.push_back(row.data());
          }
          kernels::lanes_to_centred_rows(values, lanes, targets);
          for (std::size_t l = 0; l < used; ++l) {
            for (std::size_t j = 0; j < bins; ++j) {
              EXPECT_EQ(rows[l][j], values[(j + (bins + 1) / 2) % bins * lanes + l]);
            }
          }
        }
      }
    }
  });
}

}  // namespace
}  // namespace orn::fmcw_demod_lib
