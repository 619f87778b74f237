#include "basefunc/kernels.h"

#include <float_environment/default_environment.h>
#include <fmcw_demod/basefunc.h>
#include <transform/dft.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <span>

namespace orn::fmcw_demod_lib::basefunc {
namespace {

/// Bin frequencies [Hz] around 0; for an odd count no bin sits at 0.
void fill_axis(float spacing, std::vector<float>& axis, std::size_t count) {
  axis.resize(count);
  const double centre = static_cast<double>(count) * 0.5;
  for (std::size_t i = 0; i < count; ++i) {
    axis[i] = static_cast<float>((static_cast<double>(static_cast<float>(i)) - centre) *
                                 static_cast<double>(spacing));
  }
}

float channel_power(const std::vector<sample_t>& signal, std::vector<float>& freq,
                    std::vector<float>& power_db, float fs, float impedance) {
  if (signal.empty()) {
    return -std::numeric_limits<float>::infinity();
  }
  const std::size_t count = signal.size();
  memory::planes_t<float> bins;
  bins.resize(count);
  for (std::size_t i = 0; i < count; ++i) {
    bins.re[i] = signal[i].real();
    bins.im[i] = signal[i].imag();
  }
  common_lib::dft_t(count).forward(bins, 1);

  const auto points = static_cast<float>(count);
  fill_axis(fs / points, freq, count);
  power_db.resize(count);
  // Negative frequencies are the second half of the bins and come first.
  const std::size_t negative = (count + 1) / 2;
  const std::span<const float> re(bins.re);
  const std::span<const float> im(bins.im);
  const std::span<float> out(power_db);
  const double below = kernels::bin_powers(re.subspan(negative), im.subspan(negative), points,
                                           impedance, 0.0, out.first(count - negative));
  const double total = kernels::bin_powers(re.first(negative), im.first(negative), points,
                                           impedance, below, out.last(negative));
  return static_cast<float>(10.0 * std::log10(total * 1000.0));
}

}  // namespace

float calculate_channel_power_db(const std::vector<sample_t>& signal, std::vector<float>& freq,
                                 std::vector<float>& power_db, float fs, float impedance) {
  return float_environment::in_default_environment(
      [&] { return channel_power(signal, freq, power_db, fs, impedance); });
}

}  // namespace orn::fmcw_demod_lib::basefunc
