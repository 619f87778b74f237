#include "basefunc/kernels.h"
#include "basefunc/kernels/bounded/bounded.h"

#include <simd/dispatch.h>

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string_view>

#include <unistd.h>

/// Holds what the levels and angles are made of against its definition, on every target: the
/// logarithm of every `stride`-th float, all of them for 1; magnitude and angle of `pairs` random
/// pairs, a third normal, a third of any exponent, a third of any bits. The angle's definition is
/// the atan2f of Debian 12 on x86-64; on other machines, which round it their own way, it is left
/// out.
///
/// usage: fmcw_demod_exhaustive STRIDE PAIRS
namespace orn::fmcw_demod_lib::kernels {
namespace {

struct outcome_t {
  std::uint64_t wrong = 0;
  float first_re = 0.0F;
  float first_im = 0.0F;

  void count(float actual, float expected, float re, float im) {
    const bool equal = std::isnan(expected) ? std::isnan(actual)
                                            : std::bit_cast<std::uint32_t>(actual) ==
                                                  std::bit_cast<std::uint32_t>(expected);
    if (!equal && wrong++ == 0) {
      first_re = re;
      first_im = im;
    }
  }

  bool report(const char* what, std::uint64_t values) const {
    std::printf("  %-12s %12llu values, %llu wrong\n", what,
                static_cast<unsigned long long>(values), static_cast<unsigned long long>(wrong));
    if (wrong != 0) {
      std::printf("               the first one of (%a, %a)\n", static_cast<double>(first_re),
                  static_cast<double>(first_im));
    }
    return wrong == 0;
  }
};

/// A line that counts up on a terminal.
void show_progress(std::uint64_t done, std::uint64_t all) {
  static const bool terminal = isatty(STDERR_FILENO) != 0;
  if (terminal && done % (std::uint64_t{1} << 24) < block_length) {
    std::fprintf(stderr, "\r  %3.0f %%",
                 100.0 * static_cast<double>(done) / static_cast<double>(all));
  }
}

bool check_logarithms(std::uint64_t stride) {
  constexpr std::uint64_t all = std::uint64_t{1} << 32;
  outcome_t outcome;
  std::uint64_t values = 0;
  for (std::uint64_t bits = 0; bits < all;) {
    alignas(64) block_t<float> x;
    alignas(64) block_t<float> logarithm;
    for (float& value : x) {
      value = std::bit_cast<float>(static_cast<std::uint32_t>(bits));
      bits += stride;
    }
    simd::dispatch([&x, &logarithm](auto on) ORN_KERNEL {
      levels<decltype(on)>(1.0F, x, block_length, logarithm.data());
    });
    for (std::size_t i = 0; i < block_length; ++i) {
      outcome.count(logarithm[i], literal_log10(x[i]), x[i], 0.0F);
    }
    values += block_length;
    show_progress(values * stride, all);
  }
  return outcome.report("logarithm", values);
}

class pairs_t {
 public:
  float next(std::uint64_t kind) {
    switch (kind % 3) {
      case 0:
        return normal_(random_);
      case 1:
        return normal_(random_) * std::exp2(exponent_(random_));
      default:
        return std::bit_cast<float>(static_cast<std::uint32_t>(random_()));
    }
  }

 private:
  std::mt19937 random_{1};
  std::normal_distribution<float> normal_;
  std::uniform_real_distribution<float> exponent_{-60.0F, 60.0F};
};

bool check_pairs(std::uint64_t pairs) {
  outcome_t magnitude;
  outcome_t angle;
  pairs_t random;
  std::uint64_t values = 0;
  for (; values < pairs; values += block_length) {
    alignas(64) block_t<float> re;
    alignas(64) block_t<float> im;
    alignas(64) block_t<float> magnitudes_of;
    std::array<sample_t, block_length> samples;
    std::array<float, block_length> angles;
    for (std::size_t i = 0; i < block_length; ++i) {
      re[i] = random.next(values / block_length);
      im[i] = random.next(values / block_length);
      samples[i] = {re[i], im[i]};
    }
    simd::dispatch([&](auto on) ORN_KERNEL {
      magnitudes<decltype(on)>(re.data(), im.data(), block_length, 0.0F, magnitudes_of);
    });
    phase_angles(samples, angles);
    for (std::size_t i = 0; i < block_length; ++i) {
      magnitude.count(magnitudes_of[i], literal_magnitude(re[i], im[i]), re[i], im[i]);
#if defined(__x86_64__)
      angle.count(angles[i], std::atan2(im[i], re[i]), re[i], im[i]);
#endif
    }
    show_progress(values, pairs);
  }
  bool right = magnitude.report("magnitude", values);
#if defined(__x86_64__)
  right = angle.report("angle", values) && right;
#endif
  return right;
}

bool parse(const char* text, std::uint64_t& value) {
  const char* const end = text + std::strlen(text);
  const auto [stop, error] = std::from_chars(text, end, value);
  return error == std::errc() && stop == end && value > 0;
}

}  // namespace
}  // namespace orn::fmcw_demod_lib::kernels

int main(int argc, char** argv) {
  using namespace orn;
  std::uint64_t stride = 0;
  std::uint64_t pairs = 0;
  if (argc != 3 || !fmcw_demod_lib::kernels::parse(argv[1], stride) ||
      !fmcw_demod_lib::kernels::parse(argv[2], pairs)) {
    std::fputs("usage: fmcw_demod_exhaustive STRIDE PAIRS, whole numbers from 1 on\n", stderr);
    return 2;
  }
  bool right = true;
  for (const simd::target_t target : simd::supported_targets()) {
    simd::limit_target(target);
    std::printf("%s\n", simd::name_of(target));
    right = fmcw_demod_lib::kernels::check_logarithms(stride) && right;
    right = fmcw_demod_lib::kernels::check_pairs(pairs) && right;
    std::fflush(stdout);
  }
  return right ? EXIT_SUCCESS : EXIT_FAILURE;
}
