#include "common/fit/angle.h"
#include "common/fit/block_phases.h"
#include "common/fit/edge_fit.h"
#include "common/fit/phase_fit.h"
#include "common/fit/record_slips.h"
#include "common/synth/synthesizer.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <functional>
#include <limits>
#include <numbers>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orn::fmcw_host {
namespace {

using fmcw_demod_lib::sample_t;

constexpr double pi = std::numbers::pi;
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

/// A chirp by its phase in turns, a function of the time from its middle on.
struct ramp_t {
  double rate = 125e6;     // Hz
  std::size_t n = 12260;   // samples
  double slope = 4e11;     // Hz/s
  double middle = 3e5;     // Hz
  double phase = 0.2;      // turns
  double cubic = 0.0;      // turns per s^3
  double sigma = 0.0;      // standard deviation of each part of the noise, of a carrier of 1
  std::uint64_t seed = 1;  // of the noise
  std::function<double(std::size_t)> extra = [](std::size_t) { return 0.0; };  // turns
};

std::vector<sample_t> samples_of(const ramp_t& r) {
  noise_t noise(r.seed);
  std::vector<sample_t> samples(r.n);
  for (std::size_t i = 0; i < r.n; ++i) {
    const double t = (static_cast<double>(i) - 0.5 * static_cast<double>(r.n - 1)) / r.rate;
    const double turns =
        r.phase + r.middle * t + 0.5 * r.slope * t * t + r.cubic * t * t * t + r.extra(i);
    std::complex<double> z = std::polar(1.0, 2.0 * pi * (turns - std::floor(turns)));
    if (r.sigma > 0.0) {
      z += r.sigma * noise();
    }
    samples[i] = sample_t(z);
  }
  return samples;
}

double sigma_at(double snr_db) { return std::sqrt(0.5 * std::pow(10.0, -snr_db / 10.0)); }

TEST(Angle, GoesRoundTheCircleAndBack) {
  for (const double turns :
       {0.0, 0.03, 0.125, 0.2499, 0.25, 0.4, 0.4999, -0.01, -0.25, -0.3, -0.45}) {
    for (const double whole : {0.0, 3.0, -1e6}) {
      const plane_t p = phasor_of(turns + whole);
      EXPECT_NEAR(p.re, std::cos(2.0 * pi * turns), 1e-15 + std::abs(whole) * 1e-15) << turns;
      EXPECT_NEAR(p.im, std::sin(2.0 * pi * turns), 1e-15 + std::abs(whole) * 1e-15) << turns;
      EXPECT_NEAR(turns_of({7.0 * p.re, 7.0 * p.im}), turns, 1e-15 + std::abs(whole) * 1e-15);
    }
  }
  EXPECT_EQ(turns_of({0.0, 0.0}), 0.0);
  EXPECT_TRUE(std::isnan(turns_of({nan, 1.0})));
  EXPECT_TRUE(std::isnan(turns_of({std::numeric_limits<double>::infinity(), 1.0})));
}

struct exact_case_t {
  const char* name;
  ramp_t ramp;
};

TEST(PhaseFit, IsExactWithoutNoise) {
  const std::vector<exact_case_t> cases = {
      {"up", {}},
      {"down", {.slope = -4e11, .middle = -1e6, .phase = -0.4}},
      {"next to the end of the band", {.slope = 2e11, .middle = 52e6}},
      {"a tone", {.slope = 0.0, .middle = 1e6}},
      {"a remainder in the middle", {.n = 12259}},
      {"audio", {.rate = 48e3, .n = 14000, .slope = 46e3, .middle = 8e3}},
      {"short", {.n = 1000}},
      {"shortest", {.n = 64}},
  };
  for (const auto& [name, ramp] : cases) {
    const phase_fit_t fit = fit_phase(samples_of(ramp), ramp.rate);
    const auto n = static_cast<double>(ramp.n);
    // Samples are rounded to 24 bits, which moves phases by up to 6e-8 rad.
    const double s = 6e-8;
    EXPECT_NEAR(fit.slope, ramp.slope, 3.0 * ramp.rate * ramp.rate * s / std::pow(n, 2.5) * 4.3)
        << name;
    EXPECT_NEAR(fit.freq_centre, ramp.middle, 3.0 * ramp.rate * s / std::pow(n, 1.5)) << name;
    EXPECT_NEAR(fit.freq_start, ramp.middle - ramp.slope * 0.5 * (n - 1.0) / ramp.rate,
                10.0 * ramp.rate * s / std::pow(n, 1.5))
        << name;
    EXPECT_NEAR(fit.phase, 2.0 * pi * ramp.phase, 2e-7) << name;
    EXPECT_LT(fit.rms, 1e-5) << name;
    EXPECT_NEAR(fit.curvature, 0.0, 60.0 * ramp.rate * s / std::pow(n, 1.5)) << name;
    EXPECT_EQ(fit.slips, 0U) << name;
    EXPECT_LT(fit.left_out, ramp.n / 100 + 4) << name;
  }
}

TEST(PhaseFit, TellsACurveFromASlope) {
  for (const double bow : {1e4, -4e5, 4e6}) {  // frequency in the middle above that at the ends
    ramp_t ramp;
    const double half = 0.5 * static_cast<double>(ramp.n) / ramp.rate;
    ramp.cubic = -bow / (3.0 * half * half);
    const phase_fit_t fit = fit_phase(samples_of(ramp), ramp.rate);
    EXPECT_NEAR(fit.curvature / bow, 1.0, 1e-3) << bow;
    EXPECT_NEAR(fit.slope / ramp.slope, 1.0, 1e-5) << bow;
    // The cubic less its best line: 2/5 of the amplitude of P3 in phase, whose mean square is 1/7.
    const double p3 = 2.0 * pi * std::abs(ramp.cubic) * half * half * half * 2.0 / 5.0;
    EXPECT_NEAR(fit.rms / (p3 / std::sqrt(7.0)), 1.0, 0.02) << bow;
  }
}

struct ratios_t {
  double slope = 0.0, freq = 0.0, phase = 0.0, start = 0.0, curvature = 0.0;  // observed / stated
  double bound = 0.0;  // slope observed / Cramer-Rao bound
  double rms = 0.0;    // stated / true
};

ratios_t observe(double snr_db, std::uint64_t chirps) {
  ratios_t squares;
  double rms = 0.0;
  ramp_t ramp;
  ramp.sigma = sigma_at(snr_db);
  const auto n = static_cast<double>(ramp.n);
  const double bound =
      std::sqrt(720.0) * ramp.sigma / (2.0 * pi) * ramp.rate * ramp.rate / std::pow(n, 2.5);
  const double to_start = 0.5 * (n - 1.0) / ramp.rate;
  const auto add = [](double& sum, double error, double u) { sum += error * error / (u * u); };
  for (ramp.seed = 1; ramp.seed <= chirps; ++ramp.seed) {
    const phase_fit_t fit = fit_phase(samples_of(ramp), ramp.rate);
    add(squares.bound, fit.slope - ramp.slope, bound);
    add(squares.slope, fit.slope - ramp.slope, fit.slope_u);
    add(squares.freq, fit.freq_centre - ramp.middle, fit.freq_centre_u);
    add(squares.phase, fit.phase - 2.0 * pi * ramp.phase, fit.phase_u);
    add(squares.start, fit.freq_start - (ramp.middle - ramp.slope * to_start), fit.freq_start_u);
    add(squares.curvature, fit.curvature, fit.curvature_u);
    rms += fit.rms / ramp.sigma;
  }
  const auto k = static_cast<double>(chirps);
  const auto root = [k](double sum) { return std::sqrt(sum / k); };
  return {root(squares.slope),
          root(squares.freq),
          root(squares.phase),
          root(squares.start),
          root(squares.curvature),
          root(squares.bound),
          rms / k};
}

TEST(PhaseFit, ReachesTheBoundAndSaysSo) {
  // Of 400 chirps a standard deviation has 3.5 % of its own; the rest is what is allowed.
  for (const double snr_db : {7.0, 12.0, 20.0, 40.0}) {
    const ratios_t r = observe(snr_db, 400);
    EXPECT_LT(r.bound, 1.1) << snr_db;
    EXPECT_GT(r.bound, 0.9) << snr_db;
    for (const double ratio : {r.slope, r.freq, r.phase, r.start, r.curvature}) {
      EXPECT_NEAR(ratio, 1.0, 0.13) << snr_db;
    }
    EXPECT_NEAR(r.rms, 1.0, snr_db < 12.0 ? 0.1 : 0.03) << snr_db;
    RecordProperty("bound_" + std::to_string(static_cast<int>(snr_db)), std::to_string(r.bound));
  }
}

struct damage_case_t {
  const char* name;
  void (*damage)(ramp_t&, std::vector<sample_t>&);
  std::uint64_t slips;
  std::uint64_t most_left_out;
};

/// A turn more from one sample on, spread over some.
double slip(std::size_t i, std::size_t at, std::size_t length) {
  return std::clamp(
      (static_cast<double>(i) - static_cast<double>(at)) / static_cast<double>(length), 0.0, 1.0);
}

TEST(PhaseFit, StandsDamage) {
  const std::vector<damage_case_t> cases = {
      {"none", [](ramp_t&, std::vector<sample_t>&) {}, 0, 100},
      {"a NaN",
       [](ramp_t&, std::vector<sample_t>& x) {
         x[5000] = {static_cast<float>(nan), 0};
       },
       0, 100},
      {"an infinity",
       [](ramp_t&, std::vector<sample_t>& x) {
         x[0] = {0, -std::numeric_limits<float>::infinity()};
       },
       0, 100},
      {"greatest floats",
       [](ramp_t&, std::vector<sample_t>& x) {
         x[777] = {3e38F, -3e38F};
       },
       0, 100},
      {"spikes",
       [](ramp_t&, std::vector<sample_t>& x) {
         for (std::size_t i = 50; i < x.size(); i += 1000) {
           x[i] *= -20.0F;
         }
       },
       0, 600},
      {"a hole",
       [](ramp_t&, std::vector<sample_t>& x) { std::fill_n(x.begin() + 6000, 500, sample_t(0)); },
       0, 700},
      {"a wild start",
       [](ramp_t& r, std::vector<sample_t>& x) {
         r.extra = [](std::size_t i) { return 2.0 * std::exp(-static_cast<double>(i) / 50.0); };
         x = samples_of(r);
       },
       0, 700},
      {"a slip within a block",
       [](ramp_t& r, std::vector<sample_t>& x) {
         r.extra = [](std::size_t i) { return slip(i, 4000, 8); };
         x = samples_of(r);
       },
       0, 100},
      {"a slip over blocks",
       [](ramp_t& r, std::vector<sample_t>& x) {
         r.extra = [](std::size_t i) { return slip(i, 4000, 200); };
         x = samples_of(r);
       },
       1, 400},
      {"a slip back",
       [](ramp_t& r, std::vector<sample_t>& x) {
         r.extra = [](std::size_t i) { return -slip(i, 9000, 180); };
         x = samples_of(r);
       },
       1, 400},
      {"two slips",
       [](ramp_t& r, std::vector<sample_t>& x) {
         r.extra = [](std::size_t i) { return slip(i, 3000, 170) + slip(i, 7000, 200); };
         x = samples_of(r);
       },
       2, 600},
  };
  for (const auto& [name, damage, slips, most_left_out] : cases) {
    for (const double snr_db : {20.0, 40.0}) {
      ramp_t ramp;
      ramp.sigma = sigma_at(snr_db);
      std::vector<sample_t> samples = samples_of(ramp);
      damage(ramp, samples);
      const phase_fit_t fit = fit_phase(samples, ramp.rate);
      EXPECT_LT(std::abs(fit.slope - ramp.slope), 4.5 * fit.slope_u) << name << ' ' << snr_db;
      EXPECT_LT(fit.slope_u, 2.0 * std::sqrt(720.0) * ramp.sigma / (2.0 * pi) * ramp.rate *
                                 ramp.rate / std::pow(12260.0, 2.5))
          << name << ' ' << snr_db;
      EXPECT_EQ(fit.slips, slips) << name << ' ' << snr_db;
      EXPECT_LE(fit.left_out, most_left_out) << name << ' ' << snr_db;
    }
  }
}

TEST(PhaseFit, IsNaNWhereThereIsNoChirp) {
  const std::vector<sample_t> good = samples_of({.n = 63});
  const std::vector<sample_t> holes(1000, sample_t(static_cast<float>(nan), 0));
  const std::vector<sample_t> zeros(1000);
  for (const auto& samples : {std::vector<sample_t>{}, good, holes, zeros}) {
    const phase_fit_t fit = fit_phase(samples, 1e6);
    EXPECT_TRUE(std::isnan(fit.slope)) << samples.size();
    EXPECT_TRUE(std::isnan(fit.slope_u)) << samples.size();
    EXPECT_TRUE(std::isnan(fit.freq_centre)) << samples.size();
    EXPECT_TRUE(std::isnan(fit.rms)) << samples.size();
  }
}

TEST(RecordSlips, ShowInTheFrequency) {
  noise_t noise(3);
  for (const double sigma : {0.0, 0.2}) {         // rad
    for (const double curvature : {0.0, 1e-7}) {  // turns per sample^3
      std::vector<double> turns(3000);
      std::vector<float> frequency(turns.size());
      const auto count = [&](const std::vector<std::size_t>& slips) {
        for (std::size_t i = 0; i < turns.size(); ++i) {
          const double t = static_cast<double>(i) - 1500.0;
          turns[i] =
              1e-4 * t * t + curvature / 6.0 * t * t * t + sigma / (2.0 * pi) * noise().real();
          turns[i] += static_cast<double>(
              std::count_if(slips.begin(), slips.end(), [i](std::size_t at) { return at <= i; }));
        }
        for (std::size_t i = 1; i + 1 < turns.size(); ++i) {
          frequency[i] = static_cast<float>(0.5 * 1e6 * (turns[i + 1] - turns[i - 1]));
        }
        return slips_in(frequency, 1e6);
      };
      EXPECT_EQ(count({}), 0U) << sigma;
      for (std::size_t at = 1000; at < 1070; ++at) {
        EXPECT_EQ(count({at}), 1U) << sigma << ' ' << at;
      }
      EXPECT_EQ(count({500, 1500, 2400}), 3U) << sigma;
    }
  }
  EXPECT_EQ(slips_in({}, 1e6), 0U);
  EXPECT_EQ(slips_in(std::vector<float>(400, std::numeric_limits<float>::quiet_NaN()), 1e6), 0U);
}

struct turn_case_t {
  const char* name;
  transmitter_t transmitter;
  double inside;        // samples that edges are given inside the ramp
  double most;          // standard deviation at 20 dB [samples]
  double bias = 0.002;  // at most [samples], of what is not noise
};

transmitter_t with(const std::function<void(transmitter_t&)>& change) {
  transmitter_t transmitter;  // 40 MHz in 100 us at 125 MS/s, 5 us back
  transmitter.chirps = 60;
  change(transmitter);
  return transmitter;
}

/// Errors of the turns of every chirp that has neighbours, over the stated uncertainties.
struct turn_errors_t {
  double squares = 0.0;   // [samples^2]
  double relative = 0.0;  // squares of errors over uncertainties
  int count = 0;
};

turn_errors_t turn_errors(const turn_case_t& c, double snr_db) {
  transmitter_t t = c.transmitter;
  t.snr = snr_db;
  synthesizer_t synthesizer(t);
  std::vector<sample_t> samples(static_cast<std::size_t>(sample_count_of(t)));
  synthesizer.read(samples);
  turn_errors_t errors;
  for (std::uint64_t i = 1; i + 1 < t.chirps; ++i) {
    const double start =
        (first_start_of(t) + static_cast<double>(i) * period_of(t)) * t.sample_rate;
    const double stop = start + t.ramp * t.sample_rate;
    const turns_t turns = fit_turns(samples, static_cast<std::size_t>(start + c.inside),
                                    static_cast<std::size_t>(stop - c.inside), t.sample_rate);
    const std::vector<std::pair<turn_t, double>> both = {{turns.start, start}, {turns.stop, stop}};
    for (const auto& [turn, truth] : both) {
      const double error = turn.place - truth;
      EXPECT_TRUE(std::isfinite(error)) << c.name << ' ' << i;
      errors.squares += error * error;
      errors.relative += error * error / (turn.u * turn.u + c.bias * c.bias);
      ++errors.count;
    }
  }
  return errors;
}

TEST(EdgeFit, FindsTheTurnToAFractionOfASample) {
  const std::vector<turn_case_t> cases = {
      {"up", with([](transmitter_t&) {}), 100.0, 0.06},
      {"down", with([](transmitter_t& t) { t.falling = true; }), 100.0, 0.06},
      {"edges at the turn", with([](transmitter_t&) {}), 5.0, 0.13},
      {"triangle", with([](transmitter_t& t) { t.triangular = true; }), 40.0, 0.6},
      {"short", with([](transmitter_t& t) { t.ramp = 20e-6; }), 100.0, 0.05},
      {"off the centre", with([](transmitter_t& t) { t.offset = 30e6; }), 100.0, 0.06},
      {"a rest before", with([](transmitter_t& t) { t.idle = 20e-6; }), 100.0, 0.9},
      {"a short way back", with([](transmitter_t& t) { t.flyback = 3e-6; }), 90.0, 0.1},
      {"curved", with([](transmitter_t& t) { t.quadratic = 0.01; }), 100.0, 0.07, 0.03},
  };
  for (const turn_case_t& c : cases) {
    for (const double snr_db : {12.0, 20.0, 40.0}) {
      const turn_errors_t errors = turn_errors(c, snr_db);
      // 116 errors have 7 % of their own in a standard deviation.
      const double ratio = std::sqrt(errors.relative / errors.count);
      EXPECT_LT(ratio, 1.3) << c.name << ' ' << snr_db;
      EXPECT_GT(ratio, 0.65) << c.name << ' ' << snr_db;
      const double deviation = std::sqrt(errors.squares / errors.count);
      EXPECT_LT(deviation, c.most * std::pow(10.0, (20.0 - snr_db) / 20.0) + c.bias)
          << c.name << ' ' << snr_db;
    }
  }
}

TEST(EdgeFit, IsNaNWhereThereIsNoTurn) {
  const std::vector<sample_t> straight = samples_of({.n = 10000, .slope = 1e11, .sigma = 0.05});
  // A step of the frequency leaves no place at which both sides' frequencies meet.
  ramp_t stepping{.n = 10000, .slope = 1e11};
  stepping.extra = [](std::size_t i) {
    return i < 7000 ? 0.0 : 0.1 * static_cast<double>(i - 7000);
  };
  std::vector<sample_t> torn = samples_of({.n = 10000, .slope = 1e11});
  for (std::size_t i = 7000; i < 8000; ++i) {
    torn[i] = {static_cast<float>(nan), 0.0F};
  }
  for (const auto& samples : {straight, samples_of(stepping), torn}) {
    const turns_t turns = fit_turns(samples, 3000, 6900, 125e6);
    EXPECT_TRUE(std::isnan(turns.stop.place));
    EXPECT_TRUE(std::isnan(turns.stop.u));
  }
  const turns_t ends = fit_turns(straight, 100, 9900, 125e6);
  EXPECT_TRUE(std::isnan(ends.start.place) && std::isnan(ends.stop.place));
  const turns_t outside = fit_turns(straight, 100, 10000, 125e6);
  EXPECT_TRUE(std::isnan(outside.start.place));
}

}  // namespace
}  // namespace orn::fmcw_host
