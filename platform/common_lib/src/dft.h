#pragma once

#include "roots.h"
#include "scratch.h"
#include "series.h"

#include <complex>
#include <cstddef>
#include <span>
#include <variant>
#include <vector>

namespace orn::common_lib {

/// Longer series are long enough by themselves: several at once would only fill the cache.
constexpr std::size_t longest_in_lanes = 16384;

/// Transforms work on several series at once, which is where their speed comes from (series.h).
/// The bits of a series do not depend on the number of lanes.

/// Forward DFT of lengths whose prime factors are all small: mixed radix, self-sorting passes
/// (Stockham, decimation in frequency). T is the precision of the data and of every operation.
template <class T>
class mixed_radix_dft_t {
 public:
  /// True when every prime factor of `length` has a butterfly.
  static bool serves(std::size_t length);

  /// Smallest length at or above `minimum`, which is at least 1, of the fastest transforms: no
  /// prime factor but 2, 3 and 5.
  static std::size_t smooth_length(std::size_t minimum);

  /// length  number of points, at least 1, with serves(length)
  explicit mixed_radix_dft_t(std::size_t length);

  std::size_t length() const { return roots_.size(); }

  /// Transforms `data`, lanes times length() points, in place.
  void forward(planes_t<T>& data, std::size_t lanes);

  /// Transforms `series`, of length() elements, into `data`, which has the size for them and may be
  /// what they are read from, element by element.
  template <class Series>
  void forward(const Series& series, planes_t<T>& data, std::size_t lanes);

 private:
  /// How far a transform has come: `stride` interleaved transforms of `points` points are left.
  struct state_t {
    std::size_t pass;
    std::size_t points;
    std::size_t stride;
  };
  void pass_in_blocks(std::span<const std::size_t> radices, const state_t& state,
                      std::size_t angle_step, planes_t<T>& data);
  void finish_in_blocks(const state_t& state, std::size_t lanes, planes_t<T>& data);

  std::vector<std::size_t> radices_;  ///< one per pass; their product is the length
  scratch_t<std::complex<T>> roots_;  ///< exp(-2 pi i k / length), k = 0 ... length - 1
  planes_t<T> passed_;                ///< a pass reads one buffer and writes the other
  planes_t<T> block_, block_passed_;  ///< the same for a block that stays in the cache
};

/// Forward DFT of any length by Bluestein's algorithm: the DFT written as a convolution with a
/// chirp, which mixed-radix transforms of a longer length carry out. Double precision inside, since
/// three transforms in a row would treble the rounding error of single precision.
class bluestein_dft_t {
 public:
  /// length  number of points, at least 1
  explicit bluestein_dft_t(std::size_t length);

  /// Transforms `data`, lanes times `length` points, in place.
  void forward(planes_t<float>& data, std::size_t lanes);

  /// Transforms `series` into `data`, which has the size for it.
  void forward(const weighted_series_t& series, planes_t<float>& data, std::size_t lanes);

 private:
  template <class Series>
  void transform(const Series& series, planes_t<float>& data, std::size_t lanes);

  mixed_radix_dft_t<double> dft_;  ///< of the padded length
  planes_t<double> chirp_;         ///< exp(-pi i k^2 / length)
  planes_t<double> kernel_;        ///< spectrum of the conjugate chirp, scaled
  planes_t<double> convolved_;     ///< work buffer of the padded length
};

/// The same for a series too long for a cache, whose transforms then cost what they move. The
/// padded series n = i * columns + j is a matrix: transforming the columns, turning each element
/// and transforming the rows gives its spectrum, bin k1 + rows * k2 in row k1 (Gentleman and Sande,
/// AFIPS 29 (1966), 563). Multiplied there by the kernel's, the spectrum goes back by the same
/// steps in reverse, so no step has to put anything in order, and each visits memory once.
class long_bluestein_dft_t {
 public:
  /// length  number of points, above longest_in_lanes
  explicit long_bluestein_dft_t(std::size_t length);

  /// Transforms `data`, lanes times `length` points, in place.
  void forward(planes_t<float>& data, std::size_t lanes);

 private:
  void forward_single(planes_t<float>& data);
  std::size_t rows() const { return down_.length(); }
  void find_turns(std::size_t column);
  template <class Load>
  void transform_columns(Load load, planes_t<double>& matrix);
  void transform_rows(const planes_t<double>& matrix, std::size_t at);
  void put_rows(planes_t<double>& matrix, std::size_t at) const;

  mixed_radix_dft_t<double> down_;   ///< of a column
  mixed_radix_dft_t<double> along_;  ///< of a row
  roots_of_unity_t roots_;           ///< of the padded length
  planes_t<double> chirp_;           ///< exp(-pi i k^2 / length)
  planes_t<double> lane_turns_;      ///< root l k for lane l of row k
  planes_t<double> turns_;           ///< root j k for row k, j being the first column of a block
  planes_t<double> kernel_;          ///< spectrum of the conjugate chirp, scaled
  planes_t<double> convolved_;
  planes_t<double> column_block_;  ///< a unit of columns, interleaved
  planes_t<double> row_block_;     ///< as many rows, interleaved
};

/// Forward DFT of any length on single-precision samples, unnormalised, with the tables and the
/// scratch memory of a series of transforms of that length. One object serves one thread at a time.
class dft_t {
 public:
  /// length  number of points, at least 1
  explicit dft_t(std::size_t length);

  /// Number of lanes that work well: as many as fill a cache line,
  /// but 1 for lengths that are long enough by themselves.
  std::size_t good_lanes() const;

  /// Transforms `data`, lanes times `length` points, in place.
  void forward(planes_t<float>& data, std::size_t lanes);

  /// Transforms `lanes` series of length() elements into `data`, which has the size for them.
  void forward(const weighted_series_t& series, planes_t<float>& data, std::size_t lanes);

  /// Transforms one series, exactly `length` points, in place.
  void forward(std::span<std::complex<float>> data);

 private:
  using method_t = std::variant<mixed_radix_dft_t<float>, bluestein_dft_t, long_bluestein_dft_t>;
  static method_t method_for(std::size_t length);

  std::size_t length_;
  method_t method_;
  planes_t<float> planes_;  ///< of a series that comes interleaved
};

}  // namespace orn::common_lib
