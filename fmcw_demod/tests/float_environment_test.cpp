#include "digest.h"
#include "host_environment.h"

#include <common_lib/fourier_transform.h>
#include <common_lib/window_function.h>
#include <fmcw_demod/fmcw_demod.h>

#include <cstdint>
#include <limits>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

/// Operations that hosts call outside whole analyses, in environments that would change every one
/// of them: each gives what it gives in the default environment.
namespace orn::fmcw_demod_lib {
namespace {

/// What an operation gave, taken without a calculation.
struct outcome_t {
  std::vector<float> floats;
  std::vector<double> doubles;
  std::vector<unsigned> whole;
  std::string text;

  std::uint64_t digest() const {
    digest_t digest;
    digest.add(floats);
    digest.add(doubles);
    for (const unsigned value : whole) {
      digest.add(value);
    }
    for (const char c : text) {
      digest.add(static_cast<unsigned char>(c));
    }
    return digest.value();
  }
};

constexpr float denormal = 0x1.8p-140F;
const std::vector<float> ramp = {0.1F, 0.3F, 1.7F, denormal, 4.1F, -9.7F, 0.7F, 1e-30F};
const std::vector<float> instants = {0.0F, 0.1F, 0.3F, 0.7F, 0.9F, 1.1F, 1.3F, 1.9F};
const std::vector<double> wide_ramp(ramp.begin(), ramp.end());
const std::vector<float> not_numbers = {1.0F, std::numeric_limits<float>::signaling_NaN()};
const std::vector<sample_t> samples = {{0.1F, 0.3F},        {denormal, -0.7F}, {0.9F, 1.1F},
                                       {-0.3F, denormal},   {0.7F, 0.7F},      {-1.3F, 0.1F},
                                       {denormal, denormal}};

struct operation_t {
  const char* name;
  void (*run)(outcome_t&);
};

const operation_t operations[] = {
    {"has_nan", [](outcome_t& o) { o.whole = {basefunc::has_nan(not_numbers)}; }},
    {"triangular window", [](outcome_t& o) { o.floats = basefunc::generate_triang_window(37); }},
    {"wide triangular window",
     [](outcome_t& o) { o.doubles = basefunc::generate_triang_window_double(37); }},
    {"convolution", [](outcome_t& o) { o.floats = basefunc::conv_same(ramp, instants); }},
    {"second convolution", [](outcome_t& o) { o.floats = basefunc::conv_float(ramp, instants); }},
    {"wide convolution",
     [](outcome_t& o) { o.doubles = basefunc::conv_same_double(wide_ramp, wide_ramp); }},
    {"phase over time", [](outcome_t& o) { o.doubles = basefunc::cumtrapz_phase(instants, ramp); }},
    {"phase", [](outcome_t& o) { o.floats = basefunc::cumtrapz_phase(0.1, ramp); }},
    {"integral", [](outcome_t& o) { o.doubles = basefunc::cumtrapz(instants, ramp); }},
    {"line", [](outcome_t& o) { o.floats = basefunc::polyfit_1(instants, ramp); }},
    {"unwrapping",
     [](outcome_t& o) {
       std::vector<float> phase = ramp;
       basefunc::mm_unwrap(phase, o.floats);
     }},
    {"wide unwrapping",
     [](outcome_t& o) {
       std::vector<double> phase = wide_ramp;
       basefunc::mm_unwrap(phase, o.doubles);
     }},
    {"channel power",
     [](outcome_t& o) {
       std::vector<float> freq;
       const float total = basefunc::calculate_channel_power_db(samples, freq, o.floats, 0.3F, 50);
       o.floats.insert(o.floats.end(), freq.begin(), freq.end());
       o.floats.push_back(total);
     }},
    {"parameters",
     [](outcome_t& o) {
       fmcw_demod_config_t config;
       config.fs = 1e6;
       config.advanced.from_start = 0.1;
       config.advanced.from_end = 0.7;
       config.advanced.time_gate_len = 0.7e-3;
       std::vector<sample_t> capture(70'010);
       const FMCWConfig parameters(config, &capture, 1e6F);
       const auto [start, end, length, count] = parameters.analysis_range;
       o.whole = {start, end, length, count};
       o.floats = parameters.get_smoothing_window(5);
       o.doubles = parameters.get_smoothing_window_double(5);
     }},
    {"doubled impedance",
     [](outcome_t& o) {
       fmcw_demod_config_t config;
       config.impedance = 0x1p-1074;
       o.doubles = {FMCWConfig(config, nullptr, 0.0F).config.impedance};
     }},
    {"simple frequency",
     [](outcome_t& o) { FMCWConfig::compute_instantaneous_freq_simple(samples, 0.3F, o.floats); }},
    {"settings",
     [](outcome_t& o) {
       fmcw_demod_configure_manager_t manager;
       manager.set_from_end(0.95);
       manager.set_from_start(0.1);  // moves the end to 1 - 0.1
       o.doubles = {manager.get_from_end()};
     }},
    {"ranges and equality of settings",
     [](outcome_t& o) {
       fmcw_demod_configure_manager_t manager;
       const fmcw_demod_configure_manager_t other;
       o.whole = {manager.set_fs(0x1p-1074), manager.set_from_start(0x1p-1074),
                  manager.set_analysis_exclude(std::numeric_limits<double>::quiet_NaN()),
                  manager == other};
       manager.set_devlength_ref(fmcw_devlength_ref_t::absolute);
       manager.set_devlength_offset_begin(-0x1p-1074);
       o.doubles = {manager.get_devlength_offset_begin()};
     }},
    {"equality of records",
     [](outcome_t& o) {
       fmcw_demod_config_t config;
       FMCWAnalyzer analyzer;
       std::vector<sample_t> capture(5000);
       o.whole = {static_cast<unsigned>(analyzer.config(&config, &capture, 1e6F))};
       config.reserved_a = 0x1p-1074;  // another record, which the whole capture is planned for
       capture.resize(9000);
       analyzer.config(&config, &capture, 1e6F);
       fmcw_measure_result_t result;
       analyzer.work_analyze({capture, 1e6F}, &result);
       o.floats = result.time_axis;
       o.floats.resize(result.frame_power.size());
     }},
    {"text of a chirp",
     [](outcome_t& o) {
       std::ostringstream text;
       fmcw_chirp_result_t chirp{};
       chirp.start_time = 0.1234565;
       chirp.slope = 0.1234575;
       text << chirp;
       o.text = text.str();
     }},
    {"text of a trace",
     [](outcome_t& o) {
       std::ostringstream text;
       print_vector_summary(text, ramp, "trace", 3);
       o.text = text.str();
     }},
    {"text of a spectrogram",
     [](outcome_t& o) {
       std::ostringstream text;
       print_spectrogram_summary(text, {{0.1F, 0.7F}}, "spectrogram");
       o.text = text.str();
     }},
    {"transform",
     [](outcome_t& o) {
       std::vector<sample_t> data = samples;
       common_lib::lib_fourier_transform_t::deal_fft(data, 0);
       for (const sample_t bin : data) {
         o.floats.push_back(bin.real());
         o.floats.push_back(bin.imag());
       }
     }},
    {"Hamming window",
     [](outcome_t& o) {
       std::vector<sample_t> window;
       common_lib::lib_window_function_t::generate_hamming_window(window, 37, true);
       for (const sample_t value : window) {
         o.floats.push_back(value.real());
       }
     }},
};

TEST(FloatEnvironment, OfTheHostChangesNoOperation) {
  for (const auto& operation : operations) {
    outcome_t expected;
    operation.run(expected);
    for (const auto& environment : host_environments()) {
      outcome_t outcome;
      EXPECT_TRUE(survives(environment, [&] { operation.run(outcome); }))
          << operation.name << ", " << environment.name;
      EXPECT_EQ(outcome.digest(), expected.digest()) << operation.name << ", " << environment.name;
    }
  }
}

TEST(FloatEnvironment, OfTheHostIsBackAfterAnException) {
  for (const auto& environment : host_environments()) {
    bool thrown = false;
    EXPECT_TRUE(survives(environment, [&] {
      try {
        basefunc::generate_triang_window(-1);
      } catch (const std::bad_alloc&) {
        thrown = true;
      }
    })) << environment.name;
    EXPECT_TRUE(thrown);
  }
}

}  // namespace
}  // namespace orn::fmcw_demod_lib
