#pragma once

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include <gtest/gtest.h>

/// Numbers of every kind, and what counts as the same bits.
namespace orn::simd_check {

enum class kind_t { normal, wide, any_bits, special };
inline constexpr std::array kinds = {kind_t::normal, kind_t::wide, kind_t::any_bits,
                                     kind_t::special};

inline std::vector<float> numbers(std::size_t count, kind_t kind, unsigned seed) {
  constexpr float infinity = std::numeric_limits<float>::infinity();
  constexpr float nan = std::numeric_limits<float>::quiet_NaN();
  constexpr std::array<float, 10> specials = {
      0.0F,      -0.0F, 1.0F,      -1.0F,     infinity,
      -infinity, nan,   0x1p-149F, 0x1p-126F, std::numeric_limits<float>::max()};
  std::mt19937 random(seed);
  std::normal_distribution<float> normal;
  std::uniform_real_distribution<float> exponent(-30.0F, 30.0F);
  std::vector<float> values(count);
  for (float& value : values) {
    switch (kind) {
      case kind_t::normal:
        value = normal(random);
        break;
      case kind_t::wide:
        value = normal(random) * std::exp2(exponent(random));
        break;
      case kind_t::any_bits:
        value = std::bit_cast<float>(static_cast<std::uint32_t>(random()));
        break;
      case kind_t::special:
        value = specials[random() % specials.size()];
        break;
    }
  }
  return values;
}

/// Equal bits, any NaN being one; zeros differ in sign.
template <class T>
bool same(T a, T b) {
  return std::isnan(a) ? std::isnan(b) : a == b && std::signbit(a) == std::signbit(b);
}

template <class T>
void expect_same(const std::vector<T>& actual, const std::vector<T>& expected) {
  ASSERT_EQ(actual.size(), expected.size());
  for (std::size_t i = 0; i < actual.size(); ++i) {
    ASSERT_TRUE(same(actual[i], expected[i]))
        << actual[i] << " instead of " << expected[i] << " at " << i << " of " << actual.size();
  }
}

}  // namespace orn::simd_check
