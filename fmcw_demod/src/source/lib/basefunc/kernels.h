#pragma once

#include <fmcw_demod/types.h>

#include <cmath>
#include <cstddef>
#include <span>

/// The loops over samples that the analysis spends its time in: free functions on views, no
/// allocation, no state, no exceptions. Every output is computed in the order and precision written
/// here, whatever the speed; what may change is how many outputs are worked on at once.
namespace orn::fmcw_demod_lib::kernels {

/// |z| as float: the squares of floats are exact in double and cannot overflow there.
inline float magnitude(sample_t z) noexcept {
  const double re = z.real();
  const double im = z.imag();
  return static_cast<float>(std::sqrt(re * re + im * im));
}

/// Logarithm of a float to base 10, evaluated in double and rounded once.
inline float log10_rounded(float x) noexcept {
  return static_cast<float>(std::log10(static_cast<double>(x)));
}

/// Time of each sample [s]: out[i] = i / fs, where i goes through float, the division is double.
void time_axis(double fs, std::span<float> out) noexcept;

/// Power of each sample [dBm] in single precision, 10 log10(|x|^2 / impedance * 1000 + 1e-12).
/// out  one element per sample
void power_levels(std::span<const sample_t> samples, float impedance,
                  std::span<float> out) noexcept;

/// Sum of |x|^2, each square rounded to float, added in double in index order.
double sum_of_squares(std::span<const sample_t> samples) noexcept;

/// Level of each spectral bin [dB] in single precision, 20 log10(|X| + 1e-12).
/// out  one element per bin
void spectral_levels(std::span<const sample_t> bins, std::span<float> out) noexcept;

/// Angle of each sample [rad], -pi to pi, evaluated in single precision.
/// out  one element per sample
template <class T>
void phase_angles(std::span<const sample_t> samples, std::span<T> out) noexcept;

/// Removes jumps of 2 pi in place; see basefunc::mm_unwrap.
template <class T>
void unwrap(std::span<T> phase) noexcept;

/// Gradient of a phase [rad] times `scale`, central inside and one-sided at both ends.
/// phase  two elements or more; out  as many
template <class T>
void scaled_gradient(std::span<const T> phase, T scale, std::span<T> out) noexcept;

/// Convolution with a symmetric kernel; see basefunc::conv_same.
/// padded  the signal between zeros, out.size() + kernel.size() - 1 elements or more
template <class T>
void convolve_symmetric(std::span<const T> padded, std::span<const T> kernel,
                        std::span<T> out) noexcept;

/// Slope of a frequency trace [Hz/s], rounded to float: out[i] = (freq[i + 1] - freq[i]) / dt.
/// freq  one element more than out
template <class Slope>
void slopes(std::span<const double> freq, double dt, std::span<Slope> out) noexcept;

/// The element that ascending order would put at `rank`, NaNs last. Reorders the values.
/// rank  below values.size()
float select_rank(std::span<float> values, std::size_t rank) noexcept;

}  // namespace orn::fmcw_demod_lib::kernels
