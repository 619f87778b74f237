#include "basefunc/kernels.h"

#include <common_lib/fourier_transform.h>
#include <fmcw_demod/basefunc.h>

#include <cmath>
#include <cstddef>
#include <limits>

namespace orn::fmcw_demod_lib::basefunc {

float calculate_channel_power_db(const std::vector<sample_t>& signal, std::vector<float>& freq,
                                 std::vector<float>& power_db, float fs, float impedance) {
  if (signal.empty()) {
    return -std::numeric_limits<float>::infinity();
  }
  std::vector<sample_t> bins = signal;
  common_lib::lib_fourier_transform_t::deal_fft(bins, 0);
  common_lib::lib_fourier_transform_t::fft_shift(bins);

  const auto points = static_cast<float>(bins.size());
  const double centre = static_cast<double>(bins.size()) * 0.5;
  const double spacing = fs / points;  // Hz, rounded to float
  freq.resize(bins.size());
  power_db.resize(bins.size());
  double total = 0.0;
  for (std::size_t i = 0; i < bins.size(); ++i) {
    freq[i] = static_cast<float>((static_cast<double>(static_cast<float>(i)) - centre) * spacing);
    const float amplitude = kernels::magnitude(bins[i]) / points;
    float power = amplitude * amplitude;
    if (impedance > 0.0F) {
      power /= impedance;
    }
    total += power;
    power_db[i] = 10.0F * kernels::log10_rounded(power * 1000.0F);
  }
  return static_cast<float>(10.0 * std::log10(total * 1000.0));
}

}  // namespace orn::fmcw_demod_lib::basefunc
