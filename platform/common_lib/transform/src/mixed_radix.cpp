#include "mixed_radix.h"

#include "butterfly.h"
#include "point.h"
#include "twiddles.h"

#include <simd/dispatch.h>
#include <simd/vector.h>

#include <array>
#include <bit>
#include <span>
#include <type_traits>
#include <utility>

namespace orn::common_lib {

using memory::planes_t;
using simd::dispatch;
using simd::vector_t;
using simd::width_of;

namespace {

/// Primes with a butterfly besides 2, which is taken in radices 8, 4 and 2. Double precision serves
/// smooth lengths alone.
template <class T>
constexpr std::array<std::size_t, 5> odd_radices = {3, 5, 7, 11, 13};
template <>
constexpr std::array<std::size_t, 2> odd_radices<double> = {3, 5};

/// One pass: `stride` interleaved transforms of `points` points each become Radix * stride
/// interleaved transforms of points / Radix points. The stride counts the lanes in. Only a first
/// pass may read another series than one that lies interleaved.
template <class T, class Series>
struct pass_t {
  Series in;
  T* out_re;
  T* out_im;
  std::size_t points;
  std::size_t stride;
  std::span<const std::complex<T>> twiddles;  ///< of the whole transform
  std::size_t twiddle_step;                   ///< from a column's twiddle to the next column's

  template <std::size_t Radix>
  ORN_KERNEL std::array<point_t<T>, Radix> butterfly_roots() const {
    std::array<point_t<T>, Radix> result;
    for (std::size_t k = 0; k < Radix; ++k) {
      result[k] = point(twiddles[k * (twiddles.size() / Radix)]);
    }
    return result;
  }

  ORN_KERNEL point_t<T> twiddle(std::size_t column, std::size_t c) const {
    // Read as numbers, each of which goes to all elements of a register on its way from memory.
    const auto* const parts =
        reinterpret_cast<const T*>(twiddles.data() + column * twiddle_step * c);
    return {parts[0], parts[1]};
  }
};

/// One column of a pass, all of whose transforms have the same twiddles, from transform `q` on as
/// far as whole values go.
template <std::size_t Radix, bool Twiddled, class Value, class T, class Series>
ORN_KERNEL inline void transform_column(const pass_t<T, Series>& pass, std::size_t column,
                                        const std::array<point_t<T>, Radix>& butterfly_roots,
                                        std::size_t q) {
  const std::size_t columns = pass.points / Radix;
  T* const out_re = pass.out_re + pass.stride * Radix * column;
  T* const out_im = pass.out_im + pass.stride * Radix * column;
  constexpr std::size_t width = width_of<Value, T>;
  for (; q + width <= pass.stride; q += width) {
    std::array<point_t<Value>, Radix> a;
    for (std::size_t r = 0; r < Radix; ++r) {
      a[r] = pass.in.template at<Value>(column + columns * r, q, pass.stride);
    }
    butterfly<Radix, Value, T>(a, butterfly_roots);
    for (std::size_t c = 0; c < Radix; ++c) {
      // Column 0 has twiddles of 1: multiplying by 1 + 0i would let one infinity spoil a bin twice.
      const point_t<Value> out = Twiddled && c != 0 ? a[c] * pass.twiddle(column, c) : a[c];
      simd::store(out.re, out_re + q + pass.stride * c);
      simd::store(out.im, out_im + q + pass.stride * c);
    }
  }
}

/// All columns of a pass, from transform `q` on as far as whole values go. Returns the first
/// transform that is left.
template <std::size_t Radix, class Value, class T, class Series>
ORN_KERNEL inline std::size_t transform_columns(const pass_t<T, Series>& pass, std::size_t q) {
  const auto butterfly_roots = pass.template butterfly_roots<Radix>();
  transform_column<Radix, false, Value>(pass, 0, butterfly_roots, q);
  for (std::size_t column = 1; column < pass.points / Radix; ++column) {
    transform_column<Radix, true, Value>(pass, column, butterfly_roots, q);
  }
  return pass.stride - (pass.stride - q) % width_of<Value, T>;
}

template <std::size_t Radix, class T, class Series>
void run(const pass_t<T, Series>& pass) {
  std::size_t rest = 0;
  dispatch([&pass, &rest](auto on) ORN_KERNEL {
    const pass_t<T, Series> local = pass;
    rest = transform_columns<Radix, vector_t<T, decltype(on)>>(local, 0);
  });
  // What does not fill a register is done once for all targets.
  if (rest < pass.stride) {
    transform_columns<Radix, T>(pass, rest);
  }
}

template <std::size_t... Radices, class T, class Series>
void run_one_of(std::index_sequence<Radices...> /*all*/, std::size_t radix,
                const pass_t<T, Series>& pass) {
  ((radix == Radices ? run<Radices>(pass) : void()), ...);
}

template <class T, class Series>
void run(std::size_t radix, const pass_t<T, Series>& pass) {
  using served_t =
      std::conditional_t<std::is_same_v<T, float>, std::index_sequence<1, 2, 3, 4, 5, 7, 8, 11, 13>,
                         std::index_sequence<1, 2, 3, 4, 5, 8>>;
  run_one_of(served_t{}, radix, pass);
}

/// Takes every factor `radix` out of `length` and returns what is left.
std::size_t without_factor(std::size_t length, std::size_t radix) {
  while (length % radix == 0) {
    length /= radix;
  }
  return length;
}

/// Radices of the passes: powers of two first and in eights, which do most work per visit of the
/// data, with fours or a two for what eights leave over. A single point takes one pass of radix 1.
template <class T>
std::vector<std::size_t> radices_of(std::size_t length) {
  if (length == 1) {
    return {1};
  }
  int twos = std::countr_zero(length);
  std::vector<std::size_t> radices;
  for (; twos % 3 != 0 && twos > 1; twos -= 2) {
    radices.push_back(4);
  }
  if (twos == 1) {
    radices.push_back(2);
  }
  radices.insert(radices.end(), static_cast<std::size_t>(twos / 3), 8);
  for (const std::size_t radix : odd_radices<T>) {
    for (; length % radix == 0; length /= radix) {
      radices.push_back(radix);
    }
  }
  return radices;
}

}  // namespace

std::size_t smooth_length(std::size_t minimum) {
  std::size_t length = minimum;
  while (!mixed_radix_dft_t<double>::serves(length)) {
    ++length;
  }
  return length;
}

template <class T>
bool mixed_radix_dft_t<T>::serves(std::size_t length) {
  length = without_factor(length, 2);
  for (const std::size_t radix : odd_radices<T>) {
    length = without_factor(length, radix);
  }
  return length == 1;
}

template <class T>
mixed_radix_dft_t<T>::mixed_radix_dft_t(std::size_t length)
    : radices_(radices_of<T>(length)), twiddles_(length) {
  fill_twiddles<T>(twiddles_);
}

template <class T>
template <class Series>
void mixed_radix_dft_t<T>::forward(const Series& series, planes_t<T>& data, std::size_t lanes) {
  passed_.resize(data.size());
  std::size_t points = length();
  std::size_t stride = lanes;
  const auto pass_on = [&](std::size_t radix, const auto& in, planes_t<T>& out) {
    run(radix, pass_t<T, std::decay_t<decltype(in)>>{in, out.re.data(), out.im.data(), points,
                                                     stride, twiddles_, stride / lanes});
    points /= radix;
    stride *= radix;
  };
  pass_on(radices_.front(), series, passed_);
  data.swap(passed_);
  for (const std::size_t radix : std::span(radices_).subspan(1)) {
    const interleaved_t<T> in{data.re.data(), data.im.data()};
    // The last pass puts bins where it has taken elements from, which is in the cache.
    if (points == radix) {
      pass_on(radix, in, data);
    } else {
      pass_on(radix, in, passed_);
      data.swap(passed_);
    }
  }
}

template class mixed_radix_dft_t<float>;
template class mixed_radix_dft_t<double>;

template void mixed_radix_dft_t<float>::forward(const interleaved_t<float>&, planes_t<float>&,
                                                std::size_t);
template void mixed_radix_dft_t<float>::forward(const weighted_t&, planes_t<float>&, std::size_t);

using double_dft_t = mixed_radix_dft_t<double>;
using products_t = conjugate_product_t<shared_t<double>>;
using own_products_t = conjugate_product_t<interleaved_t<double>>;
template void double_dft_t::forward(const interleaved_t<double>&, planes_t<double>&, std::size_t);
template void double_dft_t::forward(const chirped_t<interleaved_t<float>>&, planes_t<double>&,
                                    std::size_t);
template void double_dft_t::forward(const chirped_t<weighted_t>&, planes_t<double>&, std::size_t);
template void double_dft_t::forward(const products_t&, planes_t<double>&, std::size_t);
template void double_dft_t::forward(const own_products_t&, planes_t<double>&, std::size_t);

}  // namespace orn::common_lib
