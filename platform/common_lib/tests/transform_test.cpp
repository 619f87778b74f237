#include <memory/planes.h>
#include <simd/dispatch.h>
#include <transform/dft.h>

#include <complex>
#include <cstddef>
#include <vector>

#include <gtest/gtest.h>
#include <simd_check/numbers.h>
#include <simd_check/targets.h>

namespace orn::common_lib {
namespace {

using planes_t = memory::planes_t<float>;
using simd_check::kind_t;
using simd_check::numbers;
using simd_check::on_every_target;

void expect_same(const planes_t& actual, const planes_t& expected) {
  simd_check::expect_same<float>({actual.re.begin(), actual.re.end()},
                                 {expected.re.begin(), expected.re.end()});
  simd_check::expect_same<float>({actual.im.begin(), actual.im.end()},
                                 {expected.im.begin(), expected.im.end()});
}

TEST(Transform, GivesTheSameBitsInEveryLaneAndOnEveryTarget) {
  constexpr std::size_t series = 3;
  for (const std::size_t length :
       {1U, 2U, 12U, 55U, 64U, 97U, 182U, 257U, 1024U, 5000U, 16411U, 20014U, 30030U}) {
    std::vector<std::vector<std::complex<float>>> input;
    for (unsigned l = 0; l < series; ++l) {
      const auto re = numbers(length, kind_t::wide, l);
      const auto im = numbers(length, kind_t::normal, l);
      input.emplace_back(length);
      for (std::size_t i = 0; i < length; ++i) {
        input.back()[i] = {re[i], im[i]};
      }
    }
    const auto in_lanes = [length](const std::vector<std::vector<std::complex<float>>>& of,
                                   std::size_t lanes) {
      planes_t planes;
      planes.resize(length * lanes);
      for (std::size_t i = 0; i < length * lanes; ++i) {
        planes.re[i] = of[i % lanes % series][i / lanes].real();
        planes.im[i] = of[i % lanes % series][i / lanes].imag();
      }
      return planes;
    };
    simd::limit_target(simd::target_t::baseline);
    auto transformed = input;
    for (auto& data : transformed) {
      dft_t(length).forward(data);
    }
    on_every_target([&] {
      for (const std::size_t lanes :
           {std::size_t{1}, std::size_t{2}, std::size_t{5}, std::size_t{16}}) {
        SCOPED_TRACE(testing::Message() << length << " points, " << lanes << " lanes");
        auto planes = in_lanes(input, lanes);
        dft_t(length).forward(planes, lanes);
        expect_same(planes, in_lanes(transformed, lanes));
      }
    });
  }
}

TEST(Transform, TakesWeightedSeriesAsIfTheyWereWrittenOut) {
  on_every_target([] {
    for (const std::size_t length : {1U, 12U, 64U, 97U, 1024U}) {
      for (const std::size_t lanes :
           {std::size_t{1}, std::size_t{2}, std::size_t{5}, std::size_t{16}, std::size_t{32}}) {
        const std::vector<float> re = numbers(length + lanes, kind_t::wide, 1);
        const std::vector<float> im = numbers(length + lanes, kind_t::normal, 2);
        const std::vector<float> weights = numbers(length, kind_t::normal, 3);
        std::vector<std::size_t> offsets(length);
        planes_t expected;
        planes_t planes;
        expected.resize(length * lanes);
        planes.resize(length * lanes);
        for (std::size_t i = 0; i < length; ++i) {
          offsets[i] = i * 7 % (length + 1);
          for (std::size_t l = 0; l < lanes; ++l) {
            expected.re[i * lanes + l] = re[offsets[i] + l] * weights[i];
            expected.im[i * lanes + l] = im[offsets[i] + l] * weights[i];
          }
        }
        dft_t(length).forward(expected, lanes);
        dft_t(length).forward({re.data(), im.data(), offsets, weights}, planes, lanes);
        SCOPED_TRACE(testing::Message() << length << " points, " << lanes << " lanes");
        expect_same(planes, expected);
      }
    }
  });
}

}  // namespace
}  // namespace orn::common_lib
