#pragma once

#include "point.h"

#include <simd/vector.h>
#include <transform/dft.h>

#include <cstddef>

/// What a transform takes in. Series lie side by side, in lanes; at<Value>(i, l, lanes) is element
/// i of series l, or of as many from l on as a Value holds. What has to be computed from memory is
/// computed as the first pass reads it.
namespace orn::common_lib {

/// Element i of series l lies at index i * lanes + l of both planes.
template <class T>
struct interleaved_t {
  const T* re;
  const T* im;

  template <class Value>
  ORN_KERNEL point_t<Value> at(std::size_t i, std::size_t l, std::size_t lanes) const {
    return {simd::load<Value>(re + i * lanes + l), simd::load<Value>(im + i * lanes + l)};
  }
};

/// Numbers that all series share.
template <class T>
struct shared_t {
  const T* re;
  const T* im;

  template <class Value>
  ORN_KERNEL point_t<T> at(std::size_t i, std::size_t /*l*/, std::size_t /*lanes*/) const {
    return {re[i], im[i]};
  }
};

struct weighted_t {
  weighted_series_t series;

  template <class Value>
  ORN_KERNEL point_t<Value> at(std::size_t i, std::size_t l, std::size_t /*lanes*/) const {
    const std::size_t from = series.offsets[i] + l;
    const float weight = series.weights[i];
    return {simd::load<Value>(series.re + from) * weight,
            simd::load<Value>(series.im + from) * weight};
  }
};

/// Series of floats times a chirp of `length` elements; zeros follow.
template <class Series>
struct chirped_t {
  Series series;
  shared_t<double> chirp;
  std::size_t length;

  template <class Value>
  ORN_KERNEL point_t<Value> at(std::size_t i, std::size_t l, std::size_t lanes) const {
    if (i >= length) {
      return point_t<Value>{};
    }
    const auto x = series.template at<floats_t<Value>>(i, l, lanes);
    return point_t<Value>{simd::converted<Value>(x.re), simd::converted<Value>(x.im)} *
           chirp.template at<Value>(i, l, lanes);
  }

 private:
  template <class Value>
  using floats_t = simd::values_of_t<float, simd::width_of<Value, double>>;
};

/// The conjugates of series times factors, as an inverse transform wants them, which is the forward
/// one between two conjugations.
template <class Factors>
struct conjugate_product_t {
  interleaved_t<double> series;
  Factors factors;

  template <class Value>
  ORN_KERNEL point_t<Value> at(std::size_t i, std::size_t l, std::size_t lanes) const {
    return conjugate(series.template at<Value>(i, l, lanes) *
                     factors.template at<Value>(i, l, lanes));
  }
};

}  // namespace orn::common_lib
