#include "basefunc/kernels.h"
#include "basefunc/kernels/arctangent.h"
#include "basefunc/kernels/blocks.h"
#include "basefunc/trapezoid.h"

#include <simd/dispatch.h>
#include <simd/vector.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>
#include <utility>

namespace orn::fmcw_demod_lib::kernels {

using simd::dispatch;

namespace {

constexpr double pi = std::numbers::pi;
constexpr double two_pi = 2.0 * pi;

/// Angles of a block of samples, few or none of which lie at the vertical axis.
ORN_KERNEL inline void find_angles(const sample_t* samples, std::size_t count, float* out) {
  int at_vertical = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const float x = samples[i].real();
    const float y = samples[i].imag();
    out[i] = arctangent_off_vertical(y, x);
    at_vertical |= static_cast<int>(!is_off_vertical(y, x));
  }
  for (std::size_t i = 0; at_vertical != 0 && i < count; ++i) {
    const float x = samples[i].real();
    const float y = samples[i].imag();
    if (!is_off_vertical(y, x)) {
      out[i] = arctangent_at_vertical(y, x);
    }
  }
}

/// q rounded to the nearest integer, halves toward zero. Infinities and NaN stay.
double round_half_toward_zero(double q) {
  const double whole = std::trunc(q);
  return std::abs(q - whole) <= 0.5 ? whole : std::round(q);
}

/// x moved `By` lanes up, zeros coming in.
template <std::size_t By, class Value, std::size_t... I>
ORN_KERNEL inline Value moved_up(Value x, std::index_sequence<I...> /*all*/) {
  return __builtin_shufflevector(Value{}, x, (I < By ? 0 : sizeof...(I) + I - By)...);
}

/// Lane l becomes the sum of lanes 0 to l.
template <std::size_t By = 1, class Value>
ORN_KERNEL inline Value running_sums(Value x) {
  constexpr std::size_t lanes = simd::width_of<Value, std::int32_t>;
  if constexpr (By < lanes) {
    return running_sums<2 * By>(x + moved_up<By>(x, std::make_index_sequence<lanes>{}));
  }
  return x;
}

/// Unwraps angles by the block. Each phase is its raw angle less a whole number of turns times 2 pi,
/// and that number differs from its predecessor's by the rounded difference of the raw angles, -1, 0
/// or 1 turns. Only where the difference is within `margin` of half a turn could rounding decide
/// otherwise: the multiples of 2 pi that the literal order subtracts are wrong by less than 2^-51 of
/// themselves, which is below the margin for 2^38 turns. Such blocks, and the first, are done
/// literally. Between blocks `turns_` are those of the last angle and `last_phase_` is its phase.
class unwrapper_t {
 public:
  /// Unwraps the next block of raw angles, at most block_length, into `phase`. angle[-1] is the
  /// last one of the block before.
  template <class On>
  ORN_KERNEL void next(const float* angle, std::size_t count, double* phase) {
    alignas(64) block_t<std::int32_t> turns{};
    if (first_ || !count_turns(angle, count, turns)) {
      unwrap_literally(angle, count, phase);
      return;
    }
    const std::int32_t total = add_up<On>(turns);
    for (std::size_t i = 0; i < count; ++i) {
      phase[i] = static_cast<double>(angle[i]) - (turns_ + static_cast<double>(turns[i])) * two_pi;
    }
    turns_ += static_cast<double>(total);
    last_phase_ = phase[count - 1];
  }

 private:
  static constexpr float half_turn = 3.14159274F;
  static constexpr float margin = 1e-3F;

  /// Turns between each angle and the one before; false when rounding could decide one of them.
  ORN_KERNEL static bool count_turns(const float* angle, std::size_t count,
                                     block_t<std::int32_t>& turns) {
    int unsure = 0;
    for (std::size_t i = 0; i < count; ++i) {
      const float difference = angle[i] - angle[static_cast<std::ptrdiff_t>(i) - 1];
      const bool up = difference > half_turn;
      const bool down = difference < -half_turn;
      turns[i] = static_cast<std::int32_t>(up) - static_cast<std::int32_t>(down);
      unsure |= static_cast<int>(!(std::fabs(std::fabs(difference) - half_turn) > margin));
    }
    return unsure == 0;
  }

  /// Makes each element the sum of all up to it, and returns the last.
  template <class On>
  ORN_KERNEL static std::int32_t add_up(block_t<std::int32_t>& turns) {
    using value_t = simd::vector_t<std::int32_t, On>;
    constexpr std::size_t width = simd::width_of<value_t, std::int32_t>;
    std::int32_t total = 0;
    for (std::size_t i = 0; i < block_length; i += width) {
      const value_t sums = running_sums(simd::load<value_t>(&turns[i])) + total;
      simd::store(sums, &turns[i]);
      total = sums[width - 1];
    }
    return total;
  }

  void unwrap_literally(const float* angle, std::size_t count, double* phase) {
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
  }

  bool first_ = true;
  double last_phase_ = 0.0;
  double turns_ = 0.0;
};

/// Angles and phases of a run of samples, which goes through each step as a whole: a load that
/// overlaps the last few stores would wait for them to reach the cache. In front lie the last angle
/// and the last two phases of the run before.
struct run_t {
  static constexpr std::size_t length = 16 * block_length;

  ORN_KERNEL float* angles() { return &angle_[1]; }
  ORN_KERNEL double* phases() { return &phase_[2]; }

  ORN_KERNEL void keep_last(std::size_t count) {
    angle_[0] = angle_[count];
    phase_[0] = phase_[count];
    phase_[1] = phase_[count + 1];
  }

 private:
  alignas(64) std::array<float, 1 + length> angle_{};
  alignas(64) std::array<double, 2 + length> phase_{};
};

/// Gradients that the run of `count` phases from sample `first` on completes, times `scale`: that of
/// a sample when its successor is there, the last one with the last sample.
ORN_KERNEL inline void write_gradients(const double* phase, std::size_t first, std::size_t count,
                                       double scale, std::span<double> gradient) {
  double* const before = gradient.data() + first - 1;
  for (std::size_t i = first == 0 ? 2 : 0; i < count; ++i) {
    const auto here = static_cast<std::ptrdiff_t>(i);
    before[i] = ((phase[here] - phase[here - 2]) * 0.5) * scale;
  }
  if (first == 0) {
    gradient.front() = count > 1 ? (phase[1] - phase[0]) * scale : 0.0;
  }
  if (first + count == gradient.size() && gradient.size() > 1) {
    const auto last = static_cast<std::ptrdiff_t>(count) - 1;
    gradient.back() = (phase[last] - phase[last - 1]) * scale;
  }
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

void phase_angles(std::span<const sample_t> samples, std::span<float> out) noexcept {
  dispatch([=](auto /*on*/) ORN_KERNEL {
    for_each_block(out.size(), [&](std::size_t first, std::size_t count) ORN_KERNEL {
      find_angles(&samples[first], count, &out[first]);
    });
  });
}

void instantaneous_frequency(std::span<const sample_t> samples, float fs,
                             std::span<double> frequency, std::span<double> phase) noexcept {
  const double scale = double{fs} / two_pi;
  dispatch([=](auto on) ORN_KERNEL {
    run_t run;
    unwrapper_t unwrapper;
    for (std::size_t first = 0; first < samples.size(); first += run_t::length) {
      const std::size_t count = std::min(run_t::length, samples.size() - first);
      float* const angles = run.angles();
      double* const phases = run.phases();
      for_each_block(count, [=](std::size_t at, std::size_t block_count) ORN_KERNEL {
        find_angles(&samples[first + at], block_count, angles + at);
      });
      for_each_block(count, [=, &unwrapper](std::size_t at, std::size_t block_count) ORN_KERNEL {
        unwrapper.next<decltype(on)>(angles + at, block_count, phases + at);
      });
      if (!phase.empty()) {
        std::copy_n(phases, count, &phase[first]);
      }
      write_gradients(phases, first, count, scale, frequency);
      run.keep_last(count);
    }
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
        term[i] = mean_angular_rate(f[i], f[i + 1]) * static_cast<double>(t[i + 1] - t[i]);
      }
      for (std::size_t i = 0; i < count; ++i) {
        running += term[i];
        out[i] = static_cast<float>(running);
      }
    });
  });
}

template void unwrap(std::span<float>) noexcept;
template void unwrap(std::span<double>) noexcept;
template void slopes(std::span<const double>, double, std::span<float>) noexcept;
template void slopes(std::span<const double>, double, std::span<double>) noexcept;

}  // namespace orn::fmcw_demod_lib::kernels
