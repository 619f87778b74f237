#pragma once

#include <fmcw_demod/export.h>
#include <fmcw_demod/types.h>

#include <vector>

/// Numerical building blocks of the analysis. Thresholds depend on their results, so the order and
/// the precision of every operation are part of the interface; sums run in index order.
///
/// Every function may throw std::bad_alloc; none has another failure. Empty inputs give empty
/// results. Outputs must not be the inputs unless a description allows it.
namespace orn::fmcw_demod_lib::basefunc {

/// True when any value is a NaN.
FMCW_DEMOD_EXPORT bool has_nan(const std::vector<float>& values);

/// Triangular window of `length` elements that sum to 1, without zeros at its ends:
/// 2k / (n + 1), k = 1 ... (n + 1) / 2, mirrored, for odd n; (2k + 1) / n, k = 0 ... n / 2 - 1,
/// mirrored, for even n; then divided by the float sum. A negative length throws std::bad_alloc,
/// length 0 gives an empty window.
FMCW_DEMOD_EXPORT std::vector<float> generate_triang_window(int length);

/// As generate_triang_window with odd-length values and the division in double; even-length values
/// and the normalising sum stay single precision.
FMCW_DEMOD_EXPORT std::vector<double> generate_triang_window_double(int length);

/// Convolution with a symmetric kernel, cut to the signal's length and centred on each sample (for
/// an even kernel the extra half sample lies on the later side); zeros beyond both ends. Only the
/// first half of the kernel is read: out[i] = sum over k of (p[i + k] + p[i + m - 1 - k]) h[k],
/// plus the centre tap of an odd kernel. Either argument empty: a copy of the signal.
FMCW_DEMOD_EXPORT std::vector<float> conv_same(const std::vector<float>& signal,
                                               const std::vector<float>& kernel);

/// The same operation as conv_same.
FMCW_DEMOD_EXPORT std::vector<float> conv_float(const std::vector<float>& signal,
                                                const std::vector<float>& kernel);

/// conv_same in double precision.
FMCW_DEMOD_EXPORT std::vector<double> conv_same_double(const std::vector<double>& signal,
                                                       const std::vector<double>& kernel);

/// Phase [rad] from frequency [Hz] over time [s] by trapezoids, 0 at the first element; one element
/// per time. Frequencies past the shorter vector's end are not read: the result then repeats its
/// last value.
FMCW_DEMOD_EXPORT std::vector<double> cumtrapz_phase(const std::vector<float>& time,
                                                     const std::vector<float>& frequency);

/// Phase [rad] from frequency [Hz] at a fixed sample interval [s], accumulated in float.
FMCW_DEMOD_EXPORT std::vector<float> cumtrapz_phase(double sample_interval,
                                                    const std::vector<float>& frequency);

/// Cumulative trapezoid integral, 0 at the first element; one element per abscissa. A shorter
/// ordinate is treated as in cumtrapz_phase.
FMCW_DEMOD_EXPORT std::vector<double> cumtrapz(const std::vector<float>& abscissa,
                                               const std::vector<float>& ordinate);

/// Least-squares line through the points: {slope, intercept}, from plain sums in double. Empty when
/// the vectors differ in length, are empty, or the determinant n Sxx - Sx^2 is at most the smallest
/// normal double in magnitude (a single point, equal abscissae).
FMCW_DEMOD_EXPORT std::vector<float> polyfit_1(const std::vector<float>& abscissa,
                                               const std::vector<float>& ordinate);

/// Removes jumps of 2 pi: each element moves by the multiple of 2 pi that brings it nearest to its
/// corrected predecessor; a step of exactly pi stays. `output` becomes the unwrapped copy of
/// `input` and may be the same vector. A NaN spoils every element after it.
FMCW_DEMOD_EXPORT void mm_unwrap(std::vector<float>& input, std::vector<float>& output);
/// The same in double precision.
FMCW_DEMOD_EXPORT void mm_unwrap(std::vector<double>& input, std::vector<double>& output);

/// Power of a block of samples and of each bin of its spectrum.
///
/// signal     N samples; none: the outputs stay as they were
/// freq       replaced by N bin frequencies [Hz], ascending from about -fs / 2
/// power_db   replaced by N bin powers 10 log10((|X| / N)^2 / impedance * 1000) [dBm],
///            -infinity for an empty bin
/// fs         sample rate [Hz]
/// impedance  reference [ohm]; 0 or less: powers are not divided
///
/// Returns the total power [dBm], the mean of |x|^2 by Parseval's relation; -infinity for no
/// samples or silence.
FMCW_DEMOD_EXPORT float calculate_channel_power_db(const std::vector<sample_t>& signal,
                                                   std::vector<float>& freq,
                                                   std::vector<float>& power_db, float fs,
                                                   float impedance);

}  // namespace orn::fmcw_demod_lib::basefunc
