#pragma once

#include <simd/dispatch.h>

#include <cstddef>
#include <cstring>
#include <type_traits>

namespace orn::simd {

/// `Bytes / sizeof(T)` numbers that one register holds; arithmetic goes element by element, a
/// scalar operand with every element.
template <class T, std::size_t Bytes>
struct vector_of_t {
  using type __attribute__((vector_size(Bytes))) = T;
};

template <class T, class On>
using vector_t = typename vector_of_t<T, On::register_bytes>::type;

/// Numbers of type T in a value, which is a register full of them or one.
template <class Value, class T>
inline constexpr std::size_t width_of = sizeof(Value) / sizeof(T);
template <class T>
inline constexpr std::size_t width_of<T, T> = 1;

/// A value of so many numbers.
template <class T, std::size_t Count>
struct value_of_t {
  using type = typename vector_of_t<T, Count * sizeof(T)>::type;
};
template <class T>
struct value_of_t<T, 1> {
  using type = T;
};
template <class T, std::size_t Count>
using values_of_t = typename value_of_t<T, Count>::type;

/// A value of another number type.
template <class To, class From>
ORN_KERNEL inline To converted(From from) {
  if constexpr (std::is_arithmetic_v<To>) {
    return static_cast<To>(from);
  } else {
    return __builtin_convertvector(from, To);
  }
}

/// Conjunction and disjunction without a branch, which would keep a loop from being vectorised.
ORN_KERNEL constexpr bool both(bool a, bool b) noexcept {
  return (static_cast<unsigned>(a) & static_cast<unsigned>(b)) != 0;
}
ORN_KERNEL constexpr bool either(bool a, bool b) noexcept {
  return (static_cast<unsigned>(a) | static_cast<unsigned>(b)) != 0;
}

template <class Value, class T>
ORN_KERNEL inline Value load(const T* from) {
  Value value;
  std::memcpy(&value, from, sizeof value);
  return value;
}

template <class Value, class T>
ORN_KERNEL inline void store(const Value& value, T* to) {
  std::memcpy(to, &value, sizeof value);
}

/// a + b. On AVX-512 as a fused 1 * a + b, which rounds as the sum does, on units that are idle
/// where there is more to add than to multiply: a tenth to a sixth of a convolution or transform.
template <class Value>
ORN_KERNEL inline Value sum_by_product(Value a, Value b) {
#if defined(__x86_64__) && !defined(__clang__)
  // An intrinsic function cannot become part of a body for all targets, nor can this with clang.
  if constexpr (sizeof(Value) == 64) {
    const Value one = Value{} + 1;
    if constexpr (sizeof(a[0]) == 4) {
      asm("vfmadd231ps %1, %2, %0" : "+v"(b) : "v"(a), "v"(one));
    } else {
      asm("vfmadd231pd %1, %2, %0" : "+v"(b) : "v"(a), "v"(one));
    }
    return b;
  }
#endif
  return a + b;
}

}  // namespace orn::simd
