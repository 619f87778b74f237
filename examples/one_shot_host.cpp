// A host that analyses one capture in one call and shows how far it is from the library's log
// entries.
#include "sawtooth.h"

#include <common_log/logger_system.h>

#include <cstdio>
#include <iostream>

namespace lib = orn::fmcw_demod_lib;

int main() {
  auto& logger = common_log::logger_system_t::get_instance();
  logger.set_sink([](const common_log::log_entry_t& entry) {
    if (entry.level == common_log::log_level_t::progress) {
      std::fprintf(stderr, "\r\033[K%s", entry.message.c_str());
    } else {
      std::fprintf(stderr, "\r\033[K%s\n", entry.message.c_str());
    }
  });

  lib::fmcw_demod_config_t config;
  config.fs = 10e6;
  config.advanced.min_chirp_len = 100e-6;
  config.advanced.time_gate_len = 450e-6;  // two frames
  lib::fmcw_measure_result_t result;
  lib::ErrorMsg error;
  const int code = lib::DLL_fmcw_analysis(&config, sawtooth(2e6), &result, &error);
  logger.set_sink({});
  if (code != 0) {
    std::fprintf(stderr, "one_shot_host: %d: %s\n", code, error.message.c_str());
    return 1;
  }
  std::cout << result;
}
