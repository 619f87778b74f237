#pragma once

#include "dispatch.h"

#include <gtest/gtest.h>

namespace orn::fmcw_demod_lib {

/// Runs `check` on every target that this machine has.
template <class Check>
void on_every_target(Check check) {
  for (const common_lib::target_t target : common_lib::supported_targets()) {
    const testing::ScopedTrace trace(__FILE__, __LINE__, common_lib::name_of(target));
    common_lib::limit_target(target);
    check();
  }
  common_lib::limit_target(common_lib::supported_targets().back());
}

}  // namespace orn::fmcw_demod_lib
