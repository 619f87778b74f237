#include "common/log.h"

#include <fmcw_demod/analyzer.h>
#include <memory/scratch.h>

#include <atomic>
#include <cstdint>
#include <exception>
#include <utility>

namespace orn::fmcw_demod_lib {
namespace {

/// Fills `error`, if there is one, and returns the code. Runs inside exception handlers, so a lack
/// of memory for the text must not throw again.
int report(ErrorMsg* error, int code, const char* message, const char* detail = "") noexcept {
  if (error != nullptr) {
    error->code = code;
    try {
      error->message = message;
      error->message += detail;
    } catch (...) {
      error->message.clear();
    }
  }
  return code;
}

void reset(ErrorMsg* error) noexcept {
  if (error != nullptr) {
    error->code = 0;
    error->message.clear();
  }
}

/// Destroys the analyzer of a handle variable on every way out of a scope.
struct handle_guard_t {
  void*& handle;
  ~handle_guard_t() { destroy_fmcw_analyzer(&handle); }
};

I_Analyzer* analyzer_of(void* handle) { return static_cast<I_Analyzer*>(handle); }

std::atomic<std::uint64_t> run_counter{0};

}  // namespace

I_Analyzer::~I_Analyzer() = default;

int I_Analyzer::config_with_error_process(SignalStream& signal, const void* config,
                                          ErrorMsg* error) {
  reset(error);
  if (config == nullptr) {
    return report(error, -100, "Configuration pointer is null");
  }
  try {
    const int code = this->config(config, &signal.samples, signal.fs);
    return code == 0 ? 0 : report(error, code, "Configuration failed");
  } catch (const std::exception& exception) {
    return report(error, -1, "Exception in config: ", exception.what());
  } catch (...) {
    return report(error, -2, "Unknown exception in config");
  }
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): hosts rely on the signal being a copy
int I_Analyzer::work_analyze_with_error_process(SignalStream signal, void* result,
                                                ErrorMsg* error) {
  reset(error);
  if (signal.samples.empty()) {
    return report(error, -101, "Invalid input signal stream");
  }
  if (result == nullptr) {
    return report(error, -102, "Result pointer is null");
  }
  try {
    const int code = work_analyze(signal, result);
    return code == 0 ? 0 : report(error, code, "Analysis failed");
  } catch (const std::exception& exception) {
    return report(error, -3, "Exception in work_analyze: ", exception.what());
  } catch (...) {
    return report(error, -4, "Unknown exception in work_analyze");
  }
}

int create_fmcw_analyzer(void** handle, ErrorMsg* /*error*/) {
  if (*handle != nullptr) {
    return -1;
  }
  *handle = static_cast<I_Analyzer*>(new FMCWAnalyzer);
  return 0;
}

int config_fmcw_analyzer(void* handle, SignalStream& signal, const fmcw_demod_config_t* config,
                         ErrorMsg* error) {
  return analyzer_of(handle)->config_with_error_process(signal, config, error);
}

int work_fmcw_analyzer(void* handle, const SignalStream& signal, fmcw_measure_result_t* result,
                       ErrorMsg* error) {
  SignalStream copy{{}, signal.fs};
  memory::reserve_large(copy.samples, signal.samples.size());
  copy.samples.assign(signal.samples.begin(), signal.samples.end());
  return analyzer_of(handle)->work_analyze_with_error_process(std::move(copy), result, error);
}

int destroy_fmcw_analyzer(void** handle) {
  if (*handle == nullptr) {
    return -1;
  }
  delete analyzer_of(std::exchange(*handle, nullptr));
  return 0;
}

int DLL_fmcw_analysis(const fmcw_demod_config_t* config, SignalStream signal,
                      fmcw_measure_result_t* result, ErrorMsg* error) {
  const std::uint64_t run_id = ++run_counter;
  FMCW_LOG(common_log::log_level_t::run, "FMCW demodulation START [ID={}]", run_id);
  int status = 0;
  ErrorMsg local_error;
  {
    void* handle = nullptr;
    const handle_guard_t guard{handle};
    status = create_fmcw_analyzer(&handle, &local_error);
    if (status == 0) {
      status = config_fmcw_analyzer(handle, signal, config, &local_error);
    }
    if (status == 0) {
      status = work_fmcw_analyzer(handle, signal, result, &local_error);
    }
  }
  if (status != 0) {
    if (error != nullptr) {
      *error = std::move(local_error);
    }
    return status;
  }
  FMCW_LOG(common_log::log_level_t::run, "FMCW demodulation FINISH [ID={}], status={}", run_id,
           status);
  return 0;
}

}  // namespace orn::fmcw_demod_lib
