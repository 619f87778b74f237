#pragma once

#include <simd/dispatch.h>

namespace orn::fuzz {

/// Runs `work` on every instruction set of the machine, the widest last.
template <class Work>
void on_every_target(Work work) {
  for (const simd::target_t target : simd::supported_targets()) {
    simd::limit_target(target);
    work();
  }
}

}  // namespace orn::fuzz
