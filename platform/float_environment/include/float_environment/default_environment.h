#pragma once

#include <cfenv>

/// Calculations in the floating-point environment that a program starts in, whatever the caller has
/// set for its thread: rounding to nearest, denormals kept, no traps.
namespace orn::float_environment {

/// The default environment while it lives; then the one it found, exception flags included.
class default_scope_t {
 public:
  default_scope_t() noexcept {
    std::fegetenv(&found_);
    std::fesetenv(FE_DFL_ENV);  // resets flush-to-zero and denormals-are-zero as well
  }
  ~default_scope_t() { std::fesetenv(&found_); }
  default_scope_t(const default_scope_t&) = delete;
  default_scope_t& operator=(const default_scope_t&) = delete;

 private:
  std::fenv_t found_;
};

/// Calls `body`, without arguments, in the default environment and returns what it returns;
/// whatever it throws leaves. Costs about 0.2 us.
///
/// Compilers take arithmetic for independent of the environment and move it across the calls that
/// change it. So `body` is called through a pointer whose value they cannot know: what it
/// calculates stays inside, and whoever opens a scope calculates nothing beside it.
template <class Body>
auto in_default_environment(const Body& body) -> decltype(body()) {
  using result_t = decltype(body());
  result_t (*const volatile call)(const Body&) = [](const Body& b) -> result_t { return b(); };
  const default_scope_t scope;
  return call(body);
}

}  // namespace orn::float_environment
