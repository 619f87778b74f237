#include <fmcw_demod/basefunc.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <numbers>
#include <random>
#include <string>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orn::fmcw_demod_lib::basefunc {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr double pi = std::numbers::pi;
const float nan_value = std::numeric_limits<float>::quiet_NaN();

TEST(HasNan, FindsOneAnywhere) {
  EXPECT_FALSE(has_nan({}));
  EXPECT_FALSE(has_nan({1.0F, std::numeric_limits<float>::infinity(), -0.0F}));
  EXPECT_TRUE(has_nan({nan_value, 1.0F}));
  EXPECT_TRUE(has_nan({1.0F, 2.0F, nan_value}));
}

TEST(TriangularWindow, HasTheDocumentedValues) {
  EXPECT_THAT(generate_triang_window(0), IsEmpty());
  EXPECT_THAT(generate_triang_window(1), ElementsAre(1.0F));
  EXPECT_THAT(generate_triang_window(2), ElementsAre(0.5F, 0.5F));
  EXPECT_THAT(generate_triang_window(3), ElementsAre(0.25F, 0.5F, 0.25F));
  EXPECT_THAT(generate_triang_window(4), ElementsAre(0.125F, 0.375F, 0.375F, 0.125F));
  EXPECT_THAT(generate_triang_window_double(4), ElementsAre(0.125, 0.375, 0.375, 0.125));
  EXPECT_FLOAT_EQ(generate_triang_window(37)[18], 1.0F / 19.0F);
  const auto window = generate_triang_window(256);
  EXPECT_EQ(window.front(), 1.0F / 32768.0F);
  EXPECT_EQ(window[127], 255.0F / 32768.0F);
  EXPECT_EQ(window[128], 255.0F / 32768.0F);
  EXPECT_THROW(generate_triang_window(-1), std::bad_alloc);
  EXPECT_THROW(generate_triang_window_double(-5), std::bad_alloc);
}

TEST(TriangularWindow, DoubleVariantKeepsItsSinglePrecisionParts) {
  // Even lengths stay single precision, odd ones do not; the divisor is a float sum.
  EXPECT_EQ(generate_triang_window_double(6)[0],
            static_cast<double>(1.0F / 6.0F) /
                static_cast<double>(2.0F * (1.0F / 6.0F + 3.0F / 6.0F + 5.0F / 6.0F)));
  EXPECT_EQ(generate_triang_window_double(5)[0], (2.0 / 6.0) / 3.0);
  for (int n = 3; n < 200; n += 2) {
    float sum = 0.0F;
    for (int i = 1; i <= n; ++i) {
      sum = static_cast<float>(sum + 2.0 * std::min(i, n + 1 - i) / (n + 1));
    }
    ASSERT_EQ(generate_triang_window_double(n)[0], 2.0 / (n + 1) / static_cast<double>(sum)) << n;
  }
  EXPECT_NE(generate_triang_window_double(37)[4],
            static_cast<double>(generate_triang_window(37)[4]));
}

/// Central part of the full linear convolution, which conv_same equals for a symmetric kernel.
std::vector<double> central_convolution(const std::vector<double>& x,
                                        const std::vector<double>& h) {
  std::vector<double> out(x.size(), 0.0);
  for (std::size_t i = 0; i < x.size(); ++i) {
    for (std::size_t k = 0; k < h.size(); ++k) {
      const std::size_t at = i + h.size() / 2;
      if (at >= k && at - k < x.size()) {
        out[i] += x[at - k] * h[k];
      }
    }
  }
  return out;
}

TEST(ConvSame, EqualsTheCentreOfTheFullConvolution) {
  std::mt19937 random(7);
  std::normal_distribution<float> normal;
  for (const std::size_t count : {1U, 2U, 63U, 64U, 65U, 300U}) {
    for (const int taps : {1, 2, 3, 4, 37, 256, 400}) {
      std::vector<float> signal(count);
      for (float& value : signal) {
        value = normal(random);
      }
      const std::vector<float> kernel = generate_triang_window(taps);
      const std::vector<double> wide(signal.begin(), signal.end());
      const std::vector<double> wide_kernel(kernel.begin(), kernel.end());
      const auto expected = central_convolution(wide, wide_kernel);
      const auto single = conv_same(signal, kernel);
      const auto twice = conv_same_double(wide, wide_kernel);
      ASSERT_EQ(single.size(), count);
      EXPECT_EQ(single, conv_float(signal, kernel));
      for (std::size_t i = 0; i < count; ++i) {
        ASSERT_NEAR(single[i], expected[i], 2e-6)
            << count << " samples, " << taps << " taps, " << i;
        ASSERT_NEAR(twice[i], expected[i], 1e-14)
            << count << " samples, " << taps << " taps, " << i;
      }
    }
  }
}

TEST(ConvSame, HandlesShortArguments) {
  EXPECT_THAT(conv_same({}, {1.0F}), IsEmpty());
  EXPECT_THAT(conv_same({1.0F, 2.0F}, {}), ElementsAre(1.0F, 2.0F));
  EXPECT_THAT(conv_same({1.0F, 2.0F}, {3.0F}), ElementsAre(3.0F, 6.0F));
  EXPECT_THAT(conv_same({1.0F, 2.0F, 4.0F}, {0.5F, 9.0F}), ElementsAre(1.5F, 3.0F, 2.0F));
}

TEST(Cumtrapz, IntegratesByTrapezoids) {
  EXPECT_THAT(cumtrapz({}, {}), IsEmpty());
  EXPECT_THAT(cumtrapz({5.0F}, {3.0F}), ElementsAre(0.0));
  EXPECT_THAT(cumtrapz({0.0F, 1.0F, 3.0F}, {2.0F, 4.0F, 6.0F}), ElementsAre(0.0, 3.0, 13.0));
  const auto phase = cumtrapz_phase(std::vector<float>{0.0F, 0.5F}, {1.0F, 3.0F});
  EXPECT_THAT(phase, ElementsAre(0.0, 2.0 * pi));
  const auto fixed = cumtrapz_phase(0.5, {1.0F, 3.0F});
  EXPECT_THAT(fixed, ElementsAre(0.0F, static_cast<float>(2.0 * pi)));
  // An ordinate that ends early must not be read past its end.
  EXPECT_THAT(cumtrapz({0.0F, 1.0F, 2.0F}, {1.0F, 1.0F}), ElementsAre(0.0, 1.0, 1.0));
  EXPECT_THAT(cumtrapz({0.0F, 1.0F}, {}), ElementsAre(0.0, 0.0));
}

TEST(Cumtrapz, AddsInTheDocumentedPrecision) {
  // The sum of two frequencies rounds to float before it is halved, in double after.
  const float big = 16777216.0F;
  EXPECT_EQ(cumtrapz_phase(std::vector<float>{0.0F, 1.0F}, {big, 1.0F})[1],
            static_cast<double>(big) * 0.5 * (2.0 * pi));
  EXPECT_EQ(cumtrapz({0.0F, 1.0F}, {big, 1.0F})[1], (static_cast<double>(big) + 1.0) * 0.5);
  // The fixed-interval form keeps its running sum in float.
  EXPECT_EQ(cumtrapz_phase(1.0, {0.0F, big, 0.0F, 1.0F})[3],
            cumtrapz_phase(1.0, {0.0F, big, 0.0F})[2]);
}

TEST(Polyfit, FitsLinesAndRejectsWhatHasNone) {
  EXPECT_THAT(polyfit_1({0.0F, 1.0F, 2.0F}, {1.0F, 3.0F, 5.0F}), ElementsAre(2.0F, 1.0F));
  EXPECT_THAT(polyfit_1({0.0F, 1.0F, 2.0F}, {0.0F, 3.0F, 0.0F}), ElementsAre(0.0F, 1.0F));
  EXPECT_THAT(polyfit_1({}, {}), IsEmpty());
  EXPECT_THAT(polyfit_1({1.0F}, {1.0F}), IsEmpty());
  EXPECT_THAT(polyfit_1({3.0F, 3.0F, 3.0F}, {1.0F, 2.0F, 3.0F}), IsEmpty());
  EXPECT_THAT(polyfit_1({1.0F, 2.0F}, {1.0F}), IsEmpty());
  EXPECT_THAT(polyfit_1({1.0F, nan_value}, {1.0F, 2.0F}), IsEmpty());
}

template <class T>
class Unwrap : public testing::Test {};
using Precisions = testing::Types<float, double>;
TYPED_TEST_SUITE(Unwrap, Precisions);

TYPED_TEST(Unwrap, RemovesJumpsOfWholeTurns) {
  using T = TypeParam;
  const T step = static_cast<T>(pi);
  const T turn = static_cast<T>(2 * pi);
  struct unwrap_case_t {
    const char* name;
    std::vector<T> wrapped, expected;
  };
  const unwrap_case_t cases[] = {
      {"empty", {}, {}},
      {"one element stays", {T(9)}, {T(9)}},
      {"a falling ramp crosses the branch", {T(0), T(-3), T(3)}, {T(0), T(-3), T(3) - turn}},
      {"a correction carries on", {T(0), T(4), T(4.5)}, {T(0), T(4) - turn, T(4.5) - turn}},
      {"several turns at once", {T(0), T(14)}, {T(0), T(14) - 2 * turn}},
  };
  for (const auto& c : cases) {
    auto in = c.wrapped;
    std::vector<T> out = {T(77)};
    mm_unwrap(in, out);
    ASSERT_EQ(out.size(), c.expected.size()) << c.name;
    for (std::size_t i = 0; i < out.size(); ++i) {
      EXPECT_NEAR(out[i], c.expected[i], 2e-6) << c.name;
    }
    EXPECT_EQ(in, c.wrapped) << c.name << ": input changed";
    mm_unwrap(in, in);
    EXPECT_EQ(in, out) << c.name << ": in place";
  }
  // Rounding of half turns goes toward zero: in double, where they are exact enough to tell.
  if constexpr (std::is_same_v<T, double>) {
    for (const auto& [jump, left] :
         {std::pair(step, step), std::pair(-step, -step), std::pair(5 * step, step)}) {
      std::vector<T> in = {0, jump};
      mm_unwrap(in, in);
      EXPECT_NEAR(in[1], left, 1e-14) << jump;
    }
  }
  std::vector<T> spoilt = {T(1), std::numeric_limits<T>::quiet_NaN(), T(1), T(2)};
  mm_unwrap(spoilt, spoilt);
  EXPECT_EQ(spoilt[0], T(1));
  EXPECT_TRUE(std::isnan(spoilt[1]) && std::isnan(spoilt[2]) && std::isnan(spoilt[3]));
}

}  // namespace
}  // namespace orn::fmcw_demod_lib::basefunc
