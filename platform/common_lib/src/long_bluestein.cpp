#include "bluestein.h"
#include "dft.h"
#include "dispatch.h"
#include "point.h"
#include "tiles.h"
#include "vector.h"

#include <algorithm>
#include <array>
#include <bit>
#include <span>

namespace orn::common_lib {
namespace {

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

/// Turns of a block of columns: row k of it turns by rows[k], lane l of the row by lanes[k * unit +
/// l] as well.
struct turns_t {
  source_t rows;
  source_t lanes;
};

/// Element `l` of unit `k` and those beside it, turned.
template <class Value>
ORN_KERNEL inline point_t<Value> turned(source_t units, const turns_t& turns, std::size_t k,
                                        std::size_t l) {
  const auto at = [](source_t planes, std::size_t i) ORN_KERNEL {
    return point_t<Value>{load<Value>(planes.re + i), load<Value>(planes.im + i)};
  };
  const point_t<double> row{turns.rows.re[k], turns.rows.im[k]};
  return at(units, k * unit + l) * (at(turns.lanes, k * unit + l) * row);
}

using square_t = std::span<double, unit * unit>;

ORN_KERNEL inline square_t square_at(double* first) { return square_t(first, unit * unit); }

/// Transposes `unit` lines of `unit` numbers.
template <class On>
ORN_KERNEL inline void transpose_square(const double* from, square_t to) {
  constexpr std::size_t lines = On::register_bytes / sizeof(double);
  for (std::size_t column = 0; column < unit; column += group_size<double>) {
    const std::array<double*, 2> rows = {&to[column * unit], &to[(column + 1) * unit]};
    for (std::size_t line = 0; line < unit; line += lines) {
      transpose_strip<lines>(from + line * unit + column, unit, rows.data(), line);
    }
  }
}

/// Turns a block of `count` rows and puts its squares into the matrix.
void turn_into_matrix(source_t block, const turns_t& turns, sink_t matrix, std::size_t count) {
  dispatch([=](auto on) ORN_KERNEL {
    using value_t = vector_t<double, decltype(on)>;
    alignas(64) std::array<double, unit * unit> re;
    alignas(64) std::array<double, unit * unit> im;
    for (std::size_t first = 0; first < count; first += unit) {
      for (std::size_t i = 0; i < unit * unit; i += width_of<value_t, double>) {
        const auto z = turned<value_t>(block, turns, first + i / unit, i % unit);
        store(z.re, &re[i]);
        store(z.im, &im[i]);
      }
      transpose_square<decltype(on)>(re.data(), square_at(matrix.re + first * columns));
      transpose_square<decltype(on)>(im.data(), square_at(matrix.im + first * columns));
    }
  });
}

/// Takes a block of `count` rows out of the matrix and turns it.
void turn_from_matrix(source_t matrix, const turns_t& turns, sink_t block, std::size_t count) {
  dispatch([=](auto on) ORN_KERNEL {
    using value_t = vector_t<double, decltype(on)>;
    for (std::size_t first = 0; first < count; first += unit) {
      transpose_square<decltype(on)>(matrix.re + first * columns,
                                     square_at(block.re + first * unit));
      transpose_square<decltype(on)>(matrix.im + first * columns,
                                     square_at(block.im + first * unit));
      for (std::size_t i = 0; i < unit * unit; i += width_of<value_t, double>) {
        const auto z = turned<value_t>({block.re, block.im}, turns, first + i / unit, i % unit);
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
      roots_(rows() * columns),
      chirp_(make_chirp(length, roots_of_unity_t(2 * length))) {
  const std::size_t padded = rows() * columns;
  turns_.resize(rows());
  lane_turns_.resize(rows() * unit);
  for (std::size_t k = 0; k < rows(); ++k) {
    for (std::size_t l = 0; l < unit; ++l) {
      const point_t<double> turn = roots_(l * k);
      lane_turns_.re[k * unit + l] = turn.re;
      lane_turns_.im[k * unit + l] = turn.im;
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

/// The turns of a block's first column in every row.
void long_bluestein_dft_t::find_turns(std::size_t column) {
  for (std::size_t k = 0; k < rows(); ++k) {
    const point_t<double> turn = roots_(column * k);
    turns_.re[k] = turn.re;
    turns_.im[k] = turn.im;
  }
}

/// All columns, of which load(column) puts a unit into column_block_, transformed and turned, to
/// `matrix`.
template <class Load>
void long_bluestein_dft_t::transform_columns(Load load, planes_t<double>& matrix) {
  for (std::size_t column = 0; column < columns; column += unit) {
    load(column);
    down_.forward(column_block_, unit);
    find_turns(column);
    turn_into_matrix(source_t(column_block_), {source_t(turns_), source_t(lane_turns_)},
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
    find_turns(column);
    turn_from_matrix(source_t(convolved_, column * unit), {source_t(turns_), source_t(lane_turns_)},
                     sink_t(column_block_), rows());
    down_.forward(column_block_, unit);
    conjugate_and_multiply_columns(source_t(column_block_), source_t(chirp_),
                                   plane_pointers_t<float>(data), length, column);
  }
}

void long_bluestein_dft_t::forward(planes_t<float>& data, std::size_t lanes) {
  if (lanes == 1) {
    forward_single(data);
    return;
  }
  planes_t<float> single;
  single.resize(chirp_.size());
  for (std::size_t l = 0; l < lanes; ++l) {
    for (std::size_t i = 0; i < single.size(); ++i) {
      single.re[i] = data.re[i * lanes + l];
      single.im[i] = data.im[i * lanes + l];
    }
    forward_single(single);
    for (std::size_t i = 0; i < single.size(); ++i) {
      data.re[i * lanes + l] = single.re[i];
      data.im[i * lanes + l] = single.im[i];
    }
  }
}

}  // namespace orn::common_lib
