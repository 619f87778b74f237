#include "long_bluestein.h"

#include "bluestein.h"
#include "point.h"
#include "series.h"

#include <simd/dispatch.h>
#include <simd/tiles.h>
#include <simd/vector.h>

#include <algorithm>
#include <array>
#include <bit>
#include <span>
#include <type_traits>

namespace orn::common_lib {

using memory::planes_t;
using simd::dispatch;
using simd::load;
using simd::store;
using simd::vector_t;
using simd::width_of;

namespace {

/// Both planes from an element on. T is const where they are only read.
template <class T>
struct plane_pointers_t {
  using planes_type =
      std::conditional_t<std::is_const_v<T>, const planes_t<std::remove_const_t<T>>, planes_t<T>>;
  explicit plane_pointers_t(planes_type& planes, std::size_t at = 0)
      : re(planes.re.data() + at), im(planes.im.data() + at) {}
  plane_pointers_t(T* real, T* imaginary) : re(real), im(imaginary) {}
  T* re;
  T* im;
};
using source_t = plane_pointers_t<const double>;
using sink_t = plane_pointers_t<double>;

/// Columns that are transformed side by side: a cache line of them, and every register full.
constexpr std::size_t unit = 64 / sizeof(double);

/// Points of a row: eight rows, as eight columns of most series, stay in a second-level cache.
constexpr std::size_t columns = 1024;

/// Smallest number of rows for `minimum` elements that is a power of two or a little more than one
/// by threes and fives: those have the fastest transforms. Whole units of them.
std::size_t rows_for(std::size_t minimum) {
  const auto least = [minimum](std::size_t factor) {
    const std::size_t together = factor * unit * columns;
    return factor * unit * std::bit_ceil((minimum + together - 1) / together);
  };
  return std::min({least(1), least(3), least(5), least(9), least(15)});
}

/// Twiddles of a block of columns: rows[k] times lanes[k * unit + l] for lane l of row k.
struct block_twiddles_t {
  source_t rows;
  source_t lanes;
};

/// Element `l` of unit `k` and those beside it, times their twiddles.
template <class Value>
ORN_KERNEL inline point_t<Value> twiddled(source_t units, const block_twiddles_t& twiddles,
                                          std::size_t k, std::size_t l) {
  const auto at = [](source_t planes, std::size_t i) ORN_KERNEL {
    return point_t<Value>{load<Value>(planes.re + i), load<Value>(planes.im + i)};
  };
  const point_t<double> row{twiddles.rows.re[k], twiddles.rows.im[k]};
  return at(units, k * unit + l) * (at(twiddles.lanes, k * unit + l) * row);
}

using square_t = std::span<double, unit * unit>;

ORN_KERNEL inline square_t square_at(double* first) { return square_t(first, unit * unit); }

/// Transposes `unit` lines of `unit` numbers.
template <class On>
ORN_KERNEL inline void transpose_square(const double* from, square_t to) {
  constexpr std::size_t lines = On::register_bytes / sizeof(double);
  for (std::size_t column = 0; column < unit; column += simd::group_size<double>) {
    const std::array<double*, 2> rows = {&to[column * unit], &to[(column + 1) * unit]};
    for (std::size_t line = 0; line < unit; line += lines) {
      simd::transpose_strip<lines>(from + line * unit + column, unit, rows.data(), line);
    }
  }
}

/// Multiplies a block of `count` rows by its twiddles and puts its squares into the matrix.
void put_into_matrix(source_t block, const block_twiddles_t& twiddles, sink_t matrix,
                     std::size_t count) {
  dispatch([=](auto on) ORN_KERNEL {
    using value_t = vector_t<double, decltype(on)>;
    alignas(64) std::array<double, unit * unit> re;
    alignas(64) std::array<double, unit * unit> im;
    for (std::size_t first = 0; first < count; first += unit) {
      for (std::size_t i = 0; i < unit * unit; i += width_of<value_t, double>) {
        const auto z = twiddled<value_t>(block, twiddles, first + i / unit, i % unit);
        store(z.re, &re[i]);
        store(z.im, &im[i]);
      }
      transpose_square<decltype(on)>(re.data(), square_at(matrix.re + first * columns));
      transpose_square<decltype(on)>(im.data(), square_at(matrix.im + first * columns));
    }
  });
}

/// Takes a block of `count` rows out of the matrix and multiplies it by its twiddles.
void take_from_matrix(source_t matrix, const block_twiddles_t& twiddles, sink_t block,
                      std::size_t count) {
  dispatch([=](auto on) ORN_KERNEL {
    using value_t = vector_t<double, decltype(on)>;
    for (std::size_t first = 0; first < count; first += unit) {
      transpose_square<decltype(on)>(matrix.re + first * columns,
                                     square_at(block.re + first * unit));
      transpose_square<decltype(on)>(matrix.im + first * columns,
                                     square_at(block.im + first * unit));
      for (std::size_t i = 0; i < unit * unit; i += width_of<value_t, double>) {
        const auto z =
            twiddled<value_t>({block.re, block.im}, twiddles, first + i / unit, i % unit);
        store(z.re, block.re + first * unit + i);
        store(z.im, block.im + first * unit + i);
      }
    }
  });
}

/// Calls element(l) for the elements l = first ... last - 1 of a unit, of which most units have
/// all.
template <class Element>
ORN_KERNEL inline void for_each_element(std::size_t first, std::size_t last, Element element) {
  if (first == 0 && last == unit) {
    for (std::size_t l = 0; l < unit; ++l) {
      element(l);
    }
  } else {
    for (std::size_t l = first; l < last; ++l) {
      element(l);
    }
  }
}

/// Unit i of y, of `count` units: the product x c from element first + i * columns on, 0 past its
/// `length` elements.
void multiply_columns(plane_pointers_t<const float> x, source_t c, std::size_t length,
                      std::size_t first, sink_t y, std::size_t count) {
  dispatch([=](auto /*on*/) ORN_KERNEL {
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t n = std::min(first + i * columns, length);
      double* const re = y.re + i * unit;
      double* const im = y.im + i * unit;
      std::fill_n(re, unit, 0.0);
      std::fill_n(im, unit, 0.0);
      for_each_element(0, std::min(unit, length - n), [=](std::size_t l) ORN_KERNEL {
        const auto z =
            point_t<double>{x.re[n + l], x.im[n + l]} * point_t<double>{c.re[n + l], c.im[n + l]};
        re[l] = z.re;
        im[l] = z.im;
      });
    }
  });
}

/// Unit i of y, of `count` units: element n = first + i * columns of the kernel and those after it.
/// The kernel is conj(c) times `scale` for n below the `length` of c, the same backwards from the
/// end of the padded series, its element -n, and 0 between.
void mirror_columns(source_t c, std::size_t length, double scale, std::size_t first, sink_t y,
                    std::size_t count) {
  dispatch([=](auto /*on*/) ORN_KERNEL {
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t n = first + i * columns;
      const std::size_t from_end = count * columns - n;
      double* const re = y.re + i * unit;
      double* const im = y.im + i * unit;
      std::fill_n(re, unit, 0.0);
      std::fill_n(im, unit, 0.0);
      if (n < length) {
        for_each_element(0, std::min(unit, length - n), [=](std::size_t l) ORN_KERNEL {
          re[l] = c.re[n + l] * scale;
          im[l] = -c.im[n + l] * scale;
        });
      }
      if (from_end < length + unit) {
        const std::size_t absent = from_end < length ? 0 : from_end - length + 1;
        for_each_element(std::min(absent, unit), unit, [=](std::size_t l) ORN_KERNEL {
          re[l] = c.re[from_end - l] * scale;
          im[l] = -c.im[from_end - l] * scale;
        });
      }
    }
  });
}

/// x = conj(y) c in single precision, the second half of an inverse transform, unit i of y going to
/// element first + i * columns of x as far as its `length` elements go.
void conjugate_and_multiply_columns(source_t y, source_t c, plane_pointers_t<float> x,
                                    std::size_t length, std::size_t first) {
  dispatch([=](auto /*on*/) ORN_KERNEL {
    for (std::size_t i = 0; first + i * columns < length; ++i) {
      const std::size_t n = first + i * columns;
      const double* const re = y.re + i * unit;
      const double* const im = y.im + i * unit;
      for_each_element(0, std::min(unit, length - n), [=](std::size_t l) ORN_KERNEL {
        const auto z =
            conjugate(point_t<double>{re[l], im[l]}) * point_t<double>{c.re[n + l], c.im[n + l]};
        x.re[n + l] = static_cast<float>(z.re);
        x.im[n + l] = static_cast<float>(z.im);
      });
    }
  });
}

}  // namespace

long_bluestein_dft_t::long_bluestein_dft_t(std::size_t length)
    : down_(rows_for(2 * length - 1)),
      along_(columns),
      twiddles_(rows() * columns),
      chirp_(make_chirp(length, twiddle_products_t(2 * length))) {
  const std::size_t padded = rows() * columns;
  row_twiddles_.resize(rows());
  lane_twiddles_.resize(rows() * unit);
  for (std::size_t k = 0; k < rows(); ++k) {
    for (std::size_t l = 0; l < unit; ++l) {
      const point_t<double> twiddle = twiddles_(l * k);
      lane_twiddles_.re[k * unit + l] = twiddle.re;
      lane_twiddles_.im[k * unit + l] = twiddle.im;
    }
  }

  column_block_.resize(rows() * unit);
  row_block_.resize(unit * columns);
  kernel_.resize(padded);
  convolved_.resize(padded);
  const double scale = 1.0 / static_cast<double>(padded);
  transform_columns(
      [&](std::size_t column) {
        mirror_columns(source_t(chirp_), length, scale, column, sink_t(column_block_), rows());
      },
      kernel_);
  for (std::size_t at = 0; at < padded; at += row_block_.size()) {
    transform_rows(kernel_, at);
    put_rows(kernel_, at);
  }
}

/// The twiddles of a block's first column in every row.
void long_bluestein_dft_t::find_twiddles(std::size_t column) {
  for (std::size_t k = 0; k < rows(); ++k) {
    const point_t<double> twiddle = twiddles_(column * k);
    row_twiddles_.re[k] = twiddle.re;
    row_twiddles_.im[k] = twiddle.im;
  }
}

/// All columns, of which load(column) puts a unit into column_block_, transformed and multiplied by
/// their twiddles, to `matrix`.
template <class Load>
void long_bluestein_dft_t::transform_columns(Load load, planes_t<double>& matrix) {
  for (std::size_t column = 0; column < columns; column += unit) {
    load(column);
    down_.forward(column_block_, unit);
    find_twiddles(column);
    put_into_matrix(source_t(column_block_), {source_t(row_twiddles_), source_t(lane_twiddles_)},
                    sink_t(matrix, column * unit), rows());
  }
}

/// The rows of `matrix` from element `at` on, transformed into row_block_.
void long_bluestein_dft_t::transform_rows(const planes_t<double>& matrix, std::size_t at) {
  along_.forward(interleaved_t<double>{&matrix.re[at], &matrix.im[at]}, row_block_, unit);
}

void long_bluestein_dft_t::put_rows(planes_t<double>& matrix, std::size_t at) const {
  std::copy(row_block_.re.begin(), row_block_.re.end(), &matrix.re[at]);
  std::copy(row_block_.im.begin(), row_block_.im.end(), &matrix.im[at]);
}

void long_bluestein_dft_t::forward_single(planes_t<float>& data) {
  const std::size_t length = chirp_.size();
  transform_columns(
      [&](std::size_t column) {
        multiply_columns(plane_pointers_t<const float>(data), source_t(chirp_), length, column,
                         sink_t(column_block_), rows());
      },
      convolved_);
  for (std::size_t at = 0; at < kernel_.size(); at += row_block_.size()) {
    transform_rows(convolved_, at);
    const interleaved_t<double> spectra{row_block_.re.data(), row_block_.im.data()};
    const interleaved_t<double> kernel{&kernel_.re[at], &kernel_.im[at]};
    along_.forward(conjugate_product_t<interleaved_t<double>>{spectra, kernel}, row_block_, unit);
    put_rows(convolved_, at);
  }
  for (std::size_t column = 0; column < columns; column += unit) {
    find_twiddles(column);
    take_from_matrix(source_t(convolved_, column * unit),
                     {source_t(row_twiddles_), source_t(lane_twiddles_)}, sink_t(column_block_),
                     rows());
    down_.forward(column_block_, unit);
    conjugate_and_multiply_columns(source_t(column_block_), source_t(chirp_),
                                   plane_pointers_t<float>(data), length, column);
  }
}

template <class Series>
void long_bluestein_dft_t::forward(const Series& series, planes_t<float>& data, std::size_t lanes) {
  if (std::is_same_v<Series, interleaved_t<float>> && lanes == 1) {
    forward_single(data);
    return;
  }
  single_.resize(chirp_.size());
  for (std::size_t l = 0; l < lanes; ++l) {
    for (std::size_t i = 0; i < single_.size(); ++i) {
      const point_t<float> z = series.template at<float>(i, l, lanes);
      single_.re[i] = z.re;
      single_.im[i] = z.im;
    }
    forward_single(single_);
    for (std::size_t i = 0; i < single_.size(); ++i) {
      data.re[i * lanes + l] = single_.re[i];
      data.im[i * lanes + l] = single_.im[i];
    }
  }
}

template void long_bluestein_dft_t::forward(const interleaved_t<float>&, planes_t<float>&,
                                            std::size_t);
template void long_bluestein_dft_t::forward(const weighted_t&, planes_t<float>&, std::size_t);

}  // namespace orn::common_lib
