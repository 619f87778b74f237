#include "dft.h"

#include "dispatch.h"
#include "point.h"
#include "roots.h"
#include "vector.h"

#include <algorithm>
#include <array>
#include <bit>
#include <numbers>
#include <utility>

namespace orn::common_lib {
namespace {

/// Primes with a butterfly besides 2, which is taken in radices 8, 4 and 2.
constexpr std::array<std::size_t, 5> odd_radices = {3, 5, 7, 11, 13};

/// In-place DFT of Radix points, the innermost step of a pass. `roots` holds exp(-2 pi i k / Radix)
/// and serves odd radices only. A value is a number or a register full of them.
template <std::size_t Radix, class Value, class T>
ORN_KERNEL inline void butterfly(std::array<point_t<Value>, Radix>& a,
                                 [[maybe_unused]] const std::array<point_t<T>, Radix>& roots) {
  if constexpr (Radix == 2) {
    a = {a[0] + a[1], a[0] - a[1]};
  } else if constexpr (Radix == 4) {
    const auto sum_even = sum_by_product(a[0], a[2]);
    const auto difference_even = a[0] - a[2];
    const auto sum_odd = sum_by_product(a[1], a[3]);
    const auto difference_odd = times_minus_i(a[1] - a[3]);
    a = {sum_even + sum_odd, difference_even + difference_odd, sum_even - sum_odd,
         difference_even - difference_odd};
  } else if constexpr (Radix == 8) {
    std::array<point_t<Value>, 4> even = {a[0], a[2], a[4], a[6]};
    std::array<point_t<Value>, 4> odd = {a[1], a[3], a[5], a[7]};
    butterfly<4, Value, T>(even, {});
    butterfly<4, Value, T>(odd, {});
    constexpr T half_root = std::numbers::sqrt2_v<T> / 2;
    odd[1] = {(odd[1].re + odd[1].im) * half_root, (odd[1].im - odd[1].re) * half_root};
    odd[2] = times_minus_i(odd[2]);
    odd[3] = {(odd[3].im - odd[3].re) * half_root, (-odd[3].re - odd[3].im) * half_root};
    a = {sum_by_product(even[0], odd[0]),
         sum_by_product(even[1], odd[1]),
         sum_by_product(even[2], odd[2]),
         sum_by_product(even[3], odd[3]),
         even[0] - odd[0],
         even[1] - odd[1],
         even[2] - odd[2],
         even[3] - odd[3]};
  } else {
    // The points pair up: a[j] and a[Radix - j] meet conjugate roots in every bin, so cosines go
    // with their sum and sines with their difference, and bins k and Radix - k share both.
    constexpr std::size_t pairs = (Radix - 1) / 2;
    std::array<point_t<Value>, pairs> sum;
    std::array<point_t<Value>, pairs> difference;
    for (std::size_t j = 0; j < pairs; ++j) {
      sum[j] = a[j + 1] + a[Radix - 1 - j];
      difference[j] = times_minus_i(a[j + 1] - a[Radix - 1 - j]);
    }
    const point_t<Value> first = a[0];
    for (std::size_t j = 0; j < pairs; ++j) {
      a[0] = a[0] + sum[j];
    }
    for (std::size_t k = 1; k <= pairs; ++k) {
      point_t<Value> even = first;
      point_t<Value> odd = {};
      for (std::size_t j = 0; j < pairs; ++j) {
        const point_t<T> root = roots[k * (j + 1) % Radix];
        even = even + scaled(sum[j], root.re);
        odd = odd - scaled(difference[j], root.im);
      }
      a[k] = even + odd;
      a[Radix - k] = even - odd;
    }
  }
}

/// The angles by which the columns of a pass turn: column k turns by the root `first + k * step` of
/// a table of exp(-2 pi i j / period).
template <class T>
struct angles_t {
  const std::complex<T>* roots;
  std::size_t period;
  std::size_t first;
  std::size_t step;

  /// The angles of the pass that follows one of this radix.
  angles_t after(std::size_t radix) const { return {roots, period, first * radix, step * radix}; }
};

/// One pass: `stride` interleaved transforms of `points` points each become Radix * stride
/// interleaved transforms of points / Radix points. The stride counts the lanes in. Only a first
/// pass may read another series than one that lies interleaved.
template <class T, class Series = interleaved_t<T>>
struct pass_t {
  Series in;
  T* out_re;
  T* out_im;
  std::size_t points;
  std::size_t stride;
  angles_t<T> angles;

  template <std::size_t Radix>
  ORN_KERNEL std::array<point_t<T>, Radix> butterfly_roots() const {
    std::array<point_t<T>, Radix> result;
    for (std::size_t k = 0; k < Radix; ++k) {
      result[k] = point(angles.roots[k * (angles.period / Radix)]);
    }
    return result;
  }

  ORN_KERNEL point_t<T> turn(std::size_t column, std::size_t c) const {
    // Read as numbers, each of which goes to all elements of a register on its way from memory.
    const auto* const root =
        reinterpret_cast<const T*>(angles.roots + (angles.first + column * angles.step) * c);
    return {root[0], root[1]};
  }
};

/// One column of a pass, all of whose transforms turn by the same angles, from transform `q` on as
/// far as whole values go.
template <std::size_t Radix, bool Turned, class Value, class T, class Series>
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
      // Column 0 turns by nothing: multiplying by 1 + 0i would let one infinity spoil a bin twice.
      const point_t<Value> turned = Turned && c != 0 ? a[c] * pass.turn(column, c) : a[c];
      store(turned.re, out_re + q + pass.stride * c);
      store(turned.im, out_im + q + pass.stride * c);
    }
  }
}

/// All columns of a pass, from transform `q` on as far as whole values go. Returns the first
/// transform that is left.
template <std::size_t Radix, class Value, class T, class Series>
ORN_KERNEL inline std::size_t transform_columns(const pass_t<T, Series>& pass, std::size_t q) {
  const auto butterfly_roots = pass.template butterfly_roots<Radix>();
  std::size_t column = 0;
  if (pass.angles.first == 0) {
    transform_column<Radix, false, Value>(pass, 0, butterfly_roots, q);
    ++column;
  }
  for (; column < pass.points / Radix; ++column) {
    transform_column<Radix, true, Value>(pass, column, butterfly_roots, q);
  }
  return pass.stride - (pass.stride - q) % width_of<Value, T>;
}

/// The first pass of a single series, whose columns hold one element each and go side by side.
template <std::size_t Radix, class Value, class T>
ORN_KERNEL inline std::size_t transform_single_columns(const pass_t<T>& pass, std::size_t column) {
  const auto butterfly_roots = pass.template butterfly_roots<Radix>();
  const std::size_t row = pass.points / Radix;
  constexpr std::size_t width = width_of<Value, T>;
  for (; column + width <= row; column += width) {
    std::array<point_t<Value>, Radix> a;
    for (std::size_t r = 0; r < Radix; ++r) {
      a[r] = pass.in.template at<Value>(column + row * r, 0, 1);
    }
    butterfly<Radix, Value, T>(a, butterfly_roots);
    for (std::size_t c = 0; c < Radix; ++c) {
      std::array<T, width> re;
      std::array<T, width> im;
      store(a[c].re, re.data());
      store(a[c].im, im.data());
      for (std::size_t i = 0; i < width; ++i) {
        point_t<T> turned = {re[i], im[i]};
        if (c != 0) {
          turned = turned * pass.turn(column + i, c);
        }
        pass.out_re[Radix * (column + i) + c] = turned.re;
        pass.out_im[Radix * (column + i) + c] = turned.im;
      }
    }
  }
  return column;
}

/// Transforms that fill a cache line and every register.
template <class T>
constexpr std::size_t full_unit = 64 / sizeof(T);

template <std::size_t Radix, class T>
void run(const pass_t<T>& pass) {
  // What does not fill a register is done once for all targets.
  std::size_t rest = 0;
  if (pass.stride == 1) {
    transform_column<Radix, false, T>(pass, 0, pass.template butterfly_roots<Radix>(), 0);
    dispatch([&pass, &rest](auto on) ORN_KERNEL {
      const pass_t<T> local = pass;
      rest = transform_single_columns<Radix, vector_t<T, decltype(on)>>(local, 1);
    });
    transform_single_columns<Radix, T>(pass, rest);
  } else {
    dispatch([&pass, &rest](auto on) ORN_KERNEL {
      const pass_t<T> local = pass;
      rest = transform_columns<Radix, vector_t<T, decltype(on)>>(local, 0);
    });
    if (rest < pass.stride) {
      transform_columns<Radix, T>(pass, rest);
    }
  }
}

/// A first pass, whose lanes fill one unit: a stride that the compiler knows spares it addresses.
template <std::size_t Radix, class T, class Series>
void run(const pass_t<T, Series>& pass) {
  dispatch([&pass](auto on) ORN_KERNEL {
    auto unit_pass = pass;
    unit_pass.stride = full_unit<T>;
    transform_columns<Radix, vector_t<T, decltype(on)>>(unit_pass, 0);
  });
}

template <class T, class Series>
void run(std::size_t radix, const pass_t<T, Series>& pass) {
  switch (radix) {
    case 2:
      return run<2>(pass);
    case 3:
      return run<3>(pass);
    case 4:
      return run<4>(pass);
    case 5:
      return run<5>(pass);
    case 7:
      return run<7>(pass);
    case 8:
      return run<8>(pass);
    case 11:
      return run<11>(pass);
    default:
      return run<13>(pass);
  }
}

/// Runs passes on `data` from a state of `stride` interleaved transforms of `points` points each,
/// `passed` being the other buffer.
template <class T>
void run_passes(std::span<const std::size_t> radices, std::size_t points, std::size_t stride,
                angles_t<T> angles, planes_t<T>& data, planes_t<T>& passed) {
  for (const std::size_t radix : radices) {
    // The last pass puts bins where it has taken elements from, which is in the cache.
    const std::size_t columns = points / radix;
    planes_t<T>& out = columns == 1 ? data : passed;
    run(radix, pass_t<T>{{data.re.data(), data.im.data()},
                         out.re.data(),
                         out.im.data(),
                         points,
                         stride,
                         angles});
    if (columns != 1) {
      data.swap(passed);
    }
    points = columns;
    stride *= radix;
    angles = angles.after(radix);
  }
}

/// Elements of a plane up to which passes go over all of it at once.
template <class T>
constexpr std::size_t cached = (std::size_t{1} << 19) / sizeof(T);

/// Computes the elements of series, as many as there are lanes, where passes read them.
template <class T, class Series>
void write_out(const Series& series, std::size_t length, std::size_t lanes, planes_t<T>& data) {
  dispatch([=, re = data.re.data(), im = data.im.data()](auto on) ORN_KERNEL {
    using value_t = vector_t<T, decltype(on)>;
    const auto write = [=]<class Value>(Value, std::size_t i, std::size_t l, std::size_t pitch)
                           ORN_KERNEL {
                             const point_t<Value> element = series.template at<Value>(i, l, pitch);
                             store(element.re, re + i * pitch + l);
                             store(element.im, im + i * pitch + l);
                           };
    if (lanes == 1) {  // the elements follow one another
      for (std::size_t i = 0; i < length; ++i) {
        write(T{}, i, 0, 1);
      }
      return;
    }
    const std::size_t whole = lanes - lanes % width_of<value_t, T>;
    for (std::size_t i = 0; i < length; ++i) {
      for (std::size_t l = 0; l < whole; l += width_of<value_t, T>) {
        write(value_t{}, i, l, lanes);
      }
      for (std::size_t l = whole; l < lanes; ++l) {
        write(T{}, i, l, lanes);
      }
    }
  });
}

/// Copies `count` full units, which lie `from_pitch` and `to_pitch` apart.
template <class T>
void copy_units(const T* from, std::size_t from_pitch, T* to, std::size_t to_pitch,
                std::size_t count) {
  dispatch([=](auto on) ORN_KERNEL {
    using value_t = vector_t<T, decltype(on)>;
    for (std::size_t k = 0; k < count; ++k) {
      for (std::size_t i = 0; i < full_unit<T>; i += width_of<value_t, T>) {
        store(load<value_t>(from + k * from_pitch + i), to + k * to_pitch + i);
      }
    }
  });
}

/// Takes every factor `radix` out of `length` and returns what is left.
std::size_t without_factor(std::size_t length, std::size_t radix) {
  while (length % radix == 0) {
    length /= radix;
  }
  return length;
}

/// Radices of the passes: powers of two first and in eights, which do most work per visit of the
/// data, with fours or a two for what eights leave over.
std::vector<std::size_t> radices_of(std::size_t length) {
  int twos = std::countr_zero(length);
  std::vector<std::size_t> radices;
  for (; twos % 3 != 0 && twos > 1; twos -= 2) {
    radices.push_back(4);
  }
  if (twos == 1) {
    radices.push_back(2);
  }
  radices.insert(radices.end(), static_cast<std::size_t>(twos / 3), 8);
  for (const std::size_t radix : odd_radices) {
    for (; length % radix == 0; length /= radix) {
      radices.push_back(radix);
    }
  }
  return radices;
}

/// exp(-2 pi i k / n) for all k. What symmetry gives is not computed: the values are those of
/// root_of_unity, signs of zeros included.
template <class T>
void fill_roots(std::span<std::complex<T>> roots) {
  const std::size_t n = roots.size();
  if (n % 4 != 0) {
    for (std::size_t k = 0; k <= n / 2; ++k) {
      roots[k] = std::complex<T>(root_of_unity(k, n));
    }
    for (std::size_t k = n / 2 + 1; k < n; ++k) {
      roots[k] = std::conj(roots[n - k]);
    }
    return;
  }
  // The quarter q of root_of_unity holds k from q n / 4 - n / 8, included, to q n / 4 + n / 8.
  // Within it the root is a quarter turn's power times that of k - q n / 4, of which the sign goes
  // with the sine.
  const std::size_t quarter = n / 4;
  const std::size_t eighth = n / 8;
  for (std::size_t k = 0; k <= eighth; ++k) {
    const std::complex<T> below(root_of_unity(n - k, n));  // cosine and sine of a positive angle
    const T c = below.real();
    const T s = k == 0 ? T(0) : below.imag();
    const bool inside = 8 * k < n;
    if (inside) {
      roots[k] = {c, -s};
      roots[quarter + k] = {-s, -c};
      roots[2 * quarter + k] = {-c, s};
      roots[3 * quarter + k] = {s, c};
    }
    if (k != 0) {
      roots[n - k] = {c, s};
      roots[quarter - k] = {s, -c};
      roots[2 * quarter - k] = {-c, -s};
      roots[3 * quarter - k] = {-s, c};
    }
  }
}

}  // namespace

template <class T>
bool mixed_radix_dft_t<T>::serves(std::size_t length) {
  length = without_factor(length, 2);
  for (const std::size_t radix : odd_radices) {
    length = without_factor(length, radix);
  }
  return length == 1;
}

template <class T>
std::size_t mixed_radix_dft_t<T>::smooth_length(std::size_t minimum) {
  std::size_t length = minimum;
  while (without_factor(without_factor(without_factor(length, 2), 3), 5) != 1) {
    ++length;
  }
  return length;
}

template <class T>
mixed_radix_dft_t<T>::mixed_radix_dft_t(std::size_t length)
    : radices_(radices_of(length)), roots_(length) {
  fill_roots<T>(roots_);
}

template <class T>
void mixed_radix_dft_t<T>::forward(planes_t<T>& data, std::size_t lanes) {
  // Beyond the cache a pass costs what it moves. There passes are made in blocks: first several at
  // once on the few points that they combine, then all that are left on each remaining transform.
  constexpr std::size_t unit = full_unit<T>;
  passed_.resize(data.size());
  state_t state{0, length(), lanes};
  const bool in_blocks = data.size() > cached<T>;
  while (state.pass < radices_.size()) {
    std::size_t passes = in_blocks ? 1 : radices_.size() - state.pass;
    if (in_blocks && state.stride % unit == 0) {
      if (state.points * unit <= cached<T>) {
        finish_in_blocks(state, lanes, data);
        return;
      }
      std::size_t group = radices_[state.pass];
      while (state.points / group * unit > cached<T> && group < 64) {
        group *= radices_[state.pass + passes++];
      }
    }
    const auto radices = std::span(radices_).subspan(state.pass, passes);
    const angles_t<T> angles{roots_.data(), length(), 0, state.stride / lanes};
    if (in_blocks && passes > 1) {
      pass_in_blocks(radices, state, angles.step, data);
    } else {
      run_passes<T>(radices, state.points, state.stride, angles, data, passed_);
    }
    for (const std::size_t radix : radices) {
      state.points /= radix;
      state.stride *= radix;
    }
    state.pass += passes;
  }
}

template <class T>
template <class Series>
void mixed_radix_dft_t<T>::forward(const Series& series, planes_t<T>& data, std::size_t lanes) {
  // Not to where series may be read from, which a compiler would fear at every element.
  passed_.resize(data.size());
  if (radices_.empty() || lanes != full_unit<T> || data.size() > cached<T>) {
    write_out(series, length(), lanes, passed_);
    data.swap(passed_);
    forward(data, lanes);
    return;
  }
  const angles_t<T> angles{roots_.data(), length(), 0, 1};
  const std::size_t radix = radices_.front();
  run(radix,
      pass_t<T, Series>{series, passed_.re.data(), passed_.im.data(), length(), lanes, angles});
  data.swap(passed_);
  run_passes<T>(std::span(radices_).subspan(1), length() / radix, lanes * radix,
                angles.after(radix), data, passed_);
}

/// Several passes over all the data, a full unit of the points that they combine at a time.
template <class T>
void mixed_radix_dft_t<T>::pass_in_blocks(std::span<const std::size_t> radices,
                                          const state_t& state, std::size_t angle_step,
                                          planes_t<T>& data) {
  constexpr std::size_t unit = full_unit<T>;
  std::size_t combined = 1;
  for (const std::size_t radix : radices) {
    combined *= radix;
  }
  const std::size_t columns = state.points / combined;
  block_.resize(combined * unit);
  block_passed_.resize(combined * unit);
  for (std::size_t column = 0; column < columns; ++column) {
    for (std::size_t q = 0; q < state.stride; q += unit) {
      const std::size_t from = q + state.stride * column;
      copy_units(&data.re[from], state.stride * columns, block_.re.data(), unit, combined);
      copy_units(&data.im[from], state.stride * columns, block_.im.data(), unit, combined);
      run_passes<T>(radices, combined, unit,
                    {roots_.data(), length(), column * angle_step, columns * angle_step}, block_,
                    block_passed_);
      const std::size_t to = q + state.stride * combined * column;
      copy_units(block_.re.data(), unit, &passed_.re[to], state.stride, combined);
      copy_units(block_.im.data(), unit, &passed_.im[to], state.stride, combined);
    }
  }
  data.swap(passed_);
}

/// All passes that are left, a full unit of transforms at a time.
template <class T>
void mixed_radix_dft_t<T>::finish_in_blocks(const state_t& state, std::size_t lanes,
                                            planes_t<T>& data) {
  constexpr std::size_t unit = full_unit<T>;
  const std::size_t points = state.points;
  scratch_t<std::complex<T>> roots(points);
  for (std::size_t k = 0; k < points; ++k) {
    roots[k] = roots_[k * (state.stride / lanes)];
  }
  block_.resize(points * unit);
  block_passed_.resize(points * unit);
  for (std::size_t q = 0; q < state.stride; q += unit) {
    copy_units(&data.re[q], state.stride, block_.re.data(), unit, points);
    copy_units(&data.im[q], state.stride, block_.im.data(), unit, points);
    run_passes<T>(std::span(radices_).subspan(state.pass), points, unit,
                  {roots.data(), points, 0, 1}, block_, block_passed_);
    copy_units(block_.re.data(), unit, &data.re[q], state.stride, points);
    copy_units(block_.im.data(), unit, &data.im[q], state.stride, points);
  }
}

dft_t::method_t dft_t::method_for(std::size_t length) {
  if (mixed_radix_dft_t<float>::serves(length)) {
    return method_t(std::in_place_type<mixed_radix_dft_t<float>>, length);
  }
  if (length <= longest_in_lanes) {
    return method_t(std::in_place_type<bluestein_dft_t>, length);
  }
  return method_t(std::in_place_type<long_bluestein_dft_t>, length);
}

dft_t::dft_t(std::size_t length) : length_(length), method_(method_for(length)) {}

std::size_t dft_t::good_lanes() const {
  if (length_ > longest_in_lanes) {
    return 1;
  }
  return std::holds_alternative<bluestein_dft_t>(method_) ? full_unit<double> : full_unit<float>;
}

void dft_t::forward(planes_t<float>& data, std::size_t lanes) {
  std::visit([&](auto& method) { method.forward(data, lanes); }, method_);
}

void dft_t::forward(const weighted_series_t& series, planes_t<float>& data, std::size_t lanes) {
  if (auto* const mixed_radix = std::get_if<mixed_radix_dft_t<float>>(&method_)) {
    mixed_radix->forward(series, data, lanes);
  } else if (auto* const bluestein = std::get_if<bluestein_dft_t>(&method_)) {
    bluestein->forward(series, data, lanes);
  } else {
    write_out(series, length_, lanes, data);
    forward(data, lanes);
  }
}

void dft_t::forward(std::span<std::complex<float>> data) {
  planes_.resize(data.size());
  for (std::size_t k = 0; k < data.size(); ++k) {
    planes_.re[k] = data[k].real();
    planes_.im[k] = data[k].imag();
  }
  forward(planes_, 1);
  for (std::size_t k = 0; k < data.size(); ++k) {
    data[k] = {planes_.re[k], planes_.im[k]};
  }
}

template class mixed_radix_dft_t<double>;

using transform_t = mixed_radix_dft_t<double>;
using products_t = conjugate_product_t<shared_t<double>>;
using own_products_t = conjugate_product_t<interleaved_t<double>>;
template void transform_t::forward(const interleaved_t<double>&, planes_t<double>&, std::size_t);
template void transform_t::forward(const chirped_t<interleaved_t<float>>&, planes_t<double>&,
                                   std::size_t);
template void transform_t::forward(const chirped_t<weighted_series_t>&, planes_t<double>&,
                                   std::size_t);
template void transform_t::forward(const products_t&, planes_t<double>&, std::size_t);
template void transform_t::forward(const own_products_t&, planes_t<double>&, std::size_t);

}  // namespace orn::common_lib
