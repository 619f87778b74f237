#include <common_lib/window_function.h>
#include <float_environment/default_environment.h>

#include <cmath>
#include <cstddef>
#include <numbers>

namespace orn::common_lib {

void lib_window_function_t::generate_hamming_window(std::vector<std::complex<float>>& window,
                                                    unsigned length, bool symmetric) {
  window.assign(length, 1.0F);
  if (length < 2) {
    return;
  }
  float_environment::in_default_environment([&] {
    const double period = symmetric ? length - 1.0 : length;
    for (std::size_t i = 0; i < length; ++i) {
      const double angle = 2.0 * std::numbers::pi * static_cast<double>(i) / period;
      window[i] = static_cast<float>(0.54 - 0.46 * std::cos(angle));
    }
  });
}

}  // namespace orn::common_lib
