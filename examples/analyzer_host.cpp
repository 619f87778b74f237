// A host that keeps one analyzer: it configures it once, analyses several captures into the same
// result record, changes a setting and goes on.
#include "sawtooth.h"

#include <cstdio>
#include <stdexcept>
#include <string>

namespace lib = orn::fmcw_demod_lib;

namespace {

/// The handle with the habits of C++: destroyed on every way out, codes turned into exceptions.
class analyzer_t {
 public:
  analyzer_t() { check(lib::create_fmcw_analyzer(&handle_, &error_)); }
  analyzer_t(const analyzer_t&) = delete;
  analyzer_t& operator=(const analyzer_t&) = delete;
  ~analyzer_t() { lib::destroy_fmcw_analyzer(&handle_); }

  void configure(const lib::fmcw_demod_config_t& config, lib::SignalStream& signal) {
    check(lib::config_fmcw_analyzer(handle_, signal, &config, &error_));
  }
  void analyze(const lib::SignalStream& signal, lib::fmcw_measure_result_t& result) {
    check(lib::work_fmcw_analyzer(handle_, signal, &result, &error_));
  }

 private:
  void check(int code) const {
    if (code != 0) {
      throw std::runtime_error(std::to_string(code) + ": " + error_.message);
    }
  }

  void* handle_ = nullptr;
  lib::ErrorMsg error_;
};

void show(const char* title, const lib::fmcw_measure_result_t& result) {
  std::printf("%s: %u chirps\n", title, result.chirp_total);
  for (const auto& chirp : result.chirp_results) {
    std::printf("  chirp %u: %.2f kHz/us, %.1f us\n", chirp.chirp_id, chirp.slope,
                chirp.length * 1e6);
  }
}

}  // namespace

int main() {
  try {
    lib::fmcw_demod_configure_manager_t settings;
    settings.set_fs(10e6);
    settings.set_meas_time(2e-3);
    settings.set_time_gate_len(2e-3);    // above the capture's duration: one frame
    settings.set_min_chirp_len(100e-6);  // leaves the fly-backs out

    lib::SignalStream signal = sawtooth(2e6);
    lib::fmcw_measure_result_t result;  // its vectors keep their storage from analysis to analysis
    analyzer_t analyzer;
    analyzer.configure(settings.get_demod_config(), signal);
    analyzer.analyze(signal, result);
    show("2 MHz", result);

    analyzer.analyze(sawtooth(1e6), result);
    show("1 MHz, same settings", result);

    settings.set_st_config(lib::fmcw_st_config_t::fixed_exclusion);
    settings.set_analysis_exclude(0.25);
    analyzer.configure(settings.get_demod_config(), signal);
    analyzer.analyze(signal, result);
    show("2 MHz, the middle half of each chirp", result);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "analyzer_host: %s\n", failure.what());
    return 1;
  }
}
