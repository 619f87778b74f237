#include <common_lib/fourier_transform.h>
#include <float_environment/default_environment.h>
#include <transform/dft.h>

#include <algorithm>
#include <cstddef>

namespace orn::common_lib {

void lib_fourier_transform_t::deal_fft(std::vector<std::complex<float>>& data, unsigned size) {
  if (size != 0) {
    data.resize(size);
  }
  if (!data.empty()) {
    float_environment::in_default_environment([&] { dft_t(data.size()).forward(data); });
  }
}

void lib_fourier_transform_t::fft_shift(std::vector<std::complex<float>>& data) {
  const auto negative_half = static_cast<std::ptrdiff_t>((data.size() + 1) / 2);
  std::rotate(data.begin(), data.begin() + negative_half, data.end());
}

}  // namespace orn::common_lib
