#include "fmcw_program.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using testing::HasSubstr;
using testing::Not;

/// 2000 periods: more than one span.
const std::string long_synth =
    " --fs 10e6 --ramp 200e-6 --flyback 10e-6 --bandwidth 2e6 --chirps 2000 --snr 30";

TEST_F(Fmcw, NeedsNoSettings) {
  ASSERT_EQ(run("synth a" + long_synth).status, 0);
  const auto outcome = run("analyze a --csv a.csv --truth");
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_THAT(outcome.out, HasSubstr("1999 of 2000 annotated chirps measured"));
  EXPECT_THAT(outcome.out, HasSubstr("the recording begins with it"));
  EXPECT_THAT(outcome.err, HasSubstr("--set max_chirp_len="));

  // What was printed, pasted, gives the same rows, on any number of threads and from a pipe.
  const std::string pasted = outcome.err.substr(outcome.err.find("--set"));
  const std::string settings = pasted.substr(0, pasted.find('\n'));
  const std::string rows = content(path("a.csv"));
  EXPECT_EQ(std::count(rows.begin(), rows.end(), '\n'), 2000);
  EXPECT_EQ(run("analyze a --csv - " + settings).out, rows);
  EXPECT_EQ(run("analyze a --jobs 1 --csv -").out, rows);
  EXPECT_EQ(run("analyze a --jobs 3 --csv -").out, rows);
  std::string piped = run("analyze - --fs 10e6 --format cf32_le --csv -", "cat a.sigmf-data |").out;
  EXPECT_EQ(std::count(piped.begin(), piped.end(), '\n'), 2000);

  // So does the profile of the suggestion and that of a result.
  write("suggested.json", run("suggest a --json").out);
  EXPECT_EQ(run("analyze a --csv - --settings suggested.json").out, rows);
  ASSERT_EQ(run("analyze a --json result.json").status, 0);
  EXPECT_EQ(run("analyze a --csv - --settings result.json").out, rows);
  EXPECT_THAT(run("suggest a").out, HasSubstr("chirps: "));
}

TEST_F(Fmcw, MarksWhereARecordingChanges) {
  ASSERT_EQ(run("synth a" + long_synth).status, 0);
  ASSERT_EQ(run("synth b --fs 10e6 --ramp 900e-6 --bandwidth 2e6 --chirps 300").status, 0);
  write("c.cf32", content(path("a.sigmf-data")) + content(path("b.sigmf-data")));
  const auto outcome = run("analyze c.cf32 --fs 10e6 --json c.json");
  const json change = json::parse(content(path("c.json")))["summary"]["changes"].at(0);
  EXPECT_NEAR(change["first_sample"].get<double>(), 4.2e6, 0.6e6);
  EXPECT_EQ(change["time_s"].get<double>(), change["first_sample"].get<double>() / 10e6);
  EXPECT_NEAR(change["duration_s"].get<double>(), 900e-6, 20e-6);
  EXPECT_NEAR(change["slope_hz_per_s"].get<double>(), 2e6 / 900e-6, 0.01 * 2e6 / 900e-6);
  // Between the last of these chirps and the summary.
  const auto mark = outcome.out.find("\n-- about 0.4");
  EXPECT_GT(mark, outcome.out.find("\n1900 "));
  EXPECT_LT(mark, outcome.out.find("chirps measured"));
  EXPECT_THAT(outcome.err, HasSubstr("which these settings leave out"));
}

TEST_F(Fmcw, TellsWhenThereIsNoChirp) {
  write("zeros.cf32", std::string(80000, '\0'));
  const auto outcome = run("analyze zeros.cf32 --fs 1e6");
  EXPECT_EQ(outcome.status, 4);
  EXPECT_THAT(outcome.out, HasSubstr("no chirps found"));
  EXPECT_THAT(outcome.err, HasSubstr("no chirps: every sample is zero"));
  EXPECT_EQ(run("suggest zeros.cf32 --fs 1e6").status, 4);
  EXPECT_EQ(run("analyze zeros.cf32 --fs 1e6 --report").status, 4);
  EXPECT_THAT(run("analyze - --fs 1e6 --format cf32", "cat zeros.cf32 |").err,
              HasSubstr("every sample is zero"));
}

TEST_F(Fmcw, TellsWhatWouldFindChirps) {
  ASSERT_EQ(run("synth a --snr 40" + small_synth).status, 0);
  fs::copy_file(path("a.sigmf-data"), path("it's.cf32"));
  const auto outcome =
      run("analyze \"it's.cf32\" --fs 10M --json a.json --set min_chirp_len=300us --set "
          "max_chirp_len=1ms");
  EXPECT_EQ(outcome.status, 4);
  const json diagnosis = json::parse(content(path("a.json")))["diagnosis"];
  EXPECT_EQ(diagnosis["reason"], "limits");
  EXPECT_EQ(diagnosis["change"], "--auto");
  EXPECT_EQ(diagnosis["too_short"], diagnosis["candidates"]);
  EXPECT_TRUE(diagnosis["shortest_too_long_s"].is_null());
  // The command, pasted into a shell.
  const std::string start = "fmcw: try: fmcw ";
  ASSERT_THAT(outcome.err, HasSubstr(start));
  const std::string command = outcome.err.substr(outcome.err.find(start) + start.size());
  EXPECT_EQ(command, "analyze 'it'\\''s.cf32' --fs 10000000 --auto\n");
  const auto pasted = run(command.substr(0, command.find('\n')) + " --json b.json");
  EXPECT_EQ(pasted.status, 0) << pasted.err;
  EXPECT_FALSE(json::parse(content(path("b.json"))).contains("diagnosis"));
}

TEST_F(Fmcw, SpellsOutFlagsAndDoubts) {
  ASSERT_EQ(run("synth a --snr 12 --chirps 10").status, 0);
  const auto outcome = run("analyze a --json a.json");
  EXPECT_THAT(outcome.out, HasSubstr("merged: 9 of 9 chirps: peak non-linearity above 10 %"));
  EXPECT_THAT(outcome.out, HasSubstr("bandwidth: in 9 of 9 chirps"));
  const json document = json::parse(content(path("a.json")));
  EXPECT_EQ(document["summary"]["flag_counts"]["merged"], 9);
  EXPECT_EQ(document["summary"]["uneven_bandwidth_count"], 9);
  EXPECT_TRUE(document["chirps"][0]["period_s"].is_null());
  EXPECT_NEAR(document["chirps"][1]["period_s"].get<double>(), 105e-6, 1e-6);
  const std::string table = run("analyze a --all").out;
  EXPECT_THAT(table, HasSubstr("freq. settled after"));
  EXPECT_THAT(table, Not(HasSubstr("nan")));
}

TEST_F(Fmcw, MeasuresSettlingWithinWhatIsAskedFor) {
  ASSERT_EQ(run("synth a --snr 60 --overshoot 0.02 --settling 5e-6").status, 0);
  const auto settled = [&](const std::string& option) {
    return analyze("a " + option)["chirps"][1]["fm_settled_s"].get<double>();
  };
  // The transient falls by 1/e in 5 us.
  EXPECT_NEAR(settled("--settling 0.1%") - settled("--settling 1%"), 5e-6 * std::log(10.0), 0.2e-6);
  EXPECT_NEAR(settled("--settling 40kHz") - settled("--settling 400kHz,1deg"),
              5e-6 * std::log(10.0), 0.2e-6);
  const auto refused = run("analyze a --settling 3us");
  EXPECT_EQ(refused.status, 2);
  EXPECT_THAT(refused.err, HasSubstr("--settling cannot be '3us'; allowed are"));
}

TEST_F(Fmcw, ShowsProgressAsJson) {
  ASSERT_EQ(run("synth a" + long_synth).status, 0);
  const auto outcome = run("analyze a --progress=json --csv a.csv --set max_chirp_len=300us");
  std::istringstream lines(outcome.err);
  std::string line;
  json last;
  while (std::getline(lines, line)) {
    if (line.starts_with("{")) {
      last = json::parse(line);
    }
  }
  EXPECT_EQ(last["done"], 4200000);
  EXPECT_EQ(last["total"], 4200000);
}

TEST_F(Fmcw, MarksSelectedChirps) {
  ASSERT_EQ(run("synth a --chirps 50 --fs 10e6 --ramp 200e-6 --bandwidth 2e6").status, 0);
  const json chirps = analyze("a --selected --set chirp_start=5 --set chirp_count=3")["chirps"];
  ASSERT_EQ(chirps.size(), 3U);
  EXPECT_EQ(chirps[0]["chirp"], 6);
  EXPECT_EQ(analyze("a --set chirp_start=5 --set chirp_count=3")["summary"]["chirp_total"], 49);
}

TEST_F(Fmcw, CutsOutWhatIsNotFinite) {
  ASSERT_EQ(run("synth a --chirps 50 --fs 10e6 --ramp 200e-6 --bandwidth 2e6").status, 0);
  auto data = content(path("a.sigmf-data"));
  std::fill_n(data.begin() + 8 * 43210, 4, '\xFF');
  write("a.sigmf-data", data);
  const auto outcome = run("analyze a --json a.json");
  EXPECT_THAT(outcome.err, HasSubstr("1 samples are not finite"));
  EXPECT_THAT(outcome.err, HasSubstr("sample 43210"));
  const json document = json::parse(content(path("a.json")));
  EXPECT_EQ(document["summary"]["first_nonfinite_sample"], 43210);
  EXPECT_EQ(document["chirps"].size(), 48U);
}

TEST_F(Fmcw, FlagsRowsOfFramesThatHoldWhatIsNotFinite) {
  ASSERT_EQ(run("synth a --snr 40 --chirps 10 --fs 10e6 --ramp 200e-6 --bandwidth 2e6").status, 0);
  auto data = content(path("a.sigmf-data"));
  std::fill_n(data.begin() + 8 * 16000, 4, '\xFF');  // in the ramp from 1.435 to 1.635 ms
  write("a.sigmf-data", data);
  const json chirps = analyze(
      "a --frames --set min_chirp_len=100us --set max_chirp_len=300us --set "
      "meas_time=10ms --set time_gate_len=1.65ms")["chirps"];
  ASSERT_EQ(chirps.size(), 7U);
  EXPECT_EQ(chirps[5]["flags"], "");
  EXPECT_THAT(chirps[6]["flags"].get<std::string>(), HasSubstr("nonfinite"));
  EXPECT_TRUE(chirps[6]["fm_settled_s"].is_null());
}

TEST_F(Fmcw, WritesTracesAsArrays) {
  ASSERT_EQ(run("synth a --snr 40" + small_synth).status, 0);
  ASSERT_EQ(run("analyze a --traces frequency,spectrogram --npz t.npz").status, 0);
  const std::string file = content(path("t.npz"));
  for (const char* const name : {"time_s", "frequency_hz", "spectrogram_db", "spectrogram_time_s",
                                 "spectrogram_frequency_hz"}) {
    EXPECT_THAT(file, HasSubstr(std::string(name) + ".npy")) << name;
  }
  EXPECT_THAT(file, Not(HasSubstr("power_dbm")));
}

TEST_F(Fmcw, TakesAProfileToARecordingOfAnotherRate) {
  ASSERT_EQ(run("synth a" + small_synth).status, 0);
  ASSERT_EQ(run("synth b --fs 20e6 --ramp 200e-6 --bandwidth 2e6 --chirps 5").status, 0);
  ASSERT_EQ(run("analyze a --json a.json").status, 0);
  EXPECT_EQ(analyze("b --settings a.json")["chirps"].size(), 4U);
  write("rate.json", R"({"fs": 10e6})");
  const auto refused = run("analyze b --settings rate.json");
  EXPECT_EQ(refused.status, 2);
  EXPECT_THAT(refused.err, HasSubstr("fs cannot be"));
  EXPECT_THAT(refused.err, HasSubstr("20000000 Hz"));
  EXPECT_THAT(run("settings --json").out, HasSubstr("\"search\": \"automatic\""));
}

TEST_F(Fmcw, MeasuresRecordingsMadeByOthers) {
  const fs::path room = fs::path(FMCW_RECORDINGS) / "real_acoustic_tracked_48k.cf32";
  const fs::path modulator = fs::path(FMCW_RECORDINGS) / "thirdparty_lora_sf7_x8_8M.cf32";
  if (!fs::exists(room) || !fs::exists(modulator)) {
    GTEST_SKIP() << "no recordings in '" FMCW_RECORDINGS "'";
  }
  for (const std::string& call : {fmt::format("'{}' --fs 48000", room.string()),
                                  fmt::format("'{}' --fs 8e6", modulator.string())}) {
    EXPECT_THAT(run("analyze " + call).err, Not(HasSubstr("look like"))) << call;
  }
  // Five chirps of 0.3 s and 14 kHz end to end; the first has no switching point before it.
  for (const char* const settings :
       {"",
        " --set meas_time=2 --set time_gate_len=2 --set min_chirp_len=0.2 --set "
        "max_chirp_len=0.4"}) {
    const json chirps =
        analyze(fmt::format("'{}' --fs 48000{}", room.string(), settings))["chirps"];
    ASSERT_EQ(chirps.size(), 4U) << settings;
    for (const json& chirp : chirps) {
      EXPECT_NEAR(chirp["slope_khz_per_us"].get<double>(), 4.6666667e-5, 0.005 * 4.6666667e-5);
    }
  }
  // Eight preamble chirps of 8192 samples, then symbols of other shapes.
  for (const char* const settings :
       {"",
        " --set meas_time=1 --set time_gate_len=1 --set min_chirp_len=0.9ms --set "
        "max_chirp_len=1.1ms"}) {
    const json chirps =
        analyze(fmt::format("'{}' --fs 8e6{}", modulator.string(), settings))["chirps"];
    ASSERT_GE(chirps.size(), 8U) << settings;
    for (std::size_t i = 0; i < 8; ++i) {
      EXPECT_NEAR(chirps[i]["slope_khz_per_us"].get<double>(), 0.1220703125, 1e-4 * 0.122);
      EXPECT_NEAR(chirps[i]["first_sample"].get<double>(), 8192.0 * static_cast<double>(i), 130.0);
    }
  }
}

}  // namespace
