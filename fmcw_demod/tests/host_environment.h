#pragma once

#include <cfenv>
#include <vector>

#if defined(__x86_64__)
#include <xmmintrin.h>
#endif

namespace orn::fmcw_demod_lib {

/// A floating-point environment that a host may be in when it calls.
struct host_environment_t {
  const char* name;
  void (*enter)();
};

/// What calculations on this thread are subject to, and the exceptions they have raised.
struct float_state_t {
  int rounding = std::fegetround();
  int raised = std::fetestexcept(FE_ALL_EXCEPT);
#if defined(__GLIBC__)
  int traps = fegetexcept();
#endif
#if defined(__x86_64__)
  unsigned control = _mm_getcsr();  ///< flush-to-zero and denormals-are-zero as well
#endif

  friend bool operator==(const float_state_t&, const float_state_t&) = default;
};

inline std::vector<host_environment_t> host_environments() {
  return {
    {"rounding up", [] { std::fesetround(FE_UPWARD); }},
        {"rounding down", [] { std::fesetround(FE_DOWNWARD); }},
        {"rounding towards zero", [] { std::fesetround(FE_TOWARDZERO); }},
        {"exceptions raised", [] { std::feraiseexcept(FE_INVALID | FE_UNDERFLOW); }},
#if defined(__GLIBC__)
        {"traps", [] { feenableexcept(FE_ALL_EXCEPT); }},
#endif
#if defined(__x86_64__)
        {"denormals are zero", [] { _mm_setcsr(_mm_getcsr() | 0x8040U); }},
#elif defined(__aarch64__)
        {"denormals are zero", [] {
           unsigned long control = 0;
           asm volatile("mrs %0, fpcr" : "=r"(control));
           asm volatile("msr fpcr, %0" : : "r"(control | 1UL << 24));
         }},
#endif
  };
}

/// Runs `act`, which may not throw, in a host's environment; returns whether it is the same
/// afterwards.
template <class Act>
bool survives(const host_environment_t& environment, const Act& act) {
  environment.enter();
  const float_state_t before;
  act();
  const float_state_t after;
  std::fesetenv(FE_DFL_ENV);
  return before == after;
}

}  // namespace orn::fmcw_demod_lib
