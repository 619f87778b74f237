#include <fmcw_demod/analyzer.h>

#include <exception>
#include <utility>

#include <float_environment/default_environment.h>

namespace orn::fmcw_demod_lib {

using float_environment::in_default_environment;

FMCWAnalyzer::FMCWAnalyzer() : record_(std::make_unique<fmcw_demod_config_t>()) {
  record_->chirp_set = fmcw_chirp_set_t::automatic;
}

FMCWAnalyzer::~FMCWAnalyzer() = default;

int FMCWAnalyzer::config(const void* config, std::vector<std::complex<float>>* samples, float fs) {
  if (config == nullptr) {
    return -1;
  }
  const auto& record = *static_cast<const fmcw_demod_config_t*>(config);
  if (engine_ && in_default_environment([&] { return record == *record_; })) {
    return 0;
  }
  if (&record != record_.get()) {
    *record_ = record;
  }
  // Both are built before either replaces its predecessor: an engine never outlives its parameters.
  auto parameters = std::make_unique<FMCWConfig>(*record_, samples, fs);
  auto engine = std::make_unique<FMCWAnalyze>(*parameters);
  engine_ = std::move(engine);
  parameters_ = std::move(parameters);
  return 0;
}

int FMCWAnalyzer::work_analyze(const SignalStream& signal, void* result) {
  if (!engine_) {
    return -1;
  }
  if (result == nullptr) {
    return -2;
  }
  try {
    in_default_environment(
        [&] { engine_->analyze(signal, *static_cast<fmcw_measure_result_t*>(result)); });
  } catch (const std::exception&) {
    return -3;
  }
  return 0;
}

}  // namespace orn::fmcw_demod_lib
