#include <common_log/logger_system.h>
#include <fmcw_demod/fmcw_demod.h>

#include <cstdio>
#include <cstdlib>

/// A host whose static object analyses in its destructor, when statics of the libraries that were
/// used later than it was made are gone. Succeeds only there.
namespace {

struct last_analysis_t {
  last_analysis_t() = default;
  last_analysis_t(const last_analysis_t&) = delete;
  last_analysis_t& operator=(const last_analysis_t&) = delete;
  ~last_analysis_t() {
    const orn::fmcw_demod_lib::fmcw_demod_config_t config;
    orn::fmcw_demod_lib::SignalStream signal{{}, 125e6F};
    signal.samples.resize(5000, 1.0F);
    orn::fmcw_demod_lib::fmcw_measure_result_t result;
    const int code = DLL_fmcw_analysis(&config, signal, &result, nullptr);
    std::printf("code %d, summary %u, %d entries\n", code, result.summary_valid, entries);
    std::fflush(stdout);
    std::_Exit(code == 0 && result.summary_valid == 1 && entries > 5 ? 0 : 1);
  }

  int entries = 0;
} last_analysis;

}  // namespace

int main() {
  common_log::logger_system_t::get_instance().set_sink(
      [](const auto& /*entry*/) { ++last_analysis.entries; });
  return 1;
}
