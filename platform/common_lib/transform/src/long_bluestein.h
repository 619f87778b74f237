#pragma once

#include "mixed_radix.h"
#include "twiddles.h"

#include <memory/planes.h>

#include <cstddef>

namespace orn::common_lib {

/// Bluestein's algorithm for a series too long for a cache, whose transforms then cost what they
/// move. The padded series n = i * columns + j is a matrix: transforming the columns, multiplying
/// by twiddles and transforming the rows gives its spectrum, bin k1 + rows * k2 in row k1 (Gentleman
/// and Sande, AFIPS 29 (1966), 563). Multiplied there by the kernel's, the spectrum goes back by the
/// same steps in reverse, so no step has to put anything in order, and each visits memory once.
class long_bluestein_dft_t {
 public:
  /// length  number of points
  explicit long_bluestein_dft_t(std::size_t length);

  /// Transforms `series` into `data`, lanes times `length` points, which may be what they are read
  /// from.
  template <class Series>
  void forward(const Series& series, memory::planes_t<float>& data, std::size_t lanes);

 private:
  void forward_single(memory::planes_t<float>& data);
  std::size_t rows() const { return down_.length(); }
  void find_twiddles(std::size_t column);
  template <class Load>
  void transform_columns(Load load, memory::planes_t<double>& matrix);
  void transform_rows(const memory::planes_t<double>& matrix, std::size_t at);
  void put_rows(memory::planes_t<double>& matrix, std::size_t at) const;

  mixed_radix_dft_t<double> down_;          ///< of a column
  mixed_radix_dft_t<double> along_;         ///< of a row
  twiddle_products_t twiddles_;             ///< of the padded length
  memory::planes_t<double> chirp_;          ///< exp(-pi i k^2 / length)
  memory::planes_t<double> lane_twiddles_;  ///< twiddle l k for lane l of row k
  memory::planes_t<double> row_twiddles_;   ///< twiddle j k for row k, j a block's first column
  memory::planes_t<double> kernel_;         ///< spectrum of the conjugate chirp, scaled
  memory::planes_t<double> convolved_;
  memory::planes_t<double> column_block_;  ///< a unit of columns, interleaved
  memory::planes_t<double> row_block_;     ///< as many rows, interleaved
  memory::planes_t<float> single_;         ///< one of several lanes
};

}  // namespace orn::common_lib
