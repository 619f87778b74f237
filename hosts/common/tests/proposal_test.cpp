#include "common/spans/proposal.h"

#include "common/spans/recording_analysis.h"
#include "signals.h"

#include <cmath>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orn::fmcw_host {
namespace {

using testing::HasSubstr;

settings_t proposed_settings(const proposal_t& proposal, double rate) {
  settings_t settings;
  settings.manager.set_fs(rate);
  apply_settings({}, settings);
  propose_settings(proposal.assignments, settings);
  settings.search = search_t::spans;
  return settings;
}

std::vector<chirp_t> chirps_of(const settings_t& settings, const std::vector<sample_t>& samples) {
  std::vector<chirp_t> chirps;
  recording_analysis_t analysis(settings, 1, {[&](const chirp_t& c) { chirps.push_back(c); }}, {});
  vector_source_t source(samples);
  analysis.analyze({0, samples.size(), {}, ""}, source);
  return chirps;
}

TEST(Proposal, FindsTheChirpsOfUnknownSignals) {
  struct signal_case_t {
    const char* name;
    signal_t signal;
    double seconds;
    std::size_t chirps;  // whole ones, but for the first and at most two more
  };
  for (const auto& c : std::initializer_list<signal_case_t>{
           {"usual", {10e6, 200e-6, 10e-6, 2e6}, 21e-3, 99},
           {"noisy", {10e6, 200e-6, 10e-6, 2e6, false, 0.03}, 21e-3, 99},
           {"falling", {10e6, 200e-6, 10e-6, -2e6}, 21e-3, 99},
           {"no fly-back", {10e6, 200e-6, 0.0, 2e6}, 20e-3, 99},
           {"long fly-back", {10e6, 200e-6, 120e-6, 2e6}, 32e-3, 99},
           {"triangle", {10e6, 200e-6, 0.0, 2e6, true}, 20e-3, 98},
           {"audio", {48e3, 0.3, 0.02, 14e3}, 16.0, 49},
           {"audio triangle", {48e3, 0.3, 0.0, 14e3, true}, 15.0, 48},
           {"slow audio", {8e3, 2.0, 0.1, 3e3}, 42.0, 19},
           {"long", {10e6, 80e-3, 1e-3, 3e6}, 1.3, 15},
           {"short", {125e6, 10e-6, 4e-6, 60e6}, 1.4e-3, 99},
       }) {
    const auto samples = samples_of(c.signal, static_cast<std::size_t>(c.seconds * c.signal.rate));
    const proposal_t proposal = propose(samples, c.signal.rate);
    ASSERT_EQ(proposal.chosen.size(), c.signal.triangle ? 2U : 1U) << c.name;
    const settings_t settings = proposed_settings(proposal, c.signal.rate);
    EXPECT_LT(settings.manager.get_min_chirp_len(), c.signal.ramp) << c.name;
    EXPECT_GT(settings.manager.get_max_chirp_len(), c.signal.ramp) << c.name;
    const auto chirps = chirps_of(settings, samples);
    EXPECT_GE(chirps.size(), c.chirps) << c.name << ": " << proposal_text(proposal);
    EXPECT_LE(chirps.size(), c.chirps + 2) << c.name << ": " << proposal_text(proposal);
    const double slope = std::abs(c.signal.bandwidth) / c.signal.ramp * 1e-9;
    for (const chirp_t& chirp : chirps) {
      EXPECT_NEAR(std::abs(chirp.figures.slope), slope, 5e-3 * slope) << c.name;
    }
  }
}

TEST(Proposal, SaysWhatItChoseAndWhatItLeftOut) {
  const auto samples = samples_of({10e6, 200e-6, 60e-6, 2e6}, 260'000);
  const std::string text = proposal_text(propose(samples, 10e6));
  EXPECT_THAT(text, HasSubstr("+10kHz/us"));
  EXPECT_THAT(text, testing::ContainsRegex("left out: .*, -33.*kHz/us: fly-backs"));
  EXPECT_THAT(text, HasSubstr("--set max_chirp_len="));
  EXPECT_THAT(text, HasSubstr("--set slope_tol=5kHz/us"));
  EXPECT_THAT(proposal_text(propose(std::vector<sample_t>(100'000, 1.0F), 1e6)),
              HasSubstr("no switching points"));
  EXPECT_TRUE(propose({}, 1e6).chosen.empty());
}

TEST(Proposal, TakesNoNoiseForChirps) {
  const signal_t tone{10e6, 1.0, 1.0, 0.0};
  for (const double noise : {0.01, 0.3, 1.0, 30.0}) {
    signal_t noisy = tone;
    noisy.noise = noise;
    const proposal_t proposal = propose(samples_of(noisy, 1'000'000), tone.rate);
    EXPECT_TRUE(proposal.chosen.empty()) << noise << ": " << proposal_text(proposal);
  }
}

TEST(Proposal, IsHeldAgainstTheRestOfTheRecording) {
  auto samples = samples_of({10e6, 200e-6, 10e-6, 2e6}, 4'500'000);
  const auto later = samples_of({10e6, 900e-6, 20e-6, 2e6}, 4'000'000);
  samples.insert(samples.end(), later.begin(), later.end());
  samples.insert(samples.end(), samples.begin(), samples.begin() + 4'000'000);
  samples.insert(samples.end(), later.begin(), later.end());
  const proposal_t proposal = propose(std::span(samples).first(looks.front().samples), 10e6);
  EXPECT_NEAR(proposal.coverage, 0.9, 0.06);
  std::uint64_t last_row = 0;
  std::vector<std::uint64_t> rows_before;
  recording_analysis_t analysis(proposed_settings(proposal, 10e6), 2,
                                {[&](const chirp_t& chirp) { last_row = chirp.first_sample; },
                                 [&](const change_t& change) {
                                   EXPECT_LT(last_row, change.first_sample);
                                   rows_before.push_back(last_row);
                                 }},
                                {}, proposal.coverage);
  vector_source_t source(samples);
  analysis.analyze({0, samples.size(), {}, ""}, source);
  const auto& changes = analysis.totals().changes;
  ASSERT_EQ(changes.size(), 2U) << "each time they come anew";
  for (std::size_t i = 0; i < 2; ++i) {
    const double place = i == 0 ? 4.5e6 : 12.5e6;
    EXPECT_NEAR(static_cast<double>(changes[i].first_sample), place, 0.6e6);
    EXPECT_EQ(changes[i].time, static_cast<double>(changes[i].first_sample) / 10e6);
    EXPECT_NEAR(changes[i].others.duration, 900e-6, 30e-6);
    EXPECT_NEAR(static_cast<double>(rows_before[i]), place, 0.6e6) << "told between the rows";
  }
}

TEST(Proposal, YieldsToWhatIsGiven) {
  settings_t settings;
  settings.manager.set_fs(10e6);
  apply_settings({"", {"slope_tol=1kHz/us", "search=automatic"}}, settings);
  const auto applied =
      propose_settings({"max_chirp_len=2ms", "slope_tol=5kHz/us", "min_chirp_len=1ms"}, settings);
  EXPECT_THAT(applied, testing::ElementsAre("max_chirp_len=2ms", "min_chirp_len=1ms"));
  EXPECT_EQ(settings.manager.get_chirp_config().slope_tol, 1e9);
  EXPECT_EQ(settings.manager.get_min_chirp_len(), 1e-3);
}

}  // namespace
}  // namespace orn::fmcw_host
