#include "basefunc/arctangent.h"
#include "basefunc/kernels.h"
#include "basefunc/kernels/blocks.h"
#include "dispatch.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>

namespace orn::fmcw_demod_lib::kernels {

using common_lib::dispatch;

namespace {

constexpr double pi = std::numbers::pi;
constexpr double two_pi = 2.0 * pi;

/// q rounded to the nearest integer, halves toward zero. Infinities and NaN stay.
double round_half_toward_zero(double q) {
  const double whole = std::trunc(q);
  return std::abs(q - whole) <= 0.5 ? whole : std::round(q);
}

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

template void unwrap(std::span<float>) noexcept;
template void unwrap(std::span<double>) noexcept;
template void slopes(std::span<const double>, double, std::span<float>) noexcept;
template void slopes(std::span<const double>, double, std::span<double>) noexcept;

}  // namespace orn::fmcw_demod_lib::kernels
