#pragma once

#include <simd/dispatch.h>
#include <simd/vector.h>

#include <complex>

namespace orn::common_lib {

/// A complex number without std::complex's repair of NaN products, which a transform does not want.
template <class T>
struct point_t {
  T re;
  T im;
};

template <class T>
ORN_KERNEL inline point_t<T> operator+(point_t<T> a, point_t<T> b) {
  return {a.re + b.re, a.im + b.im};
}

template <class T>
ORN_KERNEL inline point_t<T> sum_by_product(point_t<T> a, point_t<T> b) {
  return {simd::sum_by_product(a.re, b.re), simd::sum_by_product(a.im, b.im)};
}

template <class T>
ORN_KERNEL inline point_t<T> operator-(point_t<T> a, point_t<T> b) {
  return {a.re - b.re, a.im - b.im};
}

template <class T, class Factor>
ORN_KERNEL inline point_t<T> operator*(point_t<T> a, point_t<Factor> b) {
  return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}

template <class T, class Factor>
ORN_KERNEL inline point_t<T> scaled(point_t<T> a, Factor scale) {
  return {a.re * scale, a.im * scale};
}

template <class T>
ORN_KERNEL inline point_t<T> times_minus_i(point_t<T> a) {
  return {a.im, -a.re};
}

template <class T>
ORN_KERNEL inline point_t<T> conjugate(point_t<T> a) {
  return {a.re, -a.im};
}

template <class T>
ORN_KERNEL inline point_t<T> point(std::complex<T> z) {
  return {z.real(), z.imag()};
}

}  // namespace orn::common_lib
