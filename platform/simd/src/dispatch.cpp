#include <simd/dispatch.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>

#if defined(__x86_64__)
#include <cpuid.h>
#endif

namespace orn::simd {
namespace {

constexpr std::array<target_t, 3> targets = {target_t::baseline, target_t::avx2, target_t::avx512};

#if defined(__x86_64__)
/// The rest of x86-64-v3, which __builtin_cpu_supports() of clang 14 has no names for.
bool has_movbe_f16c_lzcnt() noexcept {
  unsigned eax = 0;
  unsigned ebx = 0;
  unsigned ecx = 0;
  unsigned edx = 0;
  constexpr unsigned movbe_and_f16c = unsigned{bit_MOVBE} | unsigned{bit_F16C};
  if (__get_cpuid(1, &eax, &ebx, &ecx, &edx) == 0 || (ecx & movbe_and_f16c) != movbe_and_f16c) {
    return false;
  }
  return __get_cpuid(0x80000001, &eax, &ebx, &ecx, &edx) != 0 && (ecx & bit_LZCNT) != 0;
}
#endif

target_t widest_supported() noexcept {
#if defined(__x86_64__)
  __builtin_cpu_init();
  const bool v3 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") &&
                  __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2") &&
                  has_movbe_f16c_lzcnt();
  const bool v4 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                  __builtin_cpu_supports("avx512cd") && __builtin_cpu_supports("avx512dq") &&
                  __builtin_cpu_supports("avx512vl");
  if (v3 && v4) {
    return target_t::avx512;
  }
  if (v3) {
    return target_t::avx2;
  }
#endif
  return target_t::baseline;
}

const target_t widest = widest_supported();
std::atomic<target_t> limit{target_t::avx512};

}  // namespace

const char* name_of(target_t target) noexcept {
  switch (target) {
    case target_t::avx512:
      return "AVX-512";
    case target_t::avx2:
      return "AVX2";
    case target_t::baseline:
      break;
  }
  return "baseline";
}

std::span<const target_t> supported_targets() noexcept {
  return std::span(targets).first(static_cast<std::size_t>(widest) + 1);
}

target_t active_target() noexcept {
  return std::min(widest, limit.load(std::memory_order_relaxed));
}

void limit_target(target_t widest_used) noexcept {
  limit.store(widest_used, std::memory_order_relaxed);
}

}  // namespace orn::simd
