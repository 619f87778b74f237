#include "common/log.h"
#include "synthetic.h"

#include <common_log/logger_system.h>
#include <fmcw_demod/fmcw_demod.h>

#include <algorithm>
#include <functional>
#include <mutex>
#include <new>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orn::fmcw_demod_lib {
namespace {

using synthetic::sawtooth_t;
using testing::ElementsAre;
using testing::IsEmpty;

const sawtooth_t sawtooth;

/// Collects log entries while it lives.
class log_recorder_t {
 public:
  log_recorder_t() {
    common_log::logger_system_t::get_instance().set_sink([this](const auto& entry) {
      const std::lock_guard lock(mutex_);
      entries.push_back(entry);
    });
  }
  ~log_recorder_t() { common_log::logger_system_t::get_instance().set_sink({}); }

  std::vector<std::string> messages() const {
    std::vector<std::string> all;
    for (const auto& entry : entries) {
      all.push_back(entry.message);
    }
    return all;
  }

  std::vector<common_log::log_entry_t> entries;

 private:
  std::mutex mutex_;
};

/// An analyzer whose two operations do as they are told.
struct puppet_t : I_Analyzer {
  std::function<int()> act;
  int config(const void*, std::vector<std::complex<float>>*, float) override { return act(); }
  int work_analyze(const SignalStream&, void*) override { return act(); }
};

TEST(ErrorFrame, TurnsEveryOutcomeIntoACodeAndAMessage) {
  struct outcome_t {
    const char* name;
    std::function<int()> act;
    int config_code;
    std::string config_message;
    int work_code;
    std::string work_message;
  };
  const outcome_t outcomes[] = {
      {"success", [] { return 0; }, 0, "", 0, ""},
      {"a code", [] { return 5; }, 5, "Configuration failed", 5, "Analysis failed"},
      {"a standard exception", []() -> int { throw std::runtime_error("x"); }, -1,
       "Exception in config: x", -3, "Exception in work_analyze: x"},
      {"no memory", []() -> int { throw std::bad_alloc(); }, -1,
       "Exception in config: std::bad_alloc", -3, "Exception in work_analyze: std::bad_alloc"},
      {"another exception", []() -> int { throw 7; }, -2, "Unknown exception in config", -4,
       "Unknown exception in work_analyze"},
  };
  SignalStream signal{{1.0F}, 1.0F};
  const fmcw_demod_config_t record;
  fmcw_measure_result_t result;
  for (const auto& outcome : outcomes) {
    puppet_t puppet;
    puppet.act = outcome.act;
    ErrorMsg error{77, "from before"};
    EXPECT_EQ(puppet.config_with_error_process(signal, &record, &error), outcome.config_code);
    EXPECT_EQ(error.code, outcome.config_code) << outcome.name;
    EXPECT_EQ(error.message, outcome.config_message) << outcome.name;
    EXPECT_EQ(puppet.config_with_error_process(signal, &record, nullptr), outcome.config_code);
    error = {77, "from before"};
    EXPECT_EQ(puppet.work_analyze_with_error_process(signal, &result, &error), outcome.work_code);
    EXPECT_EQ(error.code, outcome.work_code) << outcome.name;
    EXPECT_EQ(error.message, outcome.work_message) << outcome.name;
    EXPECT_EQ(puppet.work_analyze_with_error_process(signal, &result, nullptr), outcome.work_code);
  }
}

TEST(ErrorFrame, ChecksArgumentsFirst) {
  puppet_t puppet;
  puppet.act = []() -> int { throw std::logic_error("must not be reached"); };
  SignalStream empty;
  SignalStream signal{{1.0F}, 1.0F};
  fmcw_measure_result_t result;
  ErrorMsg error;
  EXPECT_EQ(puppet.config_with_error_process(signal, nullptr, &error), -100);
  EXPECT_EQ(error.message, "Configuration pointer is null");
  EXPECT_EQ(puppet.work_analyze_with_error_process(empty, nullptr, &error), -101);
  EXPECT_EQ(error.message, "Invalid input signal stream");
  EXPECT_EQ(error.code, -101);
  EXPECT_EQ(puppet.work_analyze_with_error_process(signal, nullptr, &error), -102);
  EXPECT_EQ(error.message, "Result pointer is null");
  EXPECT_EQ(puppet.work_analyze_with_error_process(empty, &result, nullptr), -101);
}

TEST(Handle, LivesFromCreateToDestroy) {
  void* handle = nullptr;
  ErrorMsg error{3, "kept"};
  ASSERT_EQ(create_fmcw_analyzer(&handle, &error), 0);
  void* const first = handle;
  EXPECT_EQ(create_fmcw_analyzer(&handle, &error), -1);
  EXPECT_EQ(handle, first);
  EXPECT_EQ(error.message, "kept");

  SignalStream signal = sawtooth.stream();
  fmcw_measure_result_t result;
  EXPECT_EQ(work_fmcw_analyzer(handle, signal, &result, &error), -1);
  EXPECT_EQ(error.message, "Analysis failed") << "not configured yet";

  const auto config = sawtooth.config();
  EXPECT_EQ(config_fmcw_analyzer(handle, signal, &config, &error), 0);
  EXPECT_EQ(work_fmcw_analyzer(handle, signal, &result, &error), 0);
  EXPECT_EQ(error.code, 0);
  EXPECT_THAT(error.message, IsEmpty());
  EXPECT_EQ(result.chirp_total, 4U);

  EXPECT_EQ(destroy_fmcw_analyzer(&handle), 0);
  EXPECT_EQ(handle, nullptr);
  EXPECT_EQ(destroy_fmcw_analyzer(&handle), -1);
}

class Configuring : public testing::Test {
 protected:
  void configure(const fmcw_demod_config_t& config, SignalStream& signal) {
    ASSERT_EQ(analyzer.config_with_error_process(signal, &config, nullptr), 0);
  }
  fmcw_measure_result_t work(const SignalStream& signal) {
    fmcw_measure_result_t result;
    EXPECT_EQ(analyzer.work_analyze_with_error_process(signal, &result, nullptr), 0);
    return result;
  }
  FMCWAnalyzer analyzer;
  SignalStream whole = sawtooth.stream();
  SignalStream half{{whole.samples.begin(), whole.samples.begin() + 5000}, whole.fs};
};

TEST_F(Configuring, BuildsEvenForTheBuiltInRecord) {
  fmcw_demod_config_t built_in;
  built_in.chirp_set = fmcw_chirp_set_t::automatic;
  configure(built_in, whole);
  EXPECT_EQ(work(whole).summary_valid, 1U);
}

TEST_F(Configuring, DoesNothingForAnEqualRecord) {
  auto config = sawtooth.config();
  configure(config, half);
  configure(config, whole);
  EXPECT_EQ(work(whole).frame_power.size(), half.samples.size()) << "the plan of the first capture";
  config.display_chirpNO = 1;
  configure(config, whole);
  EXPECT_EQ(work(whole).chirp_time_axis[0], 0.0F) << "still the first chirp on display";
  config.advanced.chirp_count = 29;
  configure(config, whole);
  EXPECT_EQ(work(whole).frame_power.size(), whole.samples.size());
  EXPECT_GT(work(whole).chirp_time_axis[0], 0.0F);
}

TEST_F(Configuring, RebuildsEveryTimeForARecordWithNaN) {
  auto config = sawtooth.config();
  config.freq_center = std::numeric_limits<double>::quiet_NaN();
  configure(config, half);
  configure(config, whole);
  EXPECT_EQ(work(whole).frame_power.size(), whole.samples.size());
}

TEST_F(Configuring, KeepsAMeasuredSlopeBandUntilSettingsChange) {
  auto config = sawtooth.config();
  config.chirp_set = fmcw_chirp_set_t::automatic;
  configure(config, whole);
  const float measured = work(whole).summary_slope_tol;
  EXPECT_NE(measured, 1600.0F);
  const SignalStream silence{std::vector<sample_t>(whole.samples.size(), 1.0F), whole.fs};
  EXPECT_EQ(work(silence).summary_slope_tol, measured);
  configure(config, whole);
  EXPECT_EQ(work(silence).summary_slope_tol, measured);
  config.advanced.chirp_count = 29;
  configure(config, whole);
  EXPECT_EQ(work(silence).summary_slope_tol, 1600.0F);
}

TEST_F(Configuring, WithoutACaptureEndsInAReset) {
  const auto config = sawtooth.config();
  ASSERT_EQ(analyzer.config(&config, nullptr, 1e6F), 0);
  EXPECT_EQ(work(whole).summary_valid, 0U);
  EXPECT_EQ(analyzer.config(nullptr, nullptr, 1e6F), -1);
  EXPECT_EQ(analyzer.work_analyze(whole, nullptr), -2);
}

TEST(OneShot, LogsARunFromStartToFinish) {
  auto config = sawtooth.config();
  config.advanced.time_gate_len = 450e-6;
  fmcw_measure_result_t result;
  ErrorMsg error{3, "kept"};
  const log_recorder_t log;
  ASSERT_EQ(DLL_fmcw_analysis(&config, sawtooth.stream(), &result, &error), 0);
  EXPECT_EQ(error.message, "kept");
  ASSERT_EQ(log.entries.size(), 12U);
  const std::string start = log.entries[0].message;
  const std::string prefix = "FMCW demodulation START [ID=";
  ASSERT_TRUE(start.starts_with(prefix) && start.ends_with("]"));
  const std::string id = start.substr(prefix.size(), start.size() - prefix.size() - 1);
  EXPECT_THAT(log.messages(),
              ElementsAre(start, "Step 0: compute_stft_wincfg start",
                          "Step 1: compute_instantaneous_freq start", "Processing frame 0/2",
                          "frame 0:detect_chirp_boundaries", "Frame 0 all Chirps done",
                          "Processing frame 1/2", "frame 1:detect_chirp_boundaries",
                          "Frame 1 all Chirps done", "All frames done", "FMCW analysis complete",
                          "FMCW demodulation FINISH [ID=" + id + "], status=0"));
  std::set<int> lines;
  for (const auto& entry : log.entries) {
    const bool of_run = entry.message.starts_with("FMCW");
    const bool of_call = entry.message.starts_with("FMCW demodulation");
    EXPECT_EQ(entry.tag, "FMCW_LIB");
    EXPECT_TRUE(entry.flag);
    EXPECT_EQ(static_cast<int>(entry.level), of_run ? 2 : 1) << entry.message;
    EXPECT_EQ(entry.function, of_call ? "DLL_fmcw_analysis" : "analyze") << entry.message;
    EXPECT_THAT(entry.file, testing::HasSubstr(of_call ? "common/lib_fmcw_interface"
                                                       : "lib/lib_fmcw_analyzer"));
    lines.insert(entry.line);
  }
  EXPECT_EQ(lines.size(), 9U) << "each statement has a line of its own";
}

TEST(OneShot, ReportsFailureAndLogsNoFinish) {
  fmcw_measure_result_t result;
  ErrorMsg error;
  const auto config = sawtooth.config();
  const log_recorder_t log;
  EXPECT_EQ(DLL_fmcw_analysis(nullptr, sawtooth.stream(), &result, &error), -100);
  EXPECT_EQ(error.code, -100);
  EXPECT_EQ(error.message, "Configuration pointer is null");
  EXPECT_EQ(DLL_fmcw_analysis(&config, {}, &result, nullptr), -101);
  EXPECT_EQ(DLL_fmcw_analysis(&config, sawtooth.stream(), nullptr, &error), -102);
  for (const auto& message : log.messages()) {
    EXPECT_THAT(message, testing::StartsWith("FMCW demodulation START"));
  }
  EXPECT_EQ(log.entries.size(), 3U);
}

TEST(OneShot, AnalysesFramesWithoutChirpsQuietly) {
  const auto config = sawtooth.config();
  fmcw_measure_result_t result;
  const log_recorder_t log;
  ASSERT_EQ(DLL_fmcw_analysis(&config, {std::vector<sample_t>(9000, 1.0F), 1e7F}, &result, nullptr),
            0);
  EXPECT_THAT(log.messages(), testing::Contains("frame 0:detect_chirp_boundaries"));
  EXPECT_THAT(log.messages(), testing::Not(testing::Contains("Frame 0 all Chirps done")));
  EXPECT_THAT(log.messages(), testing::Contains("FMCW analysis complete"));
}

TEST(OneShot, RunsInFourThreadsAtOnce) {
  auto config = sawtooth.config();
  config.chirp_set = fmcw_chirp_set_t::automatic;
  const SignalStream signal = sawtooth.stream();
  std::vector<fmcw_measure_result_t> results(4);
  log_recorder_t log;
  std::vector<std::thread> threads;
  for (auto& result : results) {
    threads.emplace_back([&] {
      for (int run = 0; run < 5; ++run) {
        EXPECT_EQ(DLL_fmcw_analysis(&config, signal, &result, nullptr), 0);
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  for (const auto& result : results) {
    EXPECT_EQ(result.chirp_intervals, results[0].chirp_intervals);
    EXPECT_EQ(result.instantaneous_freq, results[0].instantaneous_freq);
    EXPECT_EQ(result.spectrogram_wincfg, results[0].spectrogram_wincfg);
  }
  std::set<std::string> starts;
  for (const auto& message : log.messages()) {
    if (message.starts_with("FMCW demodulation START")) {
      starts.insert(message);
    }
  }
  EXPECT_EQ(starts.size(), 20U) << "every run has an ID of its own";
}

/// What `act` puts on the standard error stream while this sink is set, a string per line.
std::vector<std::string> stderr_lines(const common_log::logger_system_t::sink_t& sink,
                                      const std::function<void()>& act) {
  auto& logger = common_log::logger_system_t::get_instance();
  testing::internal::CaptureStderr();
  logger.set_sink(sink);
  act();
  logger.set_sink({});
  std::vector<std::string> lines;
  std::istringstream text(testing::internal::GetCapturedStderr());
  for (std::string line; std::getline(text, line);) {
    lines.push_back(line);
  }
  return lines;
}

void run_once() {
  const auto config = sawtooth.config();
  fmcw_measure_result_t result;
  EXPECT_EQ(DLL_fmcw_analysis(&config, sawtooth.stream(), &result, nullptr), 0);
  EXPECT_EQ(result.chirp_total, 4U);
}

TEST(Logging, FormatsOnlyWhatASinkReceives) {
  int entries = 0;
  const auto count = [&](const auto& /*entry*/) { ++entries; };
  const auto lacks_an_argument = [] { FMCW_LOG(common_log::log_level_t::progress, "{} of {}", 1); };
  EXPECT_THAT(stderr_lines(count, lacks_an_argument),
              ElementsAre(testing::HasSubstr("] Log format error: ")));
  EXPECT_EQ(entries, 0);
  EXPECT_THAT(stderr_lines({}, lacks_an_argument), IsEmpty());
}

TEST(Logging, SurvivesASinkThatThrows) {
  std::vector<std::string> places;
  const auto remember = [&](const common_log::log_entry_t& entry) {
    places.push_back(fmt::format("[{}:{}] ", entry.file, entry.line));
  };
  const auto format_errors = stderr_lines(
      [&](const auto& entry) {
        remember(entry);
        throw fmt::format_error("bad");
      },
      run_once);
  ASSERT_EQ(format_errors.size(), places.size());
  ASSERT_EQ(format_errors.size(), 9U);
  for (std::size_t i = 0; i < places.size(); ++i) {
    EXPECT_EQ(format_errors[i], places[i] + "Log format error: bad");
  }
  places.clear();
  const auto others = stderr_lines(
      [&](const auto& entry) {
        remember(entry);
        throw 3;
      },
      run_once);
  ASSERT_EQ(others.size(), 9U);
  for (std::size_t i = 0; i < places.size(); ++i) {
    EXPECT_EQ(others[i], places[i] + "Log write failed (unknown error)");
  }
}

}  // namespace
}  // namespace orn::fmcw_demod_lib
