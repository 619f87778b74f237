#include "fmcw_program.h"

#include <string>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

TEST_F(Fmcw, ChecksHowFarFiguresCanBeTrusted) {
  ASSERT_EQ(run("synth a --snr 20 --chirps 40").status, 0);
  const auto outcome = run("check a");
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_THAT(outcome.out, AllOf(HasSubstr("39"), HasSubstr("white"), HasSubstr("up, means over"),
                                 HasSubstr("near the floor"), Not(HasSubstr("down, means"))));
  EXPECT_EQ(run("check a --jobs 3").out, run("check a --jobs 1").out);
  const json checked = json::parse(run("check a --json").out);
  ASSERT_EQ(checked["chirps"].size(), 39U);
  const json row = checked["chirps"][7];
  EXPECT_EQ(row["slope_khz_per_us_trust"], "measured");
  EXPECT_NEAR(row["slope_khz_per_us_u"], 0.0125, 0.002);
  EXPECT_EQ(row["freq_dev_rms_hz_trust"], "noise");
  EXPECT_NEAR(row["freq_dev_rms_hz_floor"], 997e3, 60e3);
  EXPECT_NEAR(row["length_s_true"], 100e-6, 0.1e-6);
  EXPECT_TRUE(checked["chirps"][0]["length_s_u"].is_null());  // no chirp before
  EXPECT_NEAR(checked["trust"]["snr_db"], 20.0, 0.2);
  EXPECT_NEAR(checked["trust"]["margin_db"], 10.2, 0.3);
  EXPECT_TRUE(checked["trust"]["advice"].empty());

  EXPECT_THAT(run("analyze a").out, AllOf(testing::ContainsRegex("SNR (19\\.9|20\\.[01]) dB"),
                                          HasSubstr("fmcw check tells more")));
  EXPECT_THAT(run("analyze a --csv -").out, Not(HasSubstr("trust")));

  // The same figures beside the rows of an analysis.
  EXPECT_THAT(run("analyze a --uncertainty").out,
              testing::ContainsRegex("(399\\.9[0-9]|400\\.0[0-9])[0-9] ± 0\\.01[0-9]"));
  EXPECT_THAT(run("analyze a --uncertainty --csv -").out,
              AllOf(HasSubstr("slope_khz_per_us_u"), HasSubstr("freq_dev_rms_hz_trust"),
                    HasSubstr("near the floor")));
  const json analyzed = json::parse(run("analyze a --uncertainty --json -").out);
  for (const char* column : {"slope_khz_per_us_u", "bandwidth_hz_bias", "inl_peak_floor"}) {
    EXPECT_EQ(analyzed["chirps"][7][column], row[column]) << column;
  }
}

TEST_F(Fmcw, ChecksWhatTheSettingsCost) {
  // The library's own settings: the fly-backs are about as long as what merges.
  ASSERT_EQ(run("synth a --snr 20 --chirps 40").status, 0);
  const auto risky = run("check a --set max_chirp_len=150us --set min_chirp_len=50us");
  EXPECT_EQ(risky.status, 0) << risky.err;
  EXPECT_THAT(risky.out, HasSubstr("by chance"));
  const auto advice = risky.out.find("fmcw analyze a --set slope_tol=");
  ASSERT_NE(advice, std::string::npos) << risky.out;
  std::string options = risky.out.substr(advice + std::string("fmcw analyze ").size());
  options.resize(options.find('\n'));
  EXPECT_THAT(run("check " + options + " --set max_chirp_len=150us --set min_chirp_len=50us").out,
              Not(HasSubstr("by chance")));
}

TEST_F(Fmcw, ChecksNothingWithoutChirps) {
  ASSERT_EQ(run("synth a --snr -20 --chirps 5").status, 0);
  const auto outcome = run("check a");
  EXPECT_EQ(outcome.status, 4);
  EXPECT_THAT(outcome.err, HasSubstr("no chirps: "));
  EXPECT_EQ(run("check a --json").status, 4);
}

TEST_F(Fmcw, ChecksThatEchoesLimitARoom) {
  const fs::path room = fs::path(FMCW_RECORDINGS) / "real_acoustic_tracked_48k.cf32";
  if (!fs::exists(room)) {
    GTEST_SKIP() << "no recordings";
  }
  const auto outcome = run("check '" + room.string() + "' --fs 48k");
  EXPECT_THAT(outcome.out, AllOf(HasSubstr("as echoes do"), Not(HasSubstr("margin"))));
}

}  // namespace
