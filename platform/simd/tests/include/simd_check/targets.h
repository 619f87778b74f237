#pragma once

#include <simd/dispatch.h>

#include <gtest/gtest.h>

namespace orn::simd_check {

/// Runs `check` on every target that this machine has.
template <class Check>
void on_every_target(Check check) {
  for (const simd::target_t target : simd::supported_targets()) {
    const testing::ScopedTrace trace(__FILE__, __LINE__, simd::name_of(target));
    simd::limit_target(target);
    check();
  }
  simd::limit_target(simd::supported_targets().back());
}

}  // namespace orn::simd_check
