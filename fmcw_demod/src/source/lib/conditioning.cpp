#include "conditioning.h"

#include "basefunc/kernels.h"

#include <memory/scratch.h>

#include <cmath>

namespace orn::fmcw_demod_lib {

double power_dbm(double squared_magnitude, float impedance) {
  return 10.0 * std::log10(squared_magnitude / impedance * 1000.0);
}

double mean_power_dbm(double sum_of_squares, std::size_t count, float impedance) {
  return count == 0 ? no_power_dbm
                    : power_dbm(sum_of_squares / static_cast<double>(count), impedance);
}

float upper_median(std::span<const float> values) {
  memory::scratch_t<float> buffer(values.size());
  return values.empty() ? 0.0F : kernels::select_rank(values, values.size() / 2, buffer);
}

}  // namespace orn::fmcw_demod_lib
