#include "basefunc/kernels.h"
#include "basefunc/kernels/blocks.h"
#include "basefunc/kernels/bounded/bounded.h"

#include <simd/dispatch.h>

#include <algorithm>
#include <cstddef>

namespace orn::fmcw_demod_lib::kernels {

using simd::dispatch;

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

squares_t squares(std::span<const sample_t> samples) noexcept {
  squares_t result{};
  dispatch([=, &result](auto on) ORN_KERNEL {
    extremes_t<float, decltype(on)> extremes(infinity, -infinity);
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

}  // namespace orn::fmcw_demod_lib::kernels
