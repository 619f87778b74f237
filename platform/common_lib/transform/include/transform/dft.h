#pragma once

#include <memory/planes.h>

#include <complex>
#include <cstddef>
#include <memory>
#include <span>

namespace orn::common_lib {

/// Series that a transform computes as it reads them: element i of series l is weights[i] times the
/// number at offsets[i] + l of either plane.
struct weighted_series_t {
  const float* re;
  const float* im;
  std::span<const std::size_t> offsets;
  std::span<const float> weights;
};

/// Forward DFT of any length on single-precision samples, unnormalised, in O(N log N), with the
/// tables and the scratch memory of a series of transforms of that length. One object serves one
/// thread at a time.
///
/// Transforms work on several series at once, which is where their speed comes from: series lie
/// side by side, in lanes, element i of lane l at index i * lanes + l of both planes. The bits of a
/// series do not depend on the number of lanes.
class dft_t {
 public:
  /// length  number of points, at least 1
  explicit dft_t(std::size_t length);
  ~dft_t();
  dft_t(const dft_t&) = delete;
  dft_t& operator=(const dft_t&) = delete;

  /// Number of lanes that work well: as many as fill a cache line, but 1 for lengths that are long
  /// enough by themselves.
  std::size_t good_lanes() const;

  /// Transforms `data`, lanes times `length` points, in place.
  void forward(memory::planes_t<float>& data, std::size_t lanes);

  /// Transforms `lanes` series of `length` elements into `data`, which has the size for them.
  void forward(const weighted_series_t& series, memory::planes_t<float>& data, std::size_t lanes);

  /// Transforms one series, exactly `length` points, in place.
  void forward(std::span<std::complex<float>> data);

 private:
  struct method_t;
  std::unique_ptr<method_t> method_;
};

}  // namespace orn::common_lib
