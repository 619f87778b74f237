#include "digest.h"
#include "synthetic.h"

#include <common_lib/fourier_transform.h>
#include <common_lib/window_function.h>
#include <common_log/logger_system.h>
#include <fmcw_demod/fmcw_demod.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <limits>
#include <new>
#include <sstream>
#include <string>
#include <utility>

#include <gtest/gtest.h>

namespace {

constexpr long never = std::numeric_limits<long>::max();

/// Counts allocations of every kind. While armed, fails the one whose turn it is, and if told so
/// all that follow.
struct heap_t {
  std::atomic<long> live{0};
  std::atomic<long> aligned{0};
  std::atomic<long> until_failure{never};
  std::atomic<bool> for_good{false};
} heap;

void* allocate_or_null(std::size_t size, std::size_t alignment = 0) noexcept {
  const long left = --heap.until_failure;
  if (left == 0 || (left < 0 && heap.for_good)) {
    return nullptr;
  }
  heap.aligned += alignment != 0 ? 1 : 0;
  const std::size_t whole = std::max<std::size_t>(size, 1);
  void* const memory =
      alignment == 0
          ? std::malloc(whole)
          : std::aligned_alloc(alignment, (whole + alignment - 1) / alignment * alignment);
  heap.live += memory != nullptr ? 1 : 0;
  return memory;
}

void* allocate(std::size_t size, std::size_t alignment = 0) {
  void* const memory = allocate_or_null(size, alignment);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

void release(void* memory) noexcept {
  if (memory != nullptr) {
    --heap.live;
    std::free(memory);
  }
}

std::size_t bytes(std::align_val_t alignment) { return static_cast<std::size_t>(alignment); }

}  // namespace

// clang-format off
using std::align_val_t;
using std::nothrow_t;
void* operator new(std::size_t n) { return allocate(n); }
void* operator new[](std::size_t n) { return allocate(n); }
void* operator new(std::size_t n, const nothrow_t&) noexcept { return allocate_or_null(n); }
void* operator new[](std::size_t n, const nothrow_t&) noexcept { return allocate_or_null(n); }
void* operator new(std::size_t n, align_val_t a) { return allocate(n, bytes(a)); }
void* operator new[](std::size_t n, align_val_t a) { return allocate(n, bytes(a)); }
void* operator new(std::size_t n, align_val_t a, const nothrow_t&) noexcept { return allocate_or_null(n, bytes(a)); }
void* operator new[](std::size_t n, align_val_t a, const nothrow_t&) noexcept { return allocate_or_null(n, bytes(a)); }
void operator delete(void* p) noexcept { release(p); }
void operator delete[](void* p) noexcept { release(p); }
void operator delete(void* p, std::size_t) noexcept { release(p); }
void operator delete[](void* p, std::size_t) noexcept { release(p); }
void operator delete(void* p, const nothrow_t&) noexcept { release(p); }
void operator delete[](void* p, const nothrow_t&) noexcept { release(p); }
void operator delete(void* p, align_val_t) noexcept { release(p); }
void operator delete[](void* p, align_val_t) noexcept { release(p); }
void operator delete(void* p, std::size_t, align_val_t) noexcept { release(p); }
void operator delete[](void* p, std::size_t, align_val_t) noexcept { release(p); }
void operator delete(void* p, align_val_t, const nothrow_t&) noexcept { release(p); }
void operator delete[](void* p, align_val_t, const nothrow_t&) noexcept { release(p); }
// clang-format on

namespace orn::fmcw_demod_lib {
namespace {

/// What one run gave.
struct outcome_t {
  int code = 0;
  ErrorMsg error;
  fmcw_measure_result_t result;
  std::vector<float> values;
  bool thrown = false;

  std::uint64_t digest() const {
    digest_t digest;
    digest.add(result);
    digest.add(values);
    return digest.value();
  }
};

/// Whether one allocation fails or all from one on, as on a machine that has run out of memory.
class FailingAllocation : public testing::TestWithParam<bool> {
 protected:
  FailingAllocation() {
    sawtooth.ramp = 600.0;
    sawtooth.count = 3000;
    config = sawtooth.config();
    config.advanced.window.window_overlap = 0;
    config.advanced.time_gate_len = 1e-4;
    config.advanced.min_chirp_len = 1e-6;
    stream = sawtooth.stream();
    heap.for_good = GetParam();
    // Lost entries become lines there.
    testing::internal::CaptureStderr();
  }
  ~FailingAllocation() override {
    testing::internal::GetCapturedStderr();
    heap.for_good = false;
  }

  /// Runs `run` once for each of its allocations, that one failing, until a run has none left.
  /// Checks each outcome by `check`, that nothing leaked and that undisturbed runs agree. Returns
  /// the number of runs.
  template <class Run, class Check>
  long fail_each_allocation(const Run& run, const Check& check) {
    const auto guarded = [&](outcome_t& outcome) {
      try {
        run(outcome);
      } catch (const std::bad_alloc&) {
        outcome.thrown = true;
      }
    };
    outcome_t expected;
    guarded(expected);
    EXPECT_FALSE(expected.thrown);
    EXPECT_EQ(expected.code, 0);
    long point = 0;
    for (bool failed = true; failed;) {
      ++point;
      const long before = heap.live;
      {
        outcome_t outcome;
        heap.until_failure = point;
        guarded(outcome);
        failed = heap.until_failure.exchange(never) <= 0;
        check(outcome, failed, point);
        if (!failed) {
          EXPECT_EQ(outcome.digest(), expected.digest());
        }
      }
      EXPECT_EQ(heap.live, before) << "leaked when allocation " << point << " failed";
    }
    return point;
  }

  /// Of calls that return codes: which of them a failure leaves by, and with which message.
  void count(const outcome_t& outcome, long point) {
    const bool no_text = GetParam();  // there is no memory for a message of some length either
    if (outcome.thrown) {
      ++thrown;
    } else if (outcome.code == -1) {
      ++config_failed;
      EXPECT_EQ(outcome.error.message, no_text ? "" : "Exception in config: std::bad_alloc")
          << point;
    } else if (outcome.code == -3) {
      ++analysis_failed;
      EXPECT_EQ(outcome.error.message, "Analysis failed") << point;
    } else {
      ASSERT_EQ(outcome.code, 0) << point;
      ++survived;
      EXPECT_GT(outcome.result.chirp_total, 1U) << point;
    }
  }

  synthetic::sawtooth_t sawtooth;
  fmcw_demod_config_t config;
  SignalStream stream;
  int thrown = 0, config_failed = 0, analysis_failed = 0, survived = 0;
};

INSTANTIATE_TEST_SUITE_P(, FailingAllocation, testing::Bool(),
                         [](const auto& one) { return one.param ? "AndAllAfterIt" : "Alone"; });

TEST_P(FailingAllocation, OfAOneShotCallIsReportedWithoutLeaks) {
  common_log::logger_system_t::get_instance().set_sink([](const auto& /*entry*/) {});
  const long aligned_before = heap.aligned;
  const long runs = fail_each_allocation(
      [this](outcome_t& outcome) {
        outcome.code = DLL_fmcw_analysis(&config, stream, &outcome.result, &outcome.error);
      },
      [this](const outcome_t& outcome, bool /*failed*/, long point) { count(outcome, point); });
  common_log::logger_system_t::get_instance().set_sink({});
  EXPECT_GT(runs, 100);
  EXPECT_GT(heap.aligned - aligned_before, runs) << "the kernels' scratch memory";
  // The copies of the samples and the analyzer are the caller's to catch.
  EXPECT_GT(thrown, 2);
  EXPECT_GT(config_failed, 2);
  EXPECT_GT(analysis_failed, 50);
  if (!heap.for_good) {
    EXPECT_GT(survived, 10) << "log entries are lost alone";
  }
}

TEST_P(FailingAllocation, OfAReusedHandleLeavesItUsable) {
  void* handle = nullptr;
  ASSERT_EQ(create_fmcw_analyzer(&handle, nullptr), 0);
  bool other = false;
  fail_each_allocation(
      [&](outcome_t& outcome) {
        other = !other;
        config.advanced.chirp_count = other ? 30 : 29;  // each call configures anew
        outcome.code = config_fmcw_analyzer(handle, stream, &config, &outcome.error);
        if (outcome.code == 0) {
          outcome.code = work_fmcw_analyzer(handle, stream, &outcome.result, &outcome.error);
        }
      },
      [this](const outcome_t& outcome, bool /*failed*/, long point) { count(outcome, point); });
  EXPECT_GT(thrown, 0) << "the copy of the samples";
  EXPECT_GT(config_failed, 2);
  EXPECT_GT(analysis_failed, 50);
  EXPECT_EQ(destroy_fmcw_analyzer(&handle), 0);
}

TEST_P(FailingAllocation, OfAHandlesCreationLeavesItNull) {
  const long runs = fail_each_allocation(
      [](outcome_t& outcome) {
        void* handle = nullptr;
        try {
          outcome.code = create_fmcw_analyzer(&handle, nullptr);
        } catch (...) {
          EXPECT_EQ(handle, nullptr);
          throw;
        }
        destroy_fmcw_analyzer(&handle);
      },
      [](const outcome_t& outcome, bool failed, long point) {
        EXPECT_EQ(outcome.thrown, failed) << point;
      });
  EXPECT_GT(runs, 2);
}

/// Operations that a host calls by themselves: they throw, and nothing else happens.
TEST_P(FailingAllocation, OfAnOperationIsThrownWithoutLeaks) {
  struct operation_t {
    const char* name;
    std::function<void(outcome_t&)> run;
    long fewest_runs;  ///< one more than the allocations that it cannot do without
  };
  const FMCWConfig parameters(config, &stream.samples, stream.fs);
  const FMCWAnalyze engine(parameters);
  const std::vector<sample_t>& samples = stream.samples;
  const std::vector<float> ramp(40, 0.5F);
  const operation_t operations[] = {
      {"spectrogram", [&](auto& o) { engine.compute_spectrogram(samples, 1e7F, o.result); }, 100},
      {"single spectrum",
       [&](auto& o) {
         engine.compute_psd(samples, 1e7F, o.result.psd_freq, o.result.psd_magnitude_dB);
       },
       5},
      {"channel power",
       [&](auto& o) {
         basefunc::calculate_channel_power_db(samples, o.values, o.result.chirp_power, 1e7F, 50);
       },
       5},
      {"transform",
       [&](auto& /*o*/) {
         std::vector<sample_t> data(1009, 1.0F);
         common_lib::lib_fourier_transform_t::deal_fft(data, 0);
       },
       5},
      {"Hamming window",
       [](auto& /*o*/) {
         std::vector<sample_t> window;
         common_lib::lib_window_function_t::generate_hamming_window(window, 64, true);
       },
       2},
      {"parameters",
       [&](auto& o) {
         o.values = FMCWConfig(parameters).get_smoothing_window(5);
         const FMCWConfig another(config, &stream.samples, stream.fs);
       },
       6},
      {"simple frequency",
       [&](auto& o) { FMCWConfig::compute_instantaneous_freq_simple(samples, 1e7F, o.values); }, 3},
      {"convolution", [&](auto& o) { o.values = basefunc::conv_same(ramp, ramp); }, 2},
      {"phase", [&](auto& o) { o.values = basefunc::cumtrapz_phase(0.1, ramp); }, 2},
  };
  for (const auto& operation : operations) {
    const long runs =
        fail_each_allocation(operation.run, [&](const outcome_t& outcome, bool failed, long point) {
          EXPECT_EQ(outcome.thrown, failed) << operation.name << ", " << point;
        });
    EXPECT_GE(runs, operation.fewest_runs) << operation.name;
  }
}

TEST_P(FailingAllocation, OfAStreamIsTheStreamsToReport) {
  fmcw_measure_result_t result;
  ASSERT_EQ(DLL_fmcw_analysis(&config, stream, &result, nullptr), 0);
  const long runs = fail_each_allocation(
      [&](outcome_t& outcome) {
        std::ostringstream text;
        text << result;
        outcome.code = text.bad() ? 1 : 0;
      },
      [](const outcome_t& outcome, bool failed, long point) {
        EXPECT_EQ(outcome.code != 0 || outcome.thrown, failed) << point;
      });
  EXPECT_GT(runs, 3);
}

TEST_P(FailingAllocation, DoesNotConcernTheSettings) {
  const long runs = fail_each_allocation(
      [](outcome_t& /*outcome*/) {
        fmcw_demod_configure_manager_t manager;
        manager.set_fs(1e6);
        manager.set_from_start(0.2);
        manager.init();
        EXPECT_EQ(manager.get_demod_config().fs, 125e6);
      },
      [](const outcome_t& /*outcome*/, bool failed, long /*point*/) { EXPECT_FALSE(failed); });
  EXPECT_EQ(runs, 1);
}

}  // namespace
}  // namespace orn::fmcw_demod_lib
