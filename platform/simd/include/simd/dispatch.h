#pragma once

#include <cstddef>
#include <span>

/// Marks a kernel's body, and every helper that one calls: all of it is compiled into each target.
#define ORN_KERNEL __attribute__((always_inline))

#if defined(__x86_64__)
#if defined(__clang__)
#define ORN_TARGET_AVX512 __attribute__((target("arch=x86-64-v4")))
#else
#define ORN_TARGET_AVX512 __attribute__((target("arch=x86-64-v4,prefer-vector-width=512")))
#endif
#define ORN_TARGET_AVX2 __attribute__((target("arch=x86-64-v3")))
#endif

/// Run-time choice of the instruction set. A kernel is written once, as plain loops that the
/// compiler vectorises; `dispatch` holds one copy of it per target and runs the widest one that the
/// machine has. Lanes are independent outputs, so every target gives the same bits.
namespace orn::simd {

/// Instruction sets a kernel is compiled for, each containing those before it.
enum class target_t {
  baseline,  ///< what the compiler was told to build for
  avx2,      ///< x86-64-v3, which has fused multiply-add
  avx512     ///< x86-64-v4
};

const char* name_of(target_t target) noexcept;

/// The targets that this machine runs, ascending.
std::span<const target_t> supported_targets() noexcept;

/// The target that kernels run on: the widest supported one, unless limited.
target_t active_target() noexcept;

/// Keeps kernels from targets wider than `widest_used`. For tests and benchmarks; all threads
/// follow.
void limit_target(target_t widest_used) noexcept;

/// What a body may know of its target at compile time.
template <target_t Target>
struct on_t {
  static constexpr target_t target = Target;
  /// Size of a vector register, by the byte; 16 is what every 64-bit machine has.
  static constexpr std::size_t register_bytes = Target == target_t::avx512 ? 64
                                                : Target == target_t::avx2 ? 32
                                                                           : 16;
};

namespace dispatch_detail {

// Each works on a copy of the closure, so that the compiler sees that no store reaches it.
template <class Kernel>
void run_baseline(const Kernel& shared) {
  Kernel kernel = shared;
  kernel(on_t<target_t::baseline>{});
}

#if defined(__x86_64__)
template <class Kernel>
ORN_TARGET_AVX2 void run_avx2(const Kernel& shared) {
  Kernel kernel = shared;
  kernel(on_t<target_t::avx2>{});
}

template <class Kernel>
ORN_TARGET_AVX512 void run_avx512(const Kernel& shared) {
  Kernel kernel = shared;
  kernel(on_t<target_t::avx512>{});
}
#endif

}  // namespace dispatch_detail

/// Runs `kernel(on_t<target>{})` on the active target. The kernel is a lambda marked ORN_KERNEL
/// that captures by value.
template <class Kernel>
void dispatch(const Kernel& kernel) {
#if defined(__x86_64__)
  switch (active_target()) {
    case target_t::avx512:
      return dispatch_detail::run_avx512(kernel);
    case target_t::avx2:
      return dispatch_detail::run_avx2(kernel);
    case target_t::baseline:
      break;
  }
#endif
  dispatch_detail::run_baseline(kernel);
}

}  // namespace orn::simd
