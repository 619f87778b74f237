#include "bluestein.h"

#include "series.h"
#include "twiddles.h"

#include <simd/dispatch.h>

#include <algorithm>

namespace orn::common_lib {

using memory::planes_t;

namespace {

/// x = conj(y) c in single precision, the second half of an inverse transform.
void conjugate_and_multiply(const planes_t<double>& y, const planes_t<double>& c,
                            planes_t<float>& x, std::size_t lanes) {
  simd::dispatch([y_re = y.re.data(), y_im = y.im.data(), c_re = c.re.data(), c_im = c.im.data(),
                  x_re = x.re.data(), x_im = x.im.data(), count = c.size(), lanes](auto /*on*/)
                     ORN_KERNEL {
                       for (std::size_t k = 0; k < count; ++k) {
                         const point_t<double> factor{c_re[k], c_im[k]};
                         for (std::size_t i = k * lanes; i < (k + 1) * lanes; ++i) {
                           const auto z = conjugate(point_t<double>{y_re[i], y_im[i]}) * factor;
                           x_re[i] = static_cast<float>(z.re);
                           x_im[i] = static_cast<float>(z.im);
                         }
                       }
                     });
}

}  // namespace

bluestein_dft_t::bluestein_dft_t(std::size_t length)
    : dft_(smooth_length(2 * length - 1)),
      chirp_(
          make_chirp(length, [length](std::uint64_t j) { return point(twiddle(j, 2 * length)); })) {
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
void bluestein_dft_t::forward(const Series& series, planes_t<float>& data, std::size_t lanes) {
  convolved_.resize(kernel_.size() * lanes);
  const shared_t<double> chirp{chirp_.re.data(), chirp_.im.data()};
  dft_.forward(chirped_t<Series>{series, chirp, chirp_.size()}, convolved_, lanes);
  const interleaved_t<double> spectra{convolved_.re.data(), convolved_.im.data()};
  const shared_t<double> kernel{kernel_.re.data(), kernel_.im.data()};
  dft_.forward(conjugate_product_t<shared_t<double>>{spectra, kernel}, convolved_, lanes);
  conjugate_and_multiply(convolved_, chirp_, data, lanes);
}

template void bluestein_dft_t::forward(const interleaved_t<float>&, planes_t<float>&, std::size_t);
template void bluestein_dft_t::forward(const weighted_t&, planes_t<float>&, std::size_t);

}  // namespace orn::common_lib
