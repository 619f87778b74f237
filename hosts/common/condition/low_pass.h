#pragma once

#include <fmcw_demod/types.h>

#include <cstddef>
#include <span>
#include <vector>

namespace orn::fmcw_host {

/// The taps of a linear-phase low-pass: a sinc through a Kaiser window of beta 7 (J. F. Kaiser,
/// 1974), whose stop band lies 72 dB down beyond cutoff + 2.25 / count and whose gain at 0 Hz is 1.
///
/// cutoff  where the gain is 1/2, as a share of the rate, in (0, 0.5]
/// count   odd
std::vector<double> low_pass_taps(double cutoff, std::size_t count);

/// y[k] = sum over t of taps[t] x[k decimate + t], in double, for as many k as there is room for in
/// `out`: `samples` holds (out.size() - 1) decimate + taps.size() of them. The sum runs over t in
/// steps of `decimate` from 0, then from 1 and so on: outputs are computed beside each other, on
/// samples that lie beside each other.
void decimating_filter(std::span<const fmcw_demod_lib::sample_t> samples,
                       std::span<const double> taps, std::size_t decimate,
                       std::span<fmcw_demod_lib::sample_t> out);

}  // namespace orn::fmcw_host
