#include "bluestein.h"
#include "long_bluestein.h"
#include "mixed_radix.h"
#include "series.h"

#include <transform/dft.h>

#include <variant>

namespace orn::common_lib {

using memory::planes_t;

/// Longer series are long enough by themselves: several at once would only fill the cache.
constexpr std::size_t longest_in_lanes = 16384;

struct dft_t::method_t {
  using variant_t = std::variant<mixed_radix_dft_t<float>, bluestein_dft_t, long_bluestein_dft_t>;

  explicit method_t(std::size_t points) : length(points), variant(variant_for(points)) {}

  static variant_t variant_for(std::size_t points) {
    if (mixed_radix_dft_t<float>::serves(points)) {
      return variant_t(std::in_place_type<mixed_radix_dft_t<float>>, points);
    }
    if (points <= longest_in_lanes) {
      return variant_t(std::in_place_type<bluestein_dft_t>, points);
    }
    return variant_t(std::in_place_type<long_bluestein_dft_t>, points);
  }

  template <class Series>
  void forward(const Series& series, planes_t<float>& data, std::size_t lanes) {
    std::visit([&](auto& dft) { dft.forward(series, data, lanes); }, variant);
  }

  std::size_t length;
  variant_t variant;
  planes_t<float> planes;  ///< of a series that comes as complex numbers
};

dft_t::dft_t(std::size_t length) : method_(std::make_unique<method_t>(length)) {}

dft_t::~dft_t() = default;

std::size_t dft_t::good_lanes() const {
  if (method_->length > longest_in_lanes) {
    return 1;
  }
  constexpr std::size_t cache_line = 64;
  return cache_line / (std::holds_alternative<bluestein_dft_t>(method_->variant) ? sizeof(double)
                                                                                 : sizeof(float));
}

void dft_t::forward(planes_t<float>& data, std::size_t lanes) {
  method_->forward(interleaved_t<float>{data.re.data(), data.im.data()}, data, lanes);
}

void dft_t::forward(const weighted_series_t& series, planes_t<float>& data, std::size_t lanes) {
  method_->forward(weighted_t{series}, data, lanes);
}

void dft_t::forward(std::span<std::complex<float>> data) {
  planes_t<float>& planes = method_->planes;
  planes.resize(data.size());
  for (std::size_t k = 0; k < data.size(); ++k) {
    planes.re[k] = data[k].real();
    planes.im[k] = data[k].imag();
  }
  forward(planes, 1);
  for (std::size_t k = 0; k < data.size(); ++k) {
    data[k] = {planes.re[k], planes.im[k]};
  }
}

}  // namespace orn::common_lib
