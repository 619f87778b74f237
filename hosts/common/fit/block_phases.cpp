#include "common/fit/block_phases.h"

#include "common/fit/angle.h"
#include "common/fit/cubic_fit.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace orn::fmcw_host {
namespace {

using fmcw_demod_lib::sample_t;

/// Sum of x[k+1] conj x[k], in four strands.
plane_t sum_of_steps(std::span<const sample_t> samples) {
  constexpr std::size_t strands = 4;
  std::array<double, strands> re{};
  std::array<double, strands> im{};
  const std::size_t steps = samples.size() - 1;
  const auto add = [&](std::size_t i, std::size_t strand) {
    const double a = samples[i].real();
    const double b = samples[i].imag();
    const double next_a = samples[i + 1].real();
    const double next_b = samples[i + 1].imag();
    re[strand] += next_a * a + next_b * b;
    im[strand] += next_b * a - next_a * b;
  };
  std::size_t i = 0;
  for (; i + strands <= steps; i += strands) {
    for (std::size_t r = 0; r < strands; ++r) {
      add(i + r, r);
    }
  }
  for (; i < steps; ++i) {
    add(i, 0);
  }
  return {(re[0] + re[1]) + (re[2] + re[3]), (im[0] + im[1]) + (im[2] + im[3])};
}

bool is_usable(plane_t sum) {
  return std::isfinite(sum.re) && std::isfinite(sum.im) && (sum.re != 0.0 || sum.im != 0.0);
}

struct block_sum_t {
  plane_t sum;
  double power = 0.0;
};

/// Points in two rows, as the processor's lanes like them.
struct rows_t {
  std::array<double, longest_block> re{};
  std::array<double, longest_block> im{};
};

/// Turns each point on by its step.
void turn(rows_t& points, const rows_t& steps, std::size_t count) {
  for (std::size_t j = 0; j < count; ++j) {
    const double re = points.re[j];
    const double im = points.im[j];
    points.re[j] = re * steps.re[j] - im * steps.im[j];
    points.im[j] = re * steps.im[j] + im * steps.re[j];
  }
}

/// Sum of x[j] back[j], in as many strands as given, which divide the count.
template <std::size_t strands>
block_sum_t turned_sum(const sample_t* x, const rows_t& back, std::size_t count) {
  std::array<double, strands> re{};
  std::array<double, strands> im{};
  std::array<double, strands> power{};
  for (std::size_t k = 0; k < count; k += strands) {
    for (std::size_t r = 0; r < strands; ++r) {
      const double a = x[k + r].real();
      const double b = x[k + r].imag();
      re[r] += a * back.re[k + r] - b * back.im[k + r];
      im[r] += a * back.im[k + r] + b * back.re[k + r];
      power[r] += a * a + b * b;
    }
  }
  block_sum_t total;
  for (std::size_t r = 0; r < strands; ++r) {
    total.sum = total.sum + plane_t{re[r], im[r]};
    total.power += power[r];
  }
  return total;
}

/// A line through values, by its middle.
struct level_t {
  double mean = 0.0;
  double slope = 0.0;  ///< per value
};

level_t level_of(std::span<const double> values) {
  const auto n = static_cast<double>(values.size());
  level_t level;
  for (std::size_t i = 0; i < values.size(); ++i) {
    level.mean += values[i];
    level.slope += (static_cast<double>(i) - (n - 1.0) / 2.0) * values[i];
  }
  level.mean /= n;
  level.slope *= 12.0 / (n * (n * n - 1.0));
  return level;
}

constexpr std::size_t side = 16;  ///< values before and after a step
constexpr std::size_t gap = 4;    ///< and between them

/// What the values after a gap lie above the continuation of those before it [turns].
double step_at(std::span<const double> turns, std::size_t gap_begin) {
  const level_t before = level_of(turns.subspan(gap_begin - side, side));
  const level_t after = level_of(turns.subspan(gap_begin + gap, side));
  return after.mean - before.mean -
         static_cast<double>(side + gap) * 0.5 * (before.slope + after.slope);
}

}  // namespace

first_look_t look_at_frequency(std::span<const sample_t> samples) {
  // A few short blocks say enough: the line is only to turn samples back by.
  constexpr std::size_t most_blocks = 32;
  constexpr std::size_t shortest = 8;
  constexpr std::size_t longest = 64;
  const std::size_t count = std::min(samples.size() / shortest, most_blocks);
  const std::size_t stride = samples.size() / std::max<std::size_t>(count, 1);
  const std::size_t length = std::clamp(stride / 4, shortest, longest);
  std::vector<double> frequencies(count);
  std::vector<std::uint8_t> kept(count);
  double last = 0.0;
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t begin = i * stride;
    const std::size_t with_next = std::min(length + 1, samples.size() - begin);
    const plane_t sum = sum_of_steps(samples.subspan(begin, with_next));
    kept[i] = is_usable(sum) ? 1 : 0;
    if (kept[i] != 0) {
      const double frequency = turns_of(sum);
      last = frequency + std::nearbyint(last - frequency);
    }
    frequencies[i] = last;
  }
  const cubic_fit_t fit = fit_robustly(frequencies, kept, 0.0);
  // Noise is what one block differs from the next by; the rest of the distances is a curve's.
  double squares = 0.0;
  double noise = 0.0;
  double before = 0.0;
  for (std::size_t i = 0; i < count; ++i) {
    if (kept[i] != 0) {
      const double distance =
          frequencies[i] - fit.quadratic[0] - fit.quadratic[1] * place_of(i, count);
      squares += distance * distance;
      noise += 0.5 * (distance - before) * (distance - before);
      before = distance;
    }
  }
  // A step's frequency is that half a sample on, so a block's middle is half its steps on.
  const double half = 0.5 * static_cast<double>(count * stride);
  const double middle = half - 0.5 * static_cast<double>(stride - length);
  first_look_t look;
  look.line.slope = fit.quadratic[1] / half;
  look.line.middle =
      fit.quadratic[0] + look.line.slope * (0.5 * static_cast<double>(samples.size() - 1) - middle);
  // And what noise leaves of the line at its ends, twice that of its middle.
  const auto blocks = static_cast<double>(fit.count);
  look.deviation = std::sqrt((std::fmax(squares - noise, 0.0) + 4.0 * noise / blocks) / blocks);
  return look;
}

block_phases_t phases_about(std::span<const sample_t> samples,
                            const line_of_frequency_t& line_of_samples, std::size_t length) {
  block_phases_t phases;
  const std::size_t count = samples.size() / length;
  phases.length = length;
  phases.first = (samples.size() - count * length) / 2;
  phases.turns.resize(count);
  phases.usable.resize(count);
  const double middle = 0.5 * static_cast<double>(count - 1);
  const auto n = static_cast<double>(length);
  line_of_frequency_t& line = phases.line;
  line = line_of_samples;
  // The blocks' middle may lie half a sample before that of all samples.
  line.middle -= line.slope * (0.5 * (static_cast<double>(samples.size()) - 1.0) -
                               (static_cast<double>(phases.first) + n * middle + 0.5 * (n - 1.0)));
  rows_t back;
  rows_t steps;
  for (std::size_t j = 0; j < length; ++j) {
    const double offset = static_cast<double>(j) - 0.5 * (n - 1.0);
    const double frequency = line.middle + line.slope * (0.5 * offset - n * middle);
    const plane_t point = phasor_of(-frequency * offset);
    const plane_t step = phasor_of(-line.slope * n * offset);
    back.re[j] = point.re;
    back.im[j] = point.im;
    steps.re[j] = step.re;
    steps.im[j] = step.im;
  }
  const auto sum_up = length % 4 == 0 ? turned_sum<4> : turned_sum<1>;
  double last = 0.0;
  bool any = false;
  double on_line = 0.0;
  double beside = 0.0;
  for (std::size_t i = 0; i < count; ++i) {
    if (i > 0) {
      turn(back, steps, length);
    }
    const auto [sum, power] = sum_up(samples.data() + phases.first + i * length, back, length);
    phases.usable[i] = is_usable(sum) ? 1 : 0;
    if (phases.usable[i] != 0) {
      const double square = sum.re * sum.re + sum.im * sum.im;
      on_line += square;
      beside += n * power - square;
      const double place = n * (static_cast<double>(i) - middle);
      const double turns = turns_of(sum) - (line.middle + 0.5 * line.slope * place) * place;
      last = turns + (any ? std::nearbyint(last - turns) : -std::nearbyint(turns));
      any = true;
    }
    phases.turns[i] = last;
  }
  if (length > 1) {
    // E[L sum |x|^2 - |sum|^2] = L (L - 1) s^2 and E|sum|^2 = L^2 a^2 + L s^2 for a line of
    // amplitude a in noise of power s^2, which moves phases by s^2 / 2 a^2.
    const double noise = beside / (n - 1.0);
    phases.noise = 0.5 * n * std::fmax(noise, 0.0) / (on_line - noise);
  }
  return phases;
}

std::uint64_t mend_slips(std::span<double> turns) {
  constexpr double least = 0.75;
  std::uint64_t slips = 0;
  for (std::size_t i = side; i + gap + side <= turns.size(); ++i) {
    // The step must show between two values already, which most of the time it does not.
    if (std::abs(turns[i + gap] - turns[i - 1]) < 0.5 * least ||
        std::abs(step_at(turns, i)) < least) {
      continue;
    }
    std::size_t best = i;
    for (std::size_t k = i + 1; k < i + side && k + gap + side <= turns.size(); ++k) {
      best = std::abs(step_at(turns, k)) > std::abs(step_at(turns, best)) ? k : best;
    }
    const double whole = std::nearbyint(step_at(turns, best));
    for (std::size_t k = best + gap / 2; k < turns.size(); ++k) {
      turns[k] -= whole;
    }
    slips += static_cast<std::uint64_t>(std::abs(whole));
    i = best + gap;
  }
  return slips;
}

}  // namespace orn::fmcw_host
