#pragma once

#include <fmcw_demod/types.h>

#include <cstddef>
#include <cstdint>
#include <span>

/// The loops over samples that the analysis spends its time in: free functions on views, without
/// state and exceptions. Every output is computed in the order and precision of its description;
/// what the instruction set decides (dispatch.h) is how many outputs are worked on at once.
namespace orn::fmcw_demod_lib::kernels {

/// Time of each sample [s]: out[i] = i / fs, where i goes through float, the division is double.
void time_axis(double fs, std::span<float> out) noexcept;

/// Power of each sample [dBm] in single precision, 10 log10(|x|^2 / impedance * 1000 + 1e-12).
/// out  one element per sample
///
/// Returns the sum of |x|^2, as `squares` has it.
double power_levels(std::span<const sample_t> samples, float impedance,
                    std::span<float> out) noexcept;

/// Sum, smallest and largest of |x|^2, |x| and its square each rounded to float; the sum in double
/// in index order, the extremes over the numbers among them, NaN where there is none.
struct squares_t {
  double sum;
  float smallest;
  float largest;
};
squares_t squares(std::span<const sample_t> samples) noexcept;

/// Magnitude of each spectral bin.
/// re, im  parts of the bins; out  as many elements
void magnitudes(std::span<const float> re, std::span<const float> im,
                std::span<float> out) noexcept;

/// Sorts samples by their position modulo `hop`: sample i goes to (i % hop) * pitch + i / hop of
/// both planes, next to the samples one hop before and after it.
void sort_by_phase(std::span<const sample_t> samples, std::size_t hop, std::size_t pitch,
                   std::span<float> re, std::span<float> im) noexcept;

/// Copies lanes into rows with the negative frequencies first.
/// values  bin i of lane l at i * lanes + l
/// rows    one pointer per lane from the first on to a row of values.size() / lanes elements
void lanes_to_centred_rows(std::span<const float> values, std::size_t lanes,
                           std::span<float* const> rows) noexcept;

/// Index of each lane's largest magnitude with the negative frequencies first, the lowest of a tie.
/// magnitude  bin i of lane l at i * strongest.size() + l
void strongest_centred_bins(std::span<const float> magnitude,
                            std::span<std::uint32_t> strongest) noexcept;

/// Level of each spectral bin [dB] in single precision, 20 log10(|X| + 1e-12).
/// re, im  parts of the bins; out  as many elements, may be re
void spectral_levels(std::span<const float> re, std::span<const float> im,
                     std::span<float> out) noexcept;

/// Power of each bin of a spectrum, (|X| / points)^2 / impedance, as level 10 log10(1000 power)
/// [dBm] in single precision; an impedance of 0 or less does not divide.
/// re, im  parts of the bins; out  as many elements
///
/// Returns the sum of the powers, added in double in index order from `sum` on.
double bin_powers(std::span<const float> re, std::span<const float> im, float points,
                  float impedance, double sum, std::span<float> out) noexcept;

/// Angle of each sample [rad], -pi to pi, in single precision; see arctangent.
/// out  one element per sample
void phase_angles(std::span<const sample_t> samples, std::span<float> out) noexcept;

/// Instantaneous frequency [Hz] from the angle of each sample, unwrapped as basefunc::mm_unwrap
/// does, its gradient times fs / 2 pi: central inside and one-sided at both ends, 0 for a single
/// sample.
/// frequency  one element per sample
/// phase      one element per sample, or none: the unwrapped angle [rad]
void instantaneous_frequency(std::span<const sample_t> samples, float fs,
                             std::span<double> frequency, std::span<double> phase) noexcept;

/// Removes jumps of 2 pi in place; see basefunc::mm_unwrap.
template <class T>
void unwrap(std::span<T> phase) noexcept;

/// Convolution with a symmetric kernel, outputs rounded to Out; see basefunc::conv_same.
/// signal  out.size() + kernel.size() - 1 elements or more
template <class T, class Out>
void convolve_symmetric(std::span<const T> signal, std::span<const T> kernel,
                        std::span<Out> out) noexcept;

/// Slope of a frequency trace [Hz/s]: out[i] = (freq[i + 1] - freq[i]) / dt, rounded to Slope.
/// freq  one element more than out
template <class Slope>
void slopes(std::span<const double> freq, double dt, std::span<Slope> out) noexcept;

/// Phase [rad] from frequency [Hz] over time [s] by trapezoids, 0 at the first element, added in
/// double and rounded to float; see basefunc::cumtrapz_phase.
/// time, freq, phase  as many elements each, at least one
void integrate_phase(std::span<const float> time, std::span<const float> freq,
                     std::span<float> phase) noexcept;

/// Sums of x, y, x^2 and x y, in double in index order.
struct line_sums_t {
  double x;
  double y;
  double xx;
  double xy;
};
/// x, y  as many elements each
line_sums_t line_sums(std::span<const float> x, std::span<const float> y) noexcept;

/// What the line through a chirp's frequency and its power come from, in one pass: the sums over
/// its time [s] and its frequency [Hz] rounded to float, and the squares of its samples.
/// time, freq, samples  as many elements each
struct chirp_sums_t {
  line_sums_t line;
  squares_t squares;
};
chirp_sums_t chirp_sums(std::span<const float> time, std::span<const double> freq,
                        std::span<const sample_t> samples) noexcept;

/// A line, slope [Hz/s] and intercept [Hz].
struct line_t {
  float slope;
  float intercept;
};

/// Deviation of a chirp from its line: sums, sums of squares and largest magnitudes of the
/// frequency residual [Hz] and of the difference of the integrated phases [rad]. T is the precision
/// of phases.
template <class T>
struct deviations_t {
  double residual_sum;
  double residual_squares;
  float residual_peak;
  T phase_sum;
  T phase_squares;
  T phase_peak;
};

/// Traces of a deviation, one element per sample, or none of them.
struct deviation_traces_t {
  std::span<float> fitted;           ///< the line [Hz]
  std::span<float> fitted_phase;     ///< the line integrated [rad]
  std::span<float> residual;         ///< frequency less line [Hz]
  std::span<float> phase_deviation;  ///< their integrals' difference [rad]
};

/// Deviations of a chirp from its line. Frequency and line are integrated by trapezoids from 0:
/// with T = float at the fixed interval dt [s], as basefunc::cumtrapz_phase(dt, ...) does; with T =
/// double over the time stamps, as basefunc::cumtrapz_phase(time, ...) does.
/// time [s], freq [Hz]  as many elements each, at least one
template <class T>
deviations_t<T> deviations(std::span<const float> time, std::span<const double> freq,
                           const line_t& line, double dt,
                           const deviation_traces_t& traces) noexcept;

/// Sums over the measured interval of a chirp, in double in index order: of its slope and of its
/// slope's deviation from a fitted one, both times `unit`; largest deviation; range of its
/// frequency rounded to float.
struct sweep_t {
  double slope_sum;
  double deviation_sum;
  double deviation_squares;
  double deviation_peak;
  float lowest;   ///< [Hz]
  float highest;  ///< [Hz]
};
/// freq [Hz], slope [Hz/s]  as many elements each, at least one
sweep_t sweep(std::span<const double> freq, std::span<const float> slope, float fitted_slope,
              double unit) noexcept;

/// Whether trace[i - 1] and trace[i] differ in sign and both exceed `clearly` in magnitude, for any
/// i from 1 to the last.
template <class T>
bool any_sign_change(std::span<const T> trace, T clearly) noexcept;

/// The element that ascending order would put at `rank`, NaNs last.
/// rank    below values.size()
/// buffer  work memory, as many elements as `values`
float select_rank(std::span<const float> values, std::size_t rank,
                  std::span<float> buffer) noexcept;

}  // namespace orn::fmcw_demod_lib::kernels
