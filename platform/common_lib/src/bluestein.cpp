#include "bluestein.h"

#include "dft.h"
#include "dispatch.h"
#include "roots.h"

#include <algorithm>

namespace orn::common_lib {
namespace {

/// x = conj(y) c in single precision, the second half of an inverse transform.
void conjugate_and_multiply(source_t y, source_t c, plane_pointers_t<float> x, std::size_t count,
                            std::size_t lanes) {
  dispatch([=](auto /*on*/) ORN_KERNEL {
    for (std::size_t k = 0; k < count; ++k) {
      const point_t<double> factor{c.re[k], c.im[k]};
      for (std::size_t i = k * lanes; i < (k + 1) * lanes; ++i) {
        const auto z = conjugate(point_t<double>{y.re[i], y.im[i]}) * factor;
        x.re[i] = static_cast<float>(z.re);
        x.im[i] = static_cast<float>(z.im);
      }
    }
  });
}

}  // namespace

bluestein_dft_t::bluestein_dft_t(std::size_t length)
    : dft_(mixed_radix_dft_t<double>::smooth_length(2 * length - 1)),
      chirp_(make_chirp(
          length, [length](std::uint64_t j) { return point(root_of_unity(j, 2 * length)); })) {
  const double scale = 1.0 / static_cast<double>(dft_.length());
  kernel_.resize(dft_.length());
  std::fill(kernel_.re.begin(), kernel_.re.end(), 0.0);
  std::fill(kernel_.im.begin(), kernel_.im.end(), 0.0);
  for (std::size_t k = 0; k < length; ++k) {
    const std::size_t mirrored = k == 0 ? 0 : kernel_.size() - k;
    kernel_.re[k] = kernel_.re[mirrored] = chirp_.re[k] * scale;
    kernel_.im[k] = kernel_.im[mirrored] = -chirp_.im[k] * scale;
  }
  dft_.forward(kernel_, 1);
}

template <class Series>
void bluestein_dft_t::transform(const Series& series, planes_t<float>& data, std::size_t lanes) {
  convolved_.resize(kernel_.size() * lanes);
  const shared_t<double> chirp{chirp_.re.data(), chirp_.im.data()};
  dft_.forward(chirped_t<Series>{series, chirp, chirp_.size()}, convolved_, lanes);
  const interleaved_t<double> spectra{convolved_.re.data(), convolved_.im.data()};
  const shared_t<double> kernel{kernel_.re.data(), kernel_.im.data()};
  dft_.forward(conjugate_product_t<shared_t<double>>{spectra, kernel}, convolved_, lanes);
  conjugate_and_multiply(source_t(convolved_), source_t(chirp_), plane_pointers_t<float>(data),
                         chirp_.size(), lanes);
}

void bluestein_dft_t::forward(planes_t<float>& data, std::size_t lanes) {
  transform(interleaved_t<float>{data.re.data(), data.im.data()}, data, lanes);
}

void bluestein_dft_t::forward(const weighted_series_t& series, planes_t<float>& data,
                              std::size_t lanes) {
  transform(series, data, lanes);
}

}  // namespace orn::common_lib
