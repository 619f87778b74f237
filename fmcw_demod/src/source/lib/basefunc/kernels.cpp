#include "basefunc/kernels.h"

#include <algorithm>
#include <array>
#include <numbers>

namespace orn::fmcw_demod_lib::kernels {
namespace {

constexpr double pi = std::numbers::pi;

/// q rounded to the nearest integer, halves toward zero. Infinities and NaN stay.
double round_half_toward_zero(double q) {
  const double whole = std::trunc(q);
  return std::abs(q - whole) <= 0.5 ? whole : std::round(q);
}

}  // namespace

void time_axis(double fs, std::span<float> out) noexcept {
  for (std::size_t i = 0; i < out.size(); ++i) {
    out[i] = static_cast<float>(static_cast<double>(static_cast<float>(i)) / fs);
  }
}

void power_levels(std::span<const sample_t> samples, float impedance,
                  std::span<float> out) noexcept {
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const float a = magnitude(samples[i]);
    out[i] = 10.0F * log10_rounded(a * a / impedance * 1000.0F + 1e-12F);
  }
}

double sum_of_squares(std::span<const sample_t> samples) noexcept {
  double sum = 0.0;
  for (const sample_t z : samples) {
    const float a = magnitude(z);
    sum += a * a;
  }
  return sum;
}

void spectral_levels(std::span<const sample_t> bins, std::span<float> out) noexcept {
  for (std::size_t i = 0; i < bins.size(); ++i) {
    out[i] = 20.0F * log10_rounded(magnitude(bins[i]) + 1e-12F);
  }
}

template <class T>
void phase_angles(std::span<const sample_t> samples, std::span<T> out) noexcept {
  for (std::size_t i = 0; i < samples.size(); ++i) {
    out[i] = std::atan2(samples[i].imag(), samples[i].real());
  }
}

template <class T>
void unwrap(std::span<T> phase) noexcept {
  for (std::size_t k = 1; k < phase.size(); ++k) {
    const double step = phase[k] - phase[k - 1];
    if (!(std::abs(step) < pi)) {
      const double turns = round_half_toward_zero(step / (2.0 * pi));
      phase[k] -= static_cast<T>(turns * (2.0 * pi));
    }
  }
}

template <class T>
void scaled_gradient(std::span<const T> phase, T scale, std::span<T> out) noexcept {
  const std::size_t last = phase.size() - 1;
  out[0] = (phase[1] - phase[0]) * scale;
  for (std::size_t i = 1; i < last; ++i) {
    out[i] = ((phase[i + 1] - phase[i - 1]) * static_cast<T>(0.5)) * scale;
  }
  out[last] = (phase[last] - phase[last - 1]) * scale;
}

template <class T>
void convolve_symmetric(std::span<const T> padded, std::span<const T> kernel,
                        std::span<T> out) noexcept {
  // Neighbouring outputs share the loop over taps: each still adds its own terms in tap order.
  constexpr std::size_t block = 64;
  const std::size_t half = kernel.size() / 2;
  for (std::size_t first = 0; first < out.size(); first += block) {
    const std::size_t count = std::min(block, out.size() - first);
    const T* const x = padded.data() + first;
    std::array<T, block> sum{};
    for (std::size_t k = 0; k < half; ++k) {
      const T* const mirrored = x + (kernel.size() - 1 - k);
      for (std::size_t i = 0; i < count; ++i) {
        sum[i] += (x[i + k] + mirrored[i]) * kernel[k];
      }
    }
    for (std::size_t i = 0; i < count; ++i) {
      out[first + i] = kernel.size() % 2 != 0 ? kernel[half] * x[i + half] + sum[i] : sum[i];
    }
  }
}

template <class Slope>
void slopes(std::span<const double> freq, double dt, std::span<Slope> out) noexcept {
  for (std::size_t i = 0; i < out.size(); ++i) {
    out[i] = static_cast<Slope>((freq[i + 1] - freq[i]) / dt);
  }
}

float select_rank(std::span<float> values, std::size_t rank) noexcept {
  const auto nan_last = [](float a, float b) { return a < b || (std::isnan(b) && !std::isnan(a)); };
  const auto place = values.begin() + static_cast<std::ptrdiff_t>(rank);
  std::nth_element(values.begin(), place, values.end(), nan_last);
  return *place;
}

template void phase_angles(std::span<const sample_t>, std::span<float>) noexcept;
template void phase_angles(std::span<const sample_t>, std::span<double>) noexcept;
template void unwrap(std::span<float>) noexcept;
template void unwrap(std::span<double>) noexcept;
template void scaled_gradient(std::span<const float>, float, std::span<float>) noexcept;
template void scaled_gradient(std::span<const double>, double, std::span<double>) noexcept;
template void convolve_symmetric(std::span<const float>, std::span<const float>,
                                 std::span<float>) noexcept;
template void convolve_symmetric(std::span<const double>, std::span<const double>,
                                 std::span<double>) noexcept;
template void slopes(std::span<const double>, double, std::span<float>) noexcept;
template void slopes(std::span<const double>, double, std::span<double>) noexcept;

}  // namespace orn::fmcw_demod_lib::kernels
