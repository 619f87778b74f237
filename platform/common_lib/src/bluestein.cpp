#include "bluestein.h"

#include "dft.h"
#include "dispatch.h"
#include "roots.h"

#include <algorithm>

namespace orn::common_lib {
namespace {

/// y = x c, each factor shared by `lanes` elements.
void multiply(plane_pointers_t<const float> x, source_t c, sink_t y, std::size_t count,
              std::size_t lanes) {
  dispatch([=](auto /*on*/) ORN_KERNEL {
    for (std::size_t k = 0; k < count; ++k) {
      const point_t<double> factor{c.re[k], c.im[k]};
      for (std::size_t i = k * lanes; i < (k + 1) * lanes; ++i) {
        const auto z = point_t<double>{x.re[i], x.im[i]} * factor;
        y.re[i] = z.re;
        y.im[i] = z.im;
      }
    }
  });
}

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

void multiply_and_conjugate(sink_t y, source_t c, std::size_t count, std::size_t lanes) {
  dispatch([=](auto /*on*/) ORN_KERNEL {
    const auto step = [=](std::size_t i, std::size_t k) ORN_KERNEL {
      const auto z =
          conjugate(point_t<double>{y.re[i], y.im[i]} * point_t<double>{c.re[k], c.im[k]});
      y.re[i] = z.re;
      y.im[i] = z.im;
    };
    if (lanes == 1) {
      for (std::size_t k = 0; k < count; ++k) {
        step(k, k);
      }
      return;
    }
    for (std::size_t k = 0; k < count; ++k) {
      for (std::size_t i = k * lanes; i < (k + 1) * lanes; ++i) {
        step(i, k);
      }
    }
  });
}

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

void bluestein_dft_t::forward(planes_t<float>& data, std::size_t lanes) {
  convolved_.resize(kernel_.size() * lanes);
  multiply(plane_pointers_t<const float>(data), source_t(chirp_), sink_t(convolved_), chirp_.size(),
           lanes);
  const auto padding = static_cast<std::ptrdiff_t>(chirp_.size() * lanes);
  std::fill(convolved_.re.begin() + padding, convolved_.re.end(), 0.0);
  std::fill(convolved_.im.begin() + padding, convolved_.im.end(), 0.0);
  dft_.forward(convolved_, lanes);
  multiply_and_conjugate(sink_t(convolved_), source_t(kernel_), kernel_.size(), lanes);
  dft_.forward(convolved_, lanes);
  conjugate_and_multiply(source_t(convolved_), source_t(chirp_), plane_pointers_t<float>(data),
                         chirp_.size(), lanes);
}

}  // namespace orn::common_lib
