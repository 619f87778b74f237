#include "synthetic.h"

#include <common_log/logger_system.h>
#include <fmcw_demod/fmcw_demod.h>

#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>
#include <utility>

#include <gtest/gtest.h>

namespace {

/// Counts allocations, and fails the one whose turn it is while armed.
struct heap_t {
  std::atomic<long> live{0};
  std::atomic<long> until_failure{std::numeric_limits<long>::max()};
} heap;

void* allocate(std::size_t size) {
  if (--heap.until_failure == 0) {
    throw std::bad_alloc();
  }
  void* const memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  ++heap.live;
  return memory;
}

void release(void* memory) noexcept {
  if (memory != nullptr) {
    --heap.live;
    std::free(memory);
  }
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* memory) noexcept { release(memory); }
void operator delete[](void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t) noexcept { release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { release(memory); }

namespace orn::fmcw_demod_lib {
namespace {

struct outcome_t {
  int code = 0;
  ErrorMsg error;
  bool thrown = false;
};

class FailingAllocation : public testing::Test {
 protected:
  FailingAllocation() {
    sawtooth.ramp = 600.0;
    sawtooth.count = 3000;
    config = sawtooth.config();
    config.advanced.window.window_overlap = 0;
    config.advanced.time_gate_len = 1e-4;
    config.advanced.min_chirp_len = 1e-6;
    stream = sawtooth.stream();
    common_log::logger_system_t::get_instance().set_sink([](const auto&) {});
  }
  ~FailingAllocation() override { common_log::logger_system_t::get_instance().set_sink({}); }

  /// Runs `call` once for each of its allocations, that one failing, until a run has none left.
  /// Checks each outcome, that nothing leaked and that an undisturbed run still works.
  template <class Call>
  void fail_each_allocation(Call call) {
    fmcw_measure_result_t expected;
    ASSERT_EQ(call(expected).code, 0);
    ASSERT_GT(expected.chirp_total, 1U);
    bool failed = true;
    long point = 0;
    while (failed) {
      ++point;
      const long before = heap.live;
      {
        outcome_t outcome;
        fmcw_measure_result_t result;
        testing::internal::CaptureStderr();
        heap.until_failure = point;
        outcome = call(result);
        failed = heap.until_failure.exchange(std::numeric_limits<long>::max()) <= 0;

        testing::internal::GetCapturedStderr();
        if (outcome.thrown) {
          ++thrown;
        } else if (outcome.code == -1) {
          ++config_failed;
          EXPECT_EQ(outcome.error.message, "Exception in config: std::bad_alloc") << point;
        } else if (outcome.code == -3) {
          ++analysis_failed;
          EXPECT_EQ(outcome.error.message, "Analysis failed") << point;
        } else {
          ASSERT_EQ(outcome.code, 0) << point;
          ++survived;
          EXPECT_EQ(result.chirp_intervals, expected.chirp_intervals) << point;
        }
      }
      EXPECT_EQ(heap.live, before) << "leaked when allocation " << point << " failed";
    }
    fmcw_measure_result_t again;
    EXPECT_EQ(call(again).code, 0);
    EXPECT_EQ(again.instantaneous_freq, expected.instantaneous_freq);
    EXPECT_GT(point, 100);
  }

  synthetic::sawtooth_t sawtooth;
  fmcw_demod_config_t config;
  SignalStream stream;
  int thrown = 0, config_failed = 0, analysis_failed = 0, survived = 0;
};

TEST_F(FailingAllocation, OfAOneShotCallIsReportedWithoutLeaks) {
  fail_each_allocation([this](fmcw_measure_result_t& result) {
    outcome_t outcome;
    try {
      outcome.code = DLL_fmcw_analysis(&config, stream, &result, &outcome.error);
    } catch (const std::bad_alloc&) {
      outcome.thrown = true;
    }
    return outcome;
  });
  // The copies of the samples and the analyzer are the caller's to catch; log entries are lost
  // alone.
  EXPECT_GT(thrown, 2);
  EXPECT_GT(config_failed, 2);
  EXPECT_GT(analysis_failed, 50);
  EXPECT_GT(survived, 10);
}

TEST_F(FailingAllocation, OfAReusedHandleLeavesItUsable) {
  void* handle = nullptr;
  ASSERT_EQ(create_fmcw_analyzer(&handle, nullptr), 0);
  bool other = false;
  fail_each_allocation([&](fmcw_measure_result_t& result) {
    outcome_t outcome;
    other = !other;
    config.advanced.chirp_count = other ? 30 : 29;  // each call configures anew
    try {
      outcome.code = config_fmcw_analyzer(handle, stream, &config, &outcome.error);
      if (outcome.code == 0) {
        outcome.code = work_fmcw_analyzer(handle, stream, &result, &outcome.error);
      }
    } catch (const std::bad_alloc&) {
      outcome.thrown = true;
    }
    return outcome;
  });
  EXPECT_GT(config_failed, 2);
  EXPECT_EQ(destroy_fmcw_analyzer(&handle), 0);
}

}  // namespace
}  // namespace orn::fmcw_demod_lib
