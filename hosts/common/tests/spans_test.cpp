#include "common/errors.h"
#include "common/spans/frame_plan.h"
#include "common/spans/recording_analysis.h"
#include "signals.h"

#include <fmcw_demod/fmcw_demod.h>

#include <bit>
#include <limits>
#include <string>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orn::fmcw_host {
namespace {

using namespace fmcw_demod_lib;
using testing::HasSubstr;

settings_t settings_for(double rate, const std::vector<std::string>& assignments) {
  settings_t settings;
  settings.manager.set_fs(rate);
  apply_settings({"", assignments}, settings);
  return settings;
}

struct outcome_t {
  std::vector<chirp_t> chirps;
  recording_totals_t totals;
};

outcome_t analyze(const settings_t& settings, const std::vector<sample_t>& samples,
                  unsigned jobs = 1, bool known_length = true) {
  outcome_t outcome;
  recording_analysis_t analysis(
      settings, jobs, {[&](const chirp_t& chirp) { outcome.chirps.push_back(chirp); }}, {});
  segment_t segment;
  if (known_length) {
    segment.sample_count = samples.size();
  }
  vector_source_t source(samples);
  analysis.analyze(segment, source);
  outcome.totals = analysis.totals();
  return outcome;
}

/// What the library gives for the whole capture.
fmcw_measure_result_t library_result(const fmcw_demod_config_t& record,
                                     const std::vector<sample_t>& samples) {
  SignalStream stream{samples, 0.0F};
  const FMCWConfig parameters(record, &stream.samples, 0.0F);
  FMCWAnalyze engine(parameters);
  fmcw_measure_result_t result;
  engine.analyze(stream, result);
  return result;
}

/// Fields that come from a span's samples alone, without its place in the recording.
std::vector<double> figures_of(const fmcw_chirp_result_t& c) {
  return {c.slope,        c.slope_dev_rms, c.bandwidth,      c.freq_avg,  c.freq_dev_peak,
          c.freq_dev_rms, c.phase_dev_rms, c.phase_dev_peak, c.power_avg, c.power_min};
}

TEST(Spans, GiveWhatOneEnormousFrameGives) {
  struct recording_case_t {
    const char* name;
    signal_t signal;
    std::vector<std::string> settings;
    double seconds;
  };
  const std::vector<std::string> usual = {"min_chirp_len=100us", "max_chirp_len=300us",
                                          "slope_tol=5kHz/us", "devlength_ref=0"};
  for (const auto& c : std::initializer_list<recording_case_t>{
           {"sawtooth", {}, usual, 0.55},
           {"sawtooth without fly-back", {10e6, 200e-6, 0.0, 2e6}, usual, 0.55},
           {"triangle", {10e6, 200e-6, 0.0, 2e6, true}, usual, 0.55},
           {"noisy", {10e6, 200e-6, 10e-6, 2e6, false, 0.01}, usual, 0.55},
           {"slow",
            {10e6, 30e-3, 1e-3, 4e6},
            {"min_chirp_len=20ms", "max_chirp_len=40ms", "slope_tol=60Hz/us"},
            0.55},
       }) {
    const auto samples =
        samples_of(c.signal, static_cast<std::size_t>(c.seconds * c.signal.rate) + 777);
    const settings_t settings = settings_for(c.signal.rate, c.settings);
    fmcw_demod_config_t one_frame = settings.manager.get_demod_config();
    one_frame.advanced.time_gate_len = 100.0;
    one_frame.advanced.window = {std::numeric_limits<std::uint32_t>::max(), 0};
    const auto expected = library_result(one_frame, samples);
    const auto measured = analyze(settings, samples).chirps;
    ASSERT_GT(expected.chirp_results.size(), 12U) << c.name;
    ASSERT_EQ(measured.size(), expected.chirp_results.size()) << c.name;
    for (std::size_t i = 0; i < measured.size(); ++i) {
      const auto [first, last] = expected.chirp_intervals[i];
      ASSERT_EQ(measured[i].first_sample, first) << c.name << i;
      ASSERT_EQ(measured[i].last_sample, last) << c.name << i;
      EXPECT_EQ(measured[i].number, i + 1);
      const fmcw_chirp_result_t& a = measured[i].figures;
      const fmcw_chirp_result_t& b = expected.chirp_results[i];
      EXPECT_EQ(a.bandwidth, b.bandwidth) << c.name << i;
      EXPECT_EQ(a.power_avg, b.power_avg) << c.name << i;
      EXPECT_NEAR(a.freq_avg, b.freq_avg, 1e-3) << c.name << i;
      // Single-precision times coarsen along an enormous frame, and deviations with them.
      EXPECT_NEAR(a.slope, b.slope, 1e-3 * std::abs(b.slope)) << c.name << i;
      EXPECT_LT(a.freq_dev_rms, 1.02 * b.freq_dev_rms) << c.name << i;
    }
  }
}

TEST(Spans, AreTheSameForEveryNumberOfThreadsAndForPipes) {
  const signal_t signal{10e6, 100e-6, 5e-6, 2e6, false, 0.02};
  auto samples = samples_of(signal, 9'000'000);
  samples[2'097'152].real(std::numeric_limits<float>::quiet_NaN());
  const settings_t settings =
      settings_for(signal.rate, {"min_chirp_len=50us", "max_chirp_len=150us"});
  const auto one = analyze(settings, samples);
  ASSERT_GT(one.chirps.size(), 8500U);
  for (const auto& other : {analyze(settings, samples, 2), analyze(settings, samples, 5),
                            analyze(settings, samples, 3, false)}) {
    ASSERT_EQ(other.chirps.size(), one.chirps.size());
    EXPECT_EQ(other.totals.squares, one.totals.squares);
    EXPECT_EQ(other.totals.sample_count, samples.size());
    for (std::size_t i = 0; i < one.chirps.size(); ++i) {
      ASSERT_EQ(figures_of(other.chirps[i].figures), figures_of(one.chirps[i].figures));
      ASSERT_EQ(other.chirps[i].start, one.chirps[i].start);
      ASSERT_EQ(other.chirps[i].figures.switching_time, one.chirps[i].figures.switching_time);
    }
  }
}

TEST(Spans, LoseNoChirpAtASeamWhereverItLies) {
  // Own parts end at multiples of 2^19: ramps of growing offset put every phase of the period on the seam.
  const signal_t signal{10e6, 200e-6, 10e-6, 2e6};
  const settings_t settings = settings_for(
      signal.rate, {"min_chirp_len=100us", "max_chirp_len=300us", "slope_tol=5kHz/us"});
  const auto periodic = samples_of(signal, 3'400'000);
  for (std::size_t shift = 0; shift < 2100; shift += 150) {
    const std::vector<sample_t> samples(periodic.begin() + static_cast<std::ptrdiff_t>(shift),
                                        periodic.end());
    const auto chirps = analyze(settings, samples).chirps;
    for (std::size_t i = 1; i < chirps.size(); ++i) {
      ASSERT_NEAR(static_cast<double>(chirps[i].first_sample - chirps[i - 1].first_sample), 2100.0,
                  3.0)
          << shift << ' ' << i;
    }
    EXPECT_NEAR(static_cast<double>(chirps.size()), 1618.0, 2.0);
  }
}

TEST(Spans, CutOutWhatIsNotFinite) {
  const signal_t signal;
  const settings_t settings = settings_for(
      signal.rate, {"min_chirp_len=100us", "max_chirp_len=300us", "slope_tol=5kHz/us"});
  auto samples = samples_of(signal, 210'000);  // 100 periods
  const auto whole = analyze(settings, samples).chirps;
  samples[100'900].imag(std::numeric_limits<float>::infinity());
  samples[150'001].real(std::numeric_limits<float>::quiet_NaN());
  const auto outcome = analyze(settings, samples);
  EXPECT_EQ(outcome.totals.nonfinite_count, 2U);
  EXPECT_EQ(outcome.totals.first_nonfinite, 100'900U);
  EXPECT_TRUE(std::isfinite(outcome.totals.squares));
  ASSERT_EQ(outcome.chirps.size(), whole.size() - 2) << "each costs the chirp it lies in";
  const double usual_gap = whole[1].figures.switching_time;
  std::size_t first_of_runs = 0;
  for (const chirp_t& chirp : outcome.chirps) {
    const bool first = chirp.figures.switching_time == 0.0;
    first_of_runs += first ? 1U : 0U;
    EXPECT_TRUE(first || std::abs(chirp.figures.switching_time - usual_gap) < 2e-6);
  }
  EXPECT_EQ(first_of_runs, 3U) << "no gap is measured across a cut";
}

TEST(Spans, ScaleARateBackExactly) {
  const signal_t signal{48e3, 0.05, 2e-3, 8e3};
  const auto samples = samples_of(signal, 48'000 * 4);
  const std::vector<std::string> limits = {"min_chirp_len=30ms", "max_chirp_len=80ms",
                                           "slope_tol=80kHz/s", "devlength_ref=0",
                                           "devlength_offset_begin=5ms"};
  auto doubled = limits;
  doubled.emplace_back("rate_doublings=10");
  const auto plain = analyze(settings_for(signal.rate, limits), samples).chirps;
  const auto scaled = analyze(settings_for(signal.rate, doubled), samples).chirps;
  ASSERT_GT(plain.size(), 70U);
  ASSERT_EQ(scaled.size(), plain.size());
  for (std::size_t i = 0; i < plain.size(); ++i) {
    EXPECT_EQ(figures_of(scaled[i].figures), figures_of(plain[i].figures));
    EXPECT_EQ(scaled[i].first_sample, plain[i].first_sample);
    EXPECT_EQ(scaled[i].fm_settling_point, plain[i].fm_settling_point);
  }
}

TEST(Frames, AreTheLibrarysBitForBit) {
  const signal_t signal;
  const auto samples = samples_of(signal, 900'001);
  for (const auto& assignments : std::initializer_list<std::vector<std::string>>{
           {"search=frames"},
           {"time_auto_mode=0", "meas_time=40ms", "time_gate_len=3.3ms", "min_chirp_len=100us"},
           {"from_start=10%", "from_end=7%", "meas_time=1", "time_gate_len=1", "chirp_start=2"},
       }) {
    const settings_t settings = settings_for(signal.rate, assignments);
    const auto expected = library_result(settings.manager.get_demod_config(), samples);
    const auto outcome = analyze(settings, samples, 2);
    ASSERT_EQ(outcome.chirps.size(), expected.chirp_results.size());
    ASSERT_GT(outcome.chirps.size(), 3U);
    std::size_t selected = 0;
    for (std::size_t i = 0; i < outcome.chirps.size(); ++i) {
      // The record is plain bytes without padding between its doubles.
      EXPECT_EQ(std::memcmp(&outcome.chirps[i].figures, &expected.chirp_results[i],
                            sizeof(fmcw_chirp_result_t)),
                0);
      EXPECT_EQ(outcome.chirps[i].first_sample, expected.chirp_intervals[i].first);
      selected += outcome.chirps[i].selected ? 1U : 0U;
    }
    EXPECT_EQ(selected, expected.selected_intervals.size());
  }
}

TEST(Frames, OfALongRecordingAreTheLibrarysAsWell) {
  const signal_t signal;
  const auto samples = samples_of(signal, 6'000'123);
  const settings_t settings =
      settings_for(signal.rate, {"meas_time=1", "time_gate_len=7.01ms", "from_start=1%",
                                 "min_chirp_len=100us", "max_chirp_len=300us"});
  const auto expected = library_result(settings.manager.get_demod_config(), samples);
  const auto outcome = analyze(settings, samples, 2);
  ASSERT_EQ(outcome.chirps.size(), expected.chirp_results.size());
  for (std::size_t i = 0; i < outcome.chirps.size(); ++i) {
    EXPECT_EQ(outcome.chirps[i].first_sample, expected.chirp_intervals[i].first);
    EXPECT_EQ(outcome.chirps[i].figures.chirp_no, expected.chirp_results[i].chirp_no);
    EXPECT_NEAR(outcome.chirps[i].figures.slope, expected.chirp_results[i].slope, 1e-4);
  }
  const frame_plan_t plan = plan_frames(settings, samples.size());
  EXPECT_EQ(outcome.totals.uncovered_count, samples.size() - plan.length * plan.count);
}

TEST(Frames, ArePlannedAsTheLibraryPlansThem) {
  for (const auto& assignments : std::initializer_list<std::vector<std::string>>{
           {},
           {"time_gate_len=0.1ms"},
           {"from_start=30%", "from_end=21%"},
           {"time_auto_mode=0", "meas_time=3.7ms", "time_gate_len=0.5ms"},
           {"meas_time=2", "time_gate_len=2"},
           {"from_start=100%"},
       }) {
    for (const double rate : {1e6, 48000.0, 9.99999e6, 61.44e6}) {
      const settings_t settings = settings_for(rate, assignments);
      for (const std::size_t count :
           {std::size_t{100}, std::size_t{7919}, std::size_t{1'000'000}}) {
        std::vector<sample_t> samples(count);
        const FMCWConfig library(settings.manager.get_demod_config(), &samples, 0.0F);
        const frame_plan_t plan = plan_frames(settings, count);
        const auto& range = library.analysis_range;
        if (range.frame_count == 0) {
          EXPECT_EQ(plan.start, plan.end);
          continue;
        }
        EXPECT_EQ(plan.start, range.start_sample);
        EXPECT_EQ(plan.end, range.end_sample);
        EXPECT_EQ(plan.length, range.frame_length);
        EXPECT_EQ(plan.count, range.frame_count);
      }
    }
  }
}

TEST(Plans, ThatCannotEndAreRefused) {
  struct plan_case_t {
    double rate;
    std::vector<std::string> settings;
    std::optional<std::uint64_t> samples;
    std::vector<std::string> named;
  };
  for (const auto& c : std::initializer_list<plan_case_t>{
           {1.0, {"search=frames"}, 1'000'000, {"time_gate_len", "1 Hz", "1.11e+09 frames"}},
           {1e8, {"time_gate_len=1e-12"}, 1'000'000, {"time_gate_len", "1e-12"}},
           {1e8, {"time_gate_len=40ns"}, 20'000'000'000, {"frames", "4294967295"}},
           {1e8, {"max_chirp_len=100"}, 1'000'000, {"max_chirp_len", "100 s", "GB"}},
           {1e8, {"meas_time=100", "time_gate_len=90"}, 10'000'000'000, {"time_gate_len", "GB"}},
           {1e8, {"search=frames"}, {}, {"pipe"}},
       }) {
    try {
      lay_out(settings_for(c.rate, c.settings), c.samples);
      ADD_FAILURE() << c.named.front();
    } catch (const input_error_t& error) {
      for (const auto& word : c.named) {
        EXPECT_THAT(error.what(), HasSubstr(word));
      }
    }
  }
}

TEST(Analysis, TakesSegmentsOfNoLength) {
  for (const std::size_t count : {0U, 1U, 2U, 300U}) {
    for (const char* const search : {"search=spans", "search=frames"}) {
      if (count == 0 && std::string(search) == "search=frames") {
        continue;  // frames have nothing to lie in, which is refused
      }
      const auto outcome = analyze(settings_for(1e6, {search}), samples_of({}, count), 2);
      EXPECT_TRUE(outcome.chirps.empty()) << search << count;
      EXPECT_EQ(outcome.totals.sample_count, count) << search;
    }
  }
}

TEST(Analysis, StopsWhereItsSourceOrListenerThrows) {
  const auto samples = samples_of({}, 5'000'000);
  const settings_t settings = settings_for(10e6, {"min_chirp_len=100us", "max_chirp_len=300us"});
  class broken_source_t : public vector_source_t {
   public:
    using vector_source_t::vector_source_t;
    std::size_t read(std::span<sample_t> out) override {
      if (++reads_ == 2) {
        throw input_error_t("it broke off");
      }
      return vector_source_t::read(out);
    }

   private:
    int reads_ = 0;
  };
  broken_source_t broken(samples);
  segment_t segment;
  segment.sample_count = samples.size();
  std::size_t rows = 0;
  recording_analysis_t analysis(settings, 3, {[&](const chirp_t&) { ++rows; }}, {});
  EXPECT_THROW(analysis.analyze(segment, broken), input_error_t);
  EXPECT_GT(rows, 200U) << "what came before is handed out";

  vector_source_t source(samples);
  recording_analysis_t stopped(
      settings, 3,
      {[](const chirp_t&) {}, {}, [](const analysis_progress_t&) { throw run_error_t("enough"); }},
      {});
  EXPECT_THROW(stopped.analyze(segment, source), run_error_t);
}

}  // namespace
}  // namespace orn::fmcw_host
