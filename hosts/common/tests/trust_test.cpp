#include "common/spans/recording_analysis.h"
#include "common/synth/synthesizer.h"
#include "common/trust/detection.h"
#include "common/trust/floors.h"
#include "common/trust/snr.h"
#include "common/trust/statement.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numbers>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orn::fmcw_host {
namespace {

using fmcw_demod_lib::sample_t;

double ratio(double decibels) { return std::pow(10.0, decibels / 10.0); }
double decibels(double ratio) { return 10.0 * std::log10(ratio); }

// Six kinds of ramps: long and short, slow, at low rates, in triangles.
const detection_scene_t a = {125e6, 4e11, 8e12, 12500, 0, 0};
const detection_scene_t b = {125e6, 4e10, 8e11, 12500, 0, 0};
const detection_scene_t c = {125e6, 2e12, 8e12, 2500, 0, 0};
const detection_scene_t d = {10e6, 2e9, 4e10, 10000, 0, 0};
const detection_scene_t e = {48e3, 14e3 / 0.3, 14e3 / 0.02, 14400, 8e3, 0};
const detection_scene_t f = {125e6, 4e11, 4e11, 12500, 0, 0};

TEST(Detection, FailsWhereSimulationsOfTenThousandChirpsDid) {
  struct {
    const char* name;
    detection_scene_t scene;
    double formula, simulated;  // dB
  } const cases[] = {{"a", a, 9.9, 9.7}, {"b", b, 25.7, 25.7}, {"c", c, 7.0, 6.3},
                     {"d", d, 9.6, 9.9}, {"e", e, 11.2, 11.1}, {"f", f, 9.9, 9.8}};
  for (const auto& test : cases) {
    EXPECT_NEAR(cliff_of(test.scene), test.formula, 0.1) << test.name;
    EXPECT_NEAR(cliff_of(test.scene), test.simulated, 0.75) << test.name;
  }
}

TEST(Detection, HasTheProbabilitiesOfItsFormula) {
  struct {
    detection_scene_t scene;
    double snr, probability;
  } const cases[] = {{a, 8.0, 0.6558}, {a, 10.0, 0.9939}, {b, 24.0, 0.6154}, {b, 26.0, 0.9958},
                     {c, 7.0, 0.9921}, {c, 6.5, 0.9700},  {d, 8.0, 0.7890},  {d, 9.5, 0.9891},
                     {e, 9.0, 0.3698}, {e, 11.0, 0.9838}, {f, 7.5, 0.3797}};
  for (const auto& test : cases) {
    EXPECT_NEAR(found_probability(test.scene, ratio(test.snr)), test.probability, 0.004)
        << test.snr;
  }
  EXPECT_EQ(found_probability(a, 0.0), 0.0);
  EXPECT_TRUE(std::isnan(cliff_of({125e6, 1.0, 1.0, 12500, 0, 0})));
}

TEST(Detection, TellsOfDeadZoneMergingAndShortRamps) {
  // Observed at 40 dB over 2500 boundaries and more: 0.20, 0.15, 0.25.
  const double flybacks[] = {0.1, 0.05, 0.2};
  const double lost[] = {0.20, 0.15, 0.25};
  for (int i = 0; i < 3; ++i) {
    detection_scene_t scene = e;
    scene.flyback = 14e3 / flybacks[i];
    EXPECT_NEAR(dead_zone_loss(scene), lost[i], 0.008) << flybacks[i];
    scene.rate_doublings = 10;
    EXPECT_LT(dead_zone_loss(scene), 1e-6);
  }
  EXPECT_NEAR(gap_over_merging(a, 625), (625 + 2 * 88.5) / (13125 / 16.0), 1e-3);
  EXPECT_FALSE(is_too_short(c));
  EXPECT_TRUE(is_too_short({125e6, 4e11, 8e12, 400, 0, 0}));
}

/// Ramp `a` as its rows have it. is_band: the measured interval ends at 95 % of the slope, else at
/// its change of sign.
noise_scene_t scene_of(const detection_scene_t& ramp, bool is_band, double snr) {
  noise_scene_t scene = {
      ratio(snr), ramp.rate, ramp.slope, ramp.flyback, is_band ? 0.95 * ramp.slope : 0.0, 0, 0, 0};
  const double lost = start_bias(scene) - stop_bias(scene);
  scene.measured = ramp.ramp - lost;
  scene.window = scene.measured - 0.25 * (ramp.ramp + 300);  // candidates end in the fly-backs
  scene.begin = ramp.centre - ramp.slope * scene.window / ramp.rate / 2.0;
  return scene;
}

TEST(Floors, AgreeWithSimulationsOfFifteenHundredChirps) {
  struct {
    const char* name;
    detection_scene_t ramp;
    bool is_band;
    double snr;
    double slope_u, start_bias, start_u, length_u, bandwidth_bias, freq_dev_rms, freq_dev_peak,
        phase_dev_rms, freq_avg_u;  // observed
  } const rows[] = {
      {"a band 20", a, true, 20, 3.14e-5, 117.6, 2.45, 3.38, 5.04e6, 9.973e5, 4.006e6, 0.0563,
       5420},
      {"a band 30", a, true, 30, 1.01e-5, 118.6, 1.14, 1.57, 1.34e6, 3.146e5, 1.258e6, 0.0179,
       2540},
      {"a sign 12", a, false, 12, 7.99e-5, 88.3, 1.59, 2.22, 1.46e7, 2.541e6, 1.058e7, 0.145, 3480},
      {"a sign 20", a, false, 20, 3.16e-5, 88.0, 0.83, 1.18, 5.03e6, 9.967e5, 3.995e6, 0.0567,
       1880},
      {"b band 35", b, true, 35, 5.53e-5, 116.0, 3.40, 4.75, 9.55e5, 1.77e5, 7.065e5, 0.00991, 768},
      {"c band 20", c, true, 20, 1.94e-4, 109.1, 1.29, 1.83, 3.91e6, 9.96e5, 3.569e6, 0.0565,
       1.49e4},
      {"d sign 30", d, false, 30, 1.99e-5, 88.0, 0.44, 0.61, 1.11e5, 2.517e4, 9.933e4, 0.0179,
       62.8},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const noise_scene_t s = scene_of(row.ramp, row.is_band, row.snr);
    EXPECT_NEAR(slope_u(s) / s.slope / row.slope_u, 1.0, 0.1);
    EXPECT_NEAR(start_bias(s), row.start_bias, 1.0);
    EXPECT_NEAR(edge_u(s) / row.start_u, 1.0, 0.2);
    EXPECT_NEAR(length_u(s) / row.length_u, 1.0, 0.2);
    EXPECT_NEAR(bandwidth_bias(s) / row.bandwidth_bias, 1.0, 0.05);
    EXPECT_NEAR(frequency_noise(s) / row.freq_dev_rms, 1.0, 0.003);
    EXPECT_NEAR(freq_dev_peak_floor(s) / row.freq_dev_peak, 1.0, 0.045);
    EXPECT_NEAR(phase_dev_rms_floor(s) / row.phase_dev_rms, 1.0, 0.06);
    EXPECT_NEAR(freq_avg_u(s) / row.freq_avg_u, 1.0, 0.25);
  }
}

TEST(Floors, AddUpOverTheSweepAsTermByTerm) {
  for (const double snr : {12.0, 30.0, 60.0, 80.0}) {
    noise_scene_t s = scene_of(a, true, snr);
    const double noise = frequency_noise(s);
    const double x = bandwidth_bias(s) / (2.0 * noise);
    double sum = 0.0;
    for (double k = 0.0; k < s.measured; ++k) {
      sum += normal_tail(x + k * s.slope / (s.rate * noise));
    }
    EXPECT_NEAR(sum, 0.5615, 1e-3) << snr;
  }
}

TEST(Floors, KnowTheRoundingOfPhases) {
  // 80 MHz in 800 us: at 60 dB the rounding of the summed phases rules.
  const noise_scene_t s = {1e6, 125e6, 1e11, 2e12, 0.95e11, 99000, 74000, -29.6e6, 0.0};
  EXPECT_GT(phase_dev_rms_floor(s), 10.0 * phase_noise(s.snr));
  EXPECT_NEAR(phase_dev_rms_floor(s), 0.08, 0.03);
}

/// A chirp in noise.
std::vector<sample_t> chirp_of(double snr, double droop, std::size_t count, std::uint64_t seed) {
  noise_t noise(seed);
  std::vector<sample_t> samples(count);
  const double scale = std::sqrt(0.5 / ratio(snr));
  for (std::size_t i = 0; i < count; ++i) {
    const double t = static_cast<double>(i) / static_cast<double>(count);
    const double phase = std::numbers::pi * static_cast<double>(count) * 0.3 * t * t;
    const auto z = std::polar(std::pow(10.0, -droop * t / 20.0), phase) + scale * noise();
    samples[i] = sample_t(z);
  }
  return samples;
}

TEST(EnvelopeNoise, IsToldByTheEnvelopeAlone) {
  struct {
    double snr, droop, told;
  } const cases[] = {{5, 0, 5}, {10, 0, 10}, {20, 0, 20}, {40, 0, 40}, {60, 0, 60}, {30, 3, 28.5}};
  for (const auto& test : cases) {
    const auto noise = envelope_noise_of(chirp_of(test.snr, test.droop, 64 * 256, 7));
    EXPECT_NEAR(decibels(noise.snr), test.told, 0.3) << test.snr;
    EXPECT_NEAR(noise.correlation_1, 0.0, 0.05) << test.snr;
    EXPECT_NEAR(noise.correlation_2, 0.0, 0.05) << test.snr;
  }
}

TEST(EnvelopeNoise, TakesTheDroopOfABlockOut) {
  // 3 dB over four blocks: left in, it would count as noise of -30 dB.
  const auto noise = envelope_noise_of(chirp_of(40, 3, 4 * 256, 7));
  EXPECT_NEAR(decibels(noise.snr), 38.5, 1.2);
}

TEST(EnvelopeNoise, KnowsColouredNoise) {
  // Averages of three neighbours have correlations of 2/3 and 1/3.
  const auto white = chirp_of(100, 0, 20002, 1);
  noise_t noise(3);
  std::vector<std::complex<double>> source(20002);
  for (auto& z : source) {
    z = noise();
  }
  std::vector<sample_t> samples;
  for (std::size_t i = 0; i + 2 < source.size(); ++i) {
    // Turned with the carrier, so that it is the radius that keeps the correlation.
    samples.emplace_back(std::complex<double>(white[i]) *
                         (1.0 + 0.01 * (source[i] + source[i + 1] + source[i + 2])));
  }
  const auto told = envelope_noise_of(samples);
  EXPECT_NEAR(told.correlation_1, 2.0 / 3.0, 0.05);
  EXPECT_NEAR(told.correlation_2, 1.0 / 3.0, 0.05);
}

TEST(EnvelopeNoise, HasNoFigureWhereThereIsNone) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_TRUE(std::isnan(envelope_noise_of({}).snr));
  EXPECT_TRUE(std::isnan(envelope_noise_of(std::vector<sample_t>(255, 1.0F)).snr));
  EXPECT_TRUE(std::isnan(envelope_noise_of(std::vector<sample_t>(512, 0.0F)).snr));
  EXPECT_TRUE(std::isnan(envelope_noise_of(std::vector<sample_t>(512, nan)).snr));
  auto some = chirp_of(20, 0, 512, 1);
  some[3] = nan;
  EXPECT_NEAR(decibels(envelope_noise_of(some).snr), 20, 1.5);
  const auto noise = envelope_noise_of(chirp_of(-40, 0, 16384, 1));
  EXPECT_LT(noise.snr, 1.0);
}

const std::vector<std::string> usual_settings = {
    "min_chirp_len=50us", "max_chirp_len=150us",         "slope_tol=200kHz/us",
    "devlength_ref=0",    "devlength_offset_begin=12us", "devlength_offset_end=12us"};

settings_t settings_of(double rate, const std::vector<std::string>& assignments) {
  settings_t settings;
  settings.manager.set_fs(rate);
  apply_settings({"", assignments}, settings);
  return settings;
}

std::vector<chirp_t> rows_of(const transmitter_t& transmitter, const settings_t& settings) {
  std::vector<chirp_t> rows;
  recording_analysis_t analysis(settings, 1, {[&](const chirp_t& row) { rows.push_back(row); }},
                                {});
  synthesizer_t source(transmitter);
  analysis.analyze({0, sample_count_of(transmitter), {}, ""}, source);
  return rows;
}

struct spread_t {
  double sum = 0.0, squares = 0.0, count = 0.0;
  void add(double value) {
    sum += value;
    squares += value * value;
    ++count;
  }
  double mean() const { return sum / count; }
  double deviation() const { return std::sqrt(squares / count - mean() * mean()); }
};

std::size_t place_of(std::string_view column) {
  return static_cast<std::size_t>(
      std::find(trusted_columns.begin(), trusted_columns.end(), column) - trusted_columns.begin());
}

/// Trusts of all rows but the first, whose surroundings are not known.
std::vector<chirp_trust_t> trusts_of(const std::vector<chirp_t>& rows, const settings_t& settings) {
  statement_maker_t maker(settings, false);
  std::vector<chirp_trust_t> trusts;
  for (const chirp_t& row : rows) {
    const chirp_trust_t trust = maker.add(row);
    if (row.number > 1) {
      trusts.push_back(trust);
    }
  }
  return trusts;
}

TEST(ChirpTrust, HoldsForTheAnalysisOfChirpsInNoise) {
  const settings_t settings = settings_of(125e6, usual_settings);
  for (const double snr : {20.0, 30.0}) {
    for (const bool triangular : {false, true}) {
      SCOPED_TRACE(testing::Message() << snr << " dB, triangle: " << triangular);
      transmitter_t transmitter;
      transmitter.triangular = triangular;
      transmitter.chirps = 200;
      transmitter.snr = snr;
      transmitter.seed = 11;
      const auto rows = rows_of(transmitter, settings);
      ASSERT_GE(rows.size(), 198U);
      const auto trusts = trusts_of(rows, settings);
      spread_t slope, length, start, bandwidth, frequency, middle, power;
      double noise_words = 0.0;
      for (std::size_t i = 0; i < trusts.size(); ++i) {
        const auto at = [&](const char* column) { return trusts[i][place_of(column)]; };
        const auto truth = *truth_of(
            transmitter, static_cast<std::uint64_t>(
                             std::llround(rows[i + 1].start / period_of(transmitter) - 0.01)));
        slope.add((at("slope_khz_per_us").truth * 1e9 - truth.slope) / 1e9 /
                  at("slope_khz_per_us").u);
        bandwidth.add(at("bandwidth_hz").truth / std::abs(rows[i + 1].figures.slope * 1e9) /
                      rows[i + 1].figures.length);
        frequency.add(at("freq_dev_rms_hz").value / at("freq_dev_rms_hz").floor);
        power.add(at("power_avg_dbm").truth - truth.power);
        noise_words += at("freq_dev_rms_hz").word == trust_t::noise ? 1 : 0;
        EXPECT_NE(at("freq_dev_rms_hz").word, trust_t::measured);
        EXPECT_NE(at("phase_dev_rms_rad").word, trust_t::measured);
        EXPECT_EQ(at("slope_khz_per_us").word, trust_t::measured);
        if ((rows[i + 1].flags & chirp_flag_t::edge) != 0) {
          continue;
        }
        middle.add(at("freq_avg_hz").truth * 125e6 / truth.slope);
        length.add((at("length_s").truth - truth.length) * 125e6);
        start.add((at("start_s").truth - truth.start) * 125e6);
      }
      EXPECT_NEAR(slope.deviation(), 1.0, 0.2);
      EXPECT_NEAR(slope.mean(), 0.0, 0.35);
      EXPECT_NEAR(start.mean(), 0.0, 1.1);
      EXPECT_NEAR(start.deviation() / (edge_u(scene_of(rows[5], rows[4], settings).noise)), 1.0,
                  0.35);
      EXPECT_NEAR(length.mean(), 0.0, 1.1);
      EXPECT_NEAR(middle.mean(), 0.0, 0.5);  // samples from a sweep about 0 Hz
      EXPECT_NEAR(bandwidth.mean(), 1.0, 0.01);
      EXPECT_NEAR(frequency.mean(), 1.0, 0.01);
      EXPECT_NEAR(power.mean(), 0.0, 0.002);
      EXPECT_GE(noise_words, 0.95 * static_cast<double>(trusts.size()));
    }
  }
}

TEST(ChirpTrust, FindsTheRippleThatTheFloorHides) {
  // 0.5 % of 40 MHz is an RMS of 141 kHz, of which the fitted line takes some.
  const settings_t settings = settings_of(125e6, usual_settings);
  transmitter_t transmitter;
  transmitter.chirps = 60;
  transmitter.sine = 0.005;
  transmitter.snr = 20.0;
  for (const auto& trust : trusts_of(rows_of(transmitter, settings), settings)) {
    EXPECT_EQ(trust[place_of("phase_dev_rms_rad")].word, trust_t::measured);
    EXPECT_NE(trust[place_of("freq_dev_rms_hz")].word, trust_t::measured);
  }
  transmitter.snr = std::nullopt;
  const double ripple = rows_of(transmitter, settings)[5].figures.freq_dev_rms;
  transmitter.snr = 35.0;
  spread_t found;
  for (const auto& trust : trusts_of(rows_of(transmitter, settings), settings)) {
    found.add(trust[place_of("freq_dev_rms_hz")].truth);
  }
  EXPECT_NEAR(found.mean() / ripple, 1.0, 0.03);
}

TEST(ChirpTrust, ClaimsNothingThatItCannotKnow) {
  const settings_t settings = settings_of(125e6, usual_settings);
  transmitter_t transmitter;
  transmitter.chirps = 4;
  transmitter.snr = 30.0;
  const auto rows = rows_of(transmitter, settings);
  ASSERT_EQ(rows.size(), 3U);
  const auto words_of = [&](const std::function<void(chirp_t&)>& change) {
    chirp_t row = rows[1];
    change(row);
    return trust_of(row, scene_of(row, rows[0], settings));
  };
  const std::function<void(chirp_t&)> spoilers[] = {
      [](chirp_t& row) { row.flags |= chirp_flag_t::clipped; },
      [](chirp_t& row) { row.noise = {}; }, [](chirp_t& row) { row.noise.snr = 3.0; }};
  for (const auto& spoil : spoilers) {
    for (const figure_trust_t& trust : words_of(spoil)) {
      EXPECT_EQ(trust.word, trust_t::unknown);
      EXPECT_TRUE(std::isnan(trust.u));
    }
  }
  const auto coloured = words_of([](chirp_t& row) { row.noise.correlation_1 = 0.5; });
  EXPECT_EQ(coloured[place_of("slope_khz_per_us")].word, trust_t::unknown);
  EXPECT_EQ(coloured[place_of("freq_dev_rms_hz")].word, trust_t::noise);
  const auto at_edge = words_of([](chirp_t& row) { row.flags |= chirp_flag_t::edge; });
  EXPECT_EQ(at_edge[place_of("length_s")].word, trust_t::unknown);
  EXPECT_EQ(at_edge[place_of("slope_khz_per_us")].word, trust_t::measured);
  const auto first = trust_of(rows[0], scene_of(rows[0], {}, settings));
  EXPECT_EQ(first[place_of("start_s")].word, trust_t::unknown);
  EXPECT_EQ(first[place_of("slope_khz_per_us")].word, trust_t::measured);
}

TEST(Statement, TellsOfTheCapture) {
  const settings_t settings = settings_of(125e6, {"min_chirp_len=50us", "max_chirp_len=150us"});
  transmitter_t transmitter;
  transmitter.chirps = 30;
  transmitter.snr = 15.0;
  statement_maker_t maker(settings, true);
  auto rows = rows_of(transmitter, settings);
  ASSERT_GT(rows.size(), 20U);
  rows[3].clipped_count = 10;
  rows[5].flags |= chirp_flag_t::slip;
  double sample_count = 0.0;
  std::uint64_t slip_count = 0;
  for (const chirp_t& row : rows) {
    maker.add(row);
    slip_count += (row.flags & chirp_flag_t::slip) != 0 ? 1 : 0;
    sample_count += static_cast<double>(row.last_sample - row.first_sample + 1);
  }
  const statement_t statement = maker.statement();
  EXPECT_EQ(statement.chirp_count, rows.size());
  EXPECT_NEAR(statement.snr, 15.0, 0.2);
  EXPECT_NEAR(statement.margin, 15.0 - 9.8, 0.4);
  EXPECT_NEAR(statement.clipped_share, 10.0 / sample_count, 1e-12);
  EXPECT_EQ(statement.slip_count, slip_count);
  EXPECT_TRUE(statement.is_merge_risk);
  ASSERT_FALSE(statement.advice.empty());
  EXPECT_THAT(statement.advice.back().options, testing::HasSubstr("--set slope_tol=200kHz/us"));
  EXPECT_THAT(statement_line(statement), testing::HasSubstr("above what 99 % of the chirps need"));
  EXPECT_TRUE(std::isnan(statement_maker_t(settings, false).statement().snr));

  // What it advises, and slow ramps in the dead zone.
  EXPECT_FALSE([&] {
    const settings_t better = settings_of(125e6, usual_settings);
    statement_maker_t again(better, true);
    for (const chirp_t& row : rows_of(transmitter, better)) {
      again.add(row);
    }
    return again.statement().is_merge_risk;
  }());
}

}  // namespace
}  // namespace orn::fmcw_host
