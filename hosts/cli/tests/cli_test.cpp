#include "fmcw_program.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using testing::HasSubstr;

TEST_F(Fmcw, SynthesisIsReproducible) {
  ASSERT_EQ(run("synth a --snr 20 --seed 5" + small_synth).status, 0);
  ASSERT_EQ(run("synth b.sigmf-meta --snr 20 --seed 5" + small_synth).status, 0);
  ASSERT_EQ(run("synth c --snr 20 --seed 6" + small_synth).status, 0);
  EXPECT_EQ(content(path("a.sigmf-data")), content(path("b.sigmf-data")));
  EXPECT_EQ(content(path("a.sigmf-meta")), content(path("b.sigmf-meta")));
  EXPECT_NE(content(path("a.sigmf-data")), content(path("c.sigmf-data")));
}

TEST_F(Fmcw, SynthesisTakesUnits) {
  ASSERT_EQ(run("synth a --fs 10e6 --ramp 200e-6 --flyback 10e-6 --bandwidth 2e6 --duration 1e-3 "
                "--snr 20 --level -3 --impedance 75 --quadratic 0.01")
                .status,
            0);
  ASSERT_EQ(run("synth b --fs 10M --ramp 200us --flyback 0.01ms --bandwidth 2MHz --duration 1ms "
                "--snr 20dB --level -3dBm --impedance 75ohm --quadratic 1%")
                .status,
            0);
  EXPECT_EQ(content(path("a.sigmf-data")), content(path("b.sigmf-data")));
  EXPECT_EQ(content(path("a.sigmf-meta")), content(path("b.sigmf-meta")));
  EXPECT_THAT(run("synth --help").out, HasSubstr("default: 100us"));
}

TEST_F(Fmcw, SynthesisAnnotatesEveryWholeChirp) {
  ASSERT_EQ(run("synth a --offset 1e6 --direction down --duration 1e-3" + small_synth).status, 0);
  const json meta = json::parse(content(path("a.sigmf-meta")));
  EXPECT_EQ(meta["global"]["core:datatype"], "cf32_le");
  EXPECT_EQ(meta["global"]["core:sample_rate"], 10e6);
  EXPECT_EQ(samples("a").size(), 10000U);
  const json& annotations = meta["annotations"];
  ASSERT_EQ(annotations.size(), 4U) << "the fifth ramp ends after the capture";
  EXPECT_EQ(annotations[1]["core:sample_start"], 2100);
  EXPECT_EQ(annotations[1]["core:sample_count"], 2000);
  EXPECT_EQ(annotations[1]["core:freq_lower_edge"], 0.0);
  EXPECT_EQ(annotations[1]["core:freq_upper_edge"], 2e6);
  EXPECT_EQ(annotations[1]["core:label"], "down-chirp");
  EXPECT_EQ(annotations[1]["fmcw:slope"], -1e10);
}

TEST_F(Fmcw, AnalysisFindsWhatWasSynthesised) {
  struct shape_case_t {
    const char* name;
    std::string synth;
    std::vector<double> slopes;  // kHz/us
  };
  for (const auto& c : {
           shape_case_t{"rising", small_synth, {10, 10, 10, 10}},
           shape_case_t{"falling", small_synth + " --direction down", {-10, -10, -10, -10}},
           shape_case_t{"noisy", small_synth + " --snr 40", {10, 10, 10, 10}},
           shape_case_t{"triangular", small_triangle + " --idle 4e-6 --snr 50", {-10, 10, -10, 10}},
           shape_case_t{"an ideal triangle", small_triangle, {-10, 10, -10, 10}},
       }) {
    ASSERT_EQ(run("synth a --force --level -20" + c.synth).status, 0) << c.name;
    const json chirps = analyze("a" + small_analysis)["chirps"];
    ASSERT_EQ(chirps.size(), c.slopes.size()) << c.name;
    for (std::size_t i = 0; i < c.slopes.size(); ++i) {
      EXPECT_NEAR(chirps[i]["slope_khz_per_us"].get<double>(), c.slopes[i], 1e-3 * 10) << c.name;
      EXPECT_NEAR(chirps[i]["power_avg_dbm"].get<double>(), -20.0, 0.02) << c.name;
    }
  }
}

TEST_F(Fmcw, SynthesisedImpairmentsShowInTheFigures) {
  const auto chirp = [&](const std::string& impairment) {
    EXPECT_EQ(run("synth a --force --level 0 --impedance 75" + small_synth + impairment).status, 0);
    return analyze("a --set impedance=75 --set devlength_len=1" + small_analysis)["chirps"][1];
  };
  const json clean = chirp("");
  const double middle =
      (clean["first_sample"].get<double>() + clean["last_sample"].get<double>()) / 2 - 2 * 2100;
  EXPECT_NEAR(clean["freq_avg_hz"].get<double>(), -1e6 + middle * 1e3, 50.0);
  EXPECT_NEAR(clean["power_avg_dbm"].get<double>(), 0.0, 1e-3);
  EXPECT_LT(clean["inl_peak"].get<double>(), 1e-4);
  // Over the share w of a ramp that is measured: RMS of a sine a / sqrt(2), slightly less for the
  // tilt of its fit; of a parabola of height q: w^2 q sqrt(4 / 45).
  const auto deviation = [](const json& figures) {
    return figures["freq_dev_rms_hz"].get<double>() / 2e6;
  };
  const double share = clean["length_s"].get<double>() / 200e-6;
  EXPECT_NEAR(deviation(chirp(" --sine 0.01 --sine-cycles 8")), 0.01 / std::sqrt(2.0), 1e-4);
  EXPECT_NEAR(deviation(chirp(" --quadratic 0.01")), share * share * 0.01 * std::sqrt(4.0 / 45.0),
              5e-5);
  const json drooping = chirp(" --droop 3");
  EXPECT_NEAR(drooping["power_pk_dev_db"].get<double>(), 3.0 * share, 0.02);
  EXPECT_NEAR(
      drooping["power_avg_dbm"].get<double>(),
      json::parse(content(path("a.sigmf-meta")))["annotations"][1]["fmcw:power"].get<double>(),
      0.02);
  EXPECT_GT(chirp(" --overshoot 0.02 --settling 40e-6")["inl_peak"].get<double>(), 3e-3);

  // Signal to noise ratio, from the samples themselves.
  ASSERT_EQ(run("synth quiet --level 3" + small_synth).status, 0);
  ASSERT_EQ(run("synth noisy --level 3 --snr 25" + small_synth).status, 0);
  const auto quiet = samples("quiet");
  const auto noisy = samples("noisy");
  double signal = 0.0;
  double noise = 0.0;
  for (std::size_t i = 0; i < quiet.size(); ++i) {
    signal += std::norm(quiet[i]);
    noise += std::norm(noisy[i] - quiet[i]);
  }
  EXPECT_NEAR(10 * std::log10(signal / noise), 25.0, 0.2);
}

TEST_F(Fmcw, ReadsEverySampleFormat) {
  ASSERT_EQ(run("synth a --level 9" + small_synth).status, 0);  // 0.89 V peak
  const double power = analyze("a" + small_analysis)["summary"]["power_avg_dbm"].get<double>();
  struct format_case_t {
    std::string name;
    double full_scale, offset;
    std::size_t bytes;
  };
  for (const auto& c : {format_case_t{"ci16_le", 32768, 0, 2}, format_case_t{"ci8", 128, 0, 1},
                        format_case_t{"cu8", 128, 128, 1}}) {
    std::string raw;
    for (const auto z : samples("a")) {
      for (const float part : {z.real(), z.imag()}) {
        const auto code = static_cast<std::int32_t>(std::lround(part * c.full_scale + c.offset));
        raw.append(reinterpret_cast<const char*>(&code), c.bytes);
      }
    }
    write(c.name + ".raw", raw);
    write(c.name + ".sigmf-data", raw);
    write(c.name + ".sigmf-meta",
          fmt::format(R"({{"global": {{"core:datatype": "{}", "core:sample_rate": 10e6}}}})",
                      c.name));
    for (const std::string& source :
         {fmt::format("{0}.raw --format {0} --fs 10e6", c.name), c.name, c.name + ".sigmf-data"}) {
      const json result = analyze(source + small_analysis);
      ASSERT_EQ(result["summary"]["chirp_total"], 4) << source;
      EXPECT_NEAR(result["summary"]["power_avg_dbm"].get<double>(), power, 0.02) << source;
      EXPECT_NEAR(result["chirps"][0]["slope_khz_per_us"].get<double>(), 10.0, 0.01) << source;
    }
  }
}

TEST_F(Fmcw, ScalesIntegersToOne) {
  struct scale_case_t {
    std::string name, sample;
    double volts;
  };
  for (const auto& c : {scale_case_t{"ci16_le", std::string("\x00\x40\x00\x00", 4), 0.5},
                        scale_case_t{"ci8", std::string("\xC0\x00", 2), 0.5},
                        scale_case_t{"cu8", std::string("\xC0\x80", 2), 0.5},
                        scale_case_t{"cu8", std::string("\x00\x80", 2), 1.0}}) {
    std::string raw;
    for (int i = 0; i < 100; ++i) {
      raw += c.sample;
    }
    write("constant.raw", raw);
    const json summary = analyze("constant.raw --fs 1e6 --format " + c.name)["summary"];
    EXPECT_NEAR(summary["power_avg_dbm"].get<double>(), 10 + 20 * std::log10(c.volts), 1e-5)
        << c.name;
  }
}

TEST_F(Fmcw, WritesEverythingAndNumbersRoundTrip) {
  ASSERT_EQ(run("synth a --snr 30" + small_synth).status, 0);
  // A sample of nothing in the second ramp: its lowest power is minus infinity.
  auto data = content(path("a.sigmf-data"));
  std::fill_n(data.begin() + 8 * 3200, 8, '\0');
  write("a.sigmf-data", data);
  const auto outcome = run("analyze a --json a.json --csv a.csv" + small_analysis);
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_THAT(outcome.err, testing::IsEmpty()) << "progress is for terminals";
  const json document = json::parse(content(path("a.json")));
  const json& chirps = document["chirps"];
  EXPECT_EQ(document["settings"]["max_chirp_len"], 300e-6);
  EXPECT_EQ(document["settings"]["chirp_state_deviation"], true);
  EXPECT_EQ(document["capture"]["sample_count"], document["summary"]["sample_count"]);
  ASSERT_EQ(chirps.size(), 4U);
  EXPECT_TRUE(chirps[0]["power_min_dbm"].is_null());

  std::istringstream csv(content(path("a.csv")));
  std::string line;
  std::getline(csv, line);
  EXPECT_TRUE(line.starts_with(
      "capture,chirp,direction,first_sample,last_sample,selected,start_s,stop_s,length_s,"))
      << line;
  EXPECT_TRUE(line.ends_with(",flags,start_datetime"));
  for (const json& chirp : chirps) {
    ASSERT_TRUE(std::getline(csv, line));
    std::istringstream cells(line);
    std::vector<std::string> values;
    for (std::string cell; std::getline(cells, cell, ',');) {
      values.push_back(cell);
    }
    ASSERT_GE(values.size(), 37U);
    EXPECT_EQ(values[2], "up");
    EXPECT_EQ(std::strtod(values[6].c_str(), nullptr), chirp["start_s"].get<double>());
    EXPECT_EQ(std::strtod(values[10].c_str(), nullptr), chirp["slope_khz_per_us"].get<double>());
    EXPECT_EQ(std::strtod(values[16].c_str(), nullptr), chirp["freq_avg_hz"].get<double>());
  }
  EXPECT_EQ(run("analyze a --json -" + small_analysis).out, content(path("a.json")));
  EXPECT_EQ(run("analyze a --csv -" + small_analysis).out, content(path("a.csv")));
}

TEST_F(Fmcw, PrintsAlignedTables) {
  ASSERT_EQ(run("synth a" + small_synth).status, 0);
  const auto chief = run("analyze a" + small_analysis).out;
  EXPECT_THAT(chief, HasSubstr("slope [kHz/us]"));
  EXPECT_THAT(chief, HasSubstr("start [us]"));
  std::istringstream lines(chief);
  std::string head;
  std::string row;
  std::getline(lines, head);
  std::getline(lines, row);
  EXPECT_EQ(head.size(), row.size());
  EXPECT_THAT(run("analyze a --all" + small_analysis).out, HasSubstr("PM settled for         us "));
  const auto truth = run("analyze a --truth" + small_analysis).out;
  EXPECT_THAT(truth, HasSubstr("4 of 5 annotated chirps measured"));
  EXPECT_THAT(truth, HasSubstr("chirp 1 (0 to 200 us): not measured"));
}

TEST_F(Fmcw, TakesSettingsFromAFileAndTheCommandLine) {
  ASSERT_EQ(run("synth a" + small_synth).status, 0);
  write("s.json",
        R"({"min_chirp_len": 1e-4, "time_gate_len": 0.002, "meas_time": 0.002, "chirp_count": 2,
                      "chirp_state_deviation": false, "impedance": 75})");
  const json document = analyze("a --settings s.json --set chirp_count=3");
  EXPECT_EQ(document["settings"]["chirp_count"], 3) << "the command line comes last";
  EXPECT_EQ(document["settings"]["chirp_state_deviation"], false);
  std::size_t selected = 0;
  for (const json& chirp : document["chirps"]) {
    selected += chirp["selected"].get<bool>() ? 1U : 0U;
  }
  EXPECT_EQ(selected, 3U);
}

TEST_F(Fmcw, ReportsWhatALimitMoved) {
  ASSERT_EQ(run("synth a" + small_synth).status, 0);
  auto outcome = run("analyze a --set time_gate_len=2");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.err, testing::StartsWith(
                               "fmcw: time_gate_len moved from 2 to 0.001: at most meas_time\n"));
  outcome = run("analyze a --set from_end=0.5 --set from_start=0.75");
  EXPECT_EQ(outcome.status, 1) << "the two now leave nothing";
  EXPECT_THAT(outcome.err, testing::StartsWith(
                               "fmcw: from_end moved from 0.5 to 0.25: at most 1 - from_start\n"));
  outcome = run("analyze a --set max_chirp_len=1e-6");
  EXPECT_THAT(outcome.err,
              testing::StartsWith(
                  "fmcw: min_chirp_len moved from 3e-06 to 1e-06: at most max_chirp_len\n"));
  // The order in which settings are given does not matter.
  outcome = run("analyze a --set min_chirp_len=0.2 --set max_chirp_len=0.4");
  EXPECT_THAT(outcome.err, Not(HasSubstr("moved")));
}

TEST_F(Fmcw, ListsEverySetting) {
  const auto table = run("settings").out;
  EXPECT_THAT(table, HasSubstr("min_chirp_len"));
  EXPECT_THAT(table, HasSubstr("at most max_chirp_len"));
  const json all = json::parse(run("settings --json").out)["descriptions"];
  EXPECT_EQ(all.size(), 37U);
  for (const json& setting : all) {
    EXPECT_FALSE(setting["meaning"].get<std::string>().empty());
    EXPECT_FALSE(setting["allowed"].get<std::string>().empty());
  }
  EXPECT_EQ(all[4]["name"], "impedance");
  EXPECT_EQ(all[4]["default"], "50");
}

TEST_F(Fmcw, PrintsTheLibrarysReport) {
  ASSERT_EQ(run("synth a" + small_synth).status, 0);
  const auto outcome = run("analyze a --report" + small_analysis);
  EXPECT_THAT(outcome.out,
              testing::StartsWith("========== FMCW Measurement Result ==========\n"
                                  "  Chirp Results (4 entries):\n  Chirp #1 (No.0):\n"));
}

TEST_F(Fmcw, WritesSpectra) {
  ASSERT_EQ(run("synth a --level -3" + small_synth).status, 0);
  const auto csv = run("spectrum a");
  ASSERT_EQ(csv.status, 0) << csv.err;
  EXPECT_THAT(csv.out, testing::StartsWith("frequency_hz,level_db\n-5000000,"));
  EXPECT_EQ(std::count(csv.out.begin(), csv.out.end(), '\n'), 1025);
  const json single = json::parse(run("spectrum a --json -").out);
  EXPECT_EQ(single["level_db"].size(), 1024U);
  const json fixed = json::parse(run("spectrum a --kind fixed --json -").out);
  EXPECT_EQ(fixed["rows"].size(), (10500U - 256U) / 6U + 1U);
  const json& row = fixed["rows"][200];
  EXPECT_EQ(row["level_db"].size(), fixed["level_frequency_hz"].size());
  EXPECT_EQ(row["time_s"], (1200 + 128) / 10e6);
  // The first ramp rises by 6 kHz from row to row, bins are 39 kHz wide.
  EXPECT_NEAR(row["peak_frequency_hz"].get<double>(), -1e6 + (1200 + 128) * 1e3, 40e3);
  // A part has its place on the recording's axis.
  const json part =
      json::parse(run("spectrum a --kind fixed --from 1200 --for 0.1ms --json -").out);
  EXPECT_EQ(part["rows"][0]["time_s"], row["time_s"]);
  EXPECT_EQ(part["rows"][0]["level_db"], row["level_db"]);
  const json power = json::parse(run("spectrum a --kind channel-power --json -").out);
  EXPECT_NEAR(power["total_dbm"].get<double>(), -3.0, 1e-3);
  ASSERT_EQ(run("spectrum a --kind fixed --csv fixed.csv --json fixed.json").status, 0);
  EXPECT_THAT(content(path("fixed.csv")),
              testing::StartsWith("time_s,peak_frequency_hz,phase_rad,level_db_at_-5000000_hz,"));
  EXPECT_EQ(json::parse(content(path("fixed.json"))), fixed);
}

TEST_F(Fmcw, RefusesWrongCallsAndInputs) {
  ASSERT_EQ(run("synth a" + small_synth).status, 0);
  write("odd.raw", "12345");
  write("empty.raw", "");
  write("tiny.raw", "abcdef");
  write("huge.cs8", "");
  fs::resize_file(path("huge.cs8"), 20'000'000'000);  // holes
  write("tiny.cu8", "abcdef");
  write("broken.sigmf-meta", "{ not json");
  const auto meta = [&](const std::string& name, const std::string& global) {
    write(name + ".sigmf-meta", R"({"global": {)" + global + "}}");
    fs::copy_file(path("a.sigmf-data"), path(name + ".sigmf-data"));
  };
  meta("no_rate", R"("core:datatype": "cf32_le")");
  meta("zero_rate", R"("core:datatype": "cf32_le", "core:sample_rate": 0)");
  meta("no_type", R"("core:sample_rate": 1e6)");
  meta("real_type", R"("core:datatype": "rf32_le", "core:sample_rate": 1e6)");
  meta("two_channels",
       R"("core:datatype": "cf32_le", "core:sample_rate": 1e6, "core:num_channels": 2)");
  write("list.json", "[1, 2]");
  write("unknown.json", R"({"speed": 3})");
  write("text.json", R"({"fs": "fast"})");
  fs::create_directories(path("folder"));
  struct refusal_t {
    std::string arguments;
    int status;
    std::vector<std::string> named;
  };
  const refusal_t refusals[] = {
      {"", 2, {"subcommand"}},
      {"fly", 2, {"fly"}},
      {"analyze", 2, {"CAPTURE"}},
      {"analyze a --bright", 2, {"--bright"}},
      {"analyze missing.sigmf-meta", 2, {"missing.sigmf-meta", "cannot be read"}},
      {"analyze missing", 2, {"missing.sigmf-meta"}},
      {"analyze folder --fs 1e6 --format ci8", 2, {"folder", "cannot be read"}},
      {"analyze tiny.cu8", 2, {"tiny.cu8", "sample rate", "--fs"}},
      {"analyze odd.raw --fs 1e6", 2, {"5 bytes", "cf32_le"}},
      {"analyze odd.raw --fs 1e6 --format cf32_le", 2, {"5 bytes", "multiple of 8"}},
      {"analyze odd.raw --fs 1e6 --format cf63", 2, {"cf63", "cf32_le, ", "ci8, cu8"}},
      {"analyze odd.raw --fs 0 --format ci8", 2, {"--fs", "0", "above 0"}},
      {"analyze odd.raw --fs fast --format ci8", 2, {"fast"}},
      {"analyze empty.raw --fs 1 --format ci8", 2, {"0 bytes"}},
      {"analyze broken", 2, {"broken.sigmf-meta", "not JSON"}},
      {"analyze no_rate", 2, {"core:sample_rate", "missing"}},
      {"analyze zero_rate", 2, {"core:sample_rate", "0", "above 0 Hz"}},
      {"analyze no_type", 2, {"core:datatype", "missing"}},
      {"analyze real_type", 2, {"rf32_le", "cf32_le"}},
      {"analyze two_channels", 2, {"core:num_channels", "2"}},
      {"analyze a --set min_chirp=3", 2, {"min_chirp", "nearest is min_chirp_len"}},
      {"analyze a --set fs", 2, {"'fs'", "name=value"}},
      {"analyze a --set fs=0", 2, {"fs", "'0'", "above 0"}},
      {"analyze a --set fs=nan", 2, {"fs", "'nan'"}},
      {"analyze a --set fs=1e6x", 2, {"fs", "'1e6x'"}},
      {"analyze a --set impedance=60", 2, {"impedance", "'60'", "50 or 75"}},
      {"analyze a --set chirp_count=2.5", 2, {"chirp_count", "'2.5'", "whole"}},
      {"analyze a --set chirp_count=-1", 2, {"chirp_count", "'-1'", "from 1"}},
      {"analyze a --set from_end=1.5", 2, {"from_end", "0 to 1"}},
      {"analyze a --set window_overlap=64", 2, {"window_overlap", "'64'", "below window_length"}},
      {"analyze a --set window_length=32", 2, {"window_overlap", "60", "below window_length, 32"}},
      {"analyze a --set display_chirpNO=30",
       2,
       {"display_chirpNO", "'30'", "chirp_start + chirp_count"}},
      {"analyze a --set chirp_detect=5000000000", 2, {"chirp_detect", "whole"}},
      {"analyze a --json x.json --report", 2, {"--json", "--report"}},
      {"analyze a --auto --frames", 2, {"--auto", "--frames"}},
      {"analyze a --jobs 0", 2, {"--jobs"}},
      {"analyze a --traces colour", 2, {"colour", "spectrogram"}},
      {"analyze a --json a.sigmf-meta", 2, {"a.sigmf-meta"}},
      {"spectrum a --kind wide", 2, {"wide", "channel-power"}},
      {"spectrum missing", 2, {"missing.sigmf-meta"}},
      {"spectrum a --impedance 0 --kind channel-power", 2, {"--impedance", "above 0"}},
      {"spectrum a --impedance 50Hz", 2, {"--impedance", "50Hz", "ohm", "75ohm"}},
      {"spectrum a --csv a.sigmf-data", 2, {"a.sigmf-data", "input"}},
      {"spectrum huge.cs8 --fs 1M --kind channel-power", 2, {"10000000000", "GB", "--for"}},
      {"analyze huge.cs8 --fs 1M --traces power", 2, {"10000000000", "GB", "--for"}},
      {"analyze huge.cs8 --fs 1M --report", 2, {"10000000000", "GB", "--for"}},
      {"spectrum tiny.raw --fs 1 --format ci8 --kind fixed", 2, {"tiny.raw", "3 samples", "256"}},
      {"analyze a --settings nowhere.json", 2, {"nowhere.json"}},
      {"analyze a --settings list.json", 2, {"list.json"}},
      {"analyze a --settings unknown.json", 2, {"unknown.json", "speed"}},
      {"analyze a --settings text.json", 2, {"fs", "fast"}},
      {"analyze a --json - --csv -", 2, {"standard output", "two outputs"}},
      {"analyze a --json nowhere/x.json", 2, {"nowhere/x.json", "cannot be created"}},
      {"analyze a --set from_start=1 --json x.json", 1, {"from_start 1", "no span"}},
      {"synth nowhere/x", 2, {"nowhere/x.sigmf-data"}},
      {"synth x --bandwidth 200e6 --fs 10e6", 2, {"--bandwidth", "200000000", "5000000"}},
      {"synth x --ramp 0", 2, {"--ramp", "0", "above 0"}},
      {"synth x --ramp 100uHz", 2, {"--ramp", "100uHz", "[s]", "two samples", "100us"}},
      {"synth x --snr loud", 2, {"--snr", "loud", "[dB]", "-300 to 300", "40dB"}},
      {"synth x --shape round", 2, {"round", "sawtooth"}},
      {"synth x --fs 1e15", 2, {"samples"}},
      {"synth x --chirps 0", 2, {"--chirps"}},
      {"synth x --chirps -3", 2, {"--chirps"}},
  };
  for (const auto& refusal : refusals) {
    const auto outcome = run(refusal.arguments);
    EXPECT_EQ(outcome.status, refusal.status) << refusal.arguments;
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    for (const auto& word : refusal.named) {
      EXPECT_THAT(outcome.err, HasSubstr(word)) << refusal.arguments;
    }
    EXPECT_FALSE(fs::exists(path("x.json")) || fs::exists(path("x.sigmf-data")))
        << refusal.arguments;
  }
  for (const auto& entry : fs::directory_iterator(path("."))) {
    EXPECT_THAT(entry.path().filename().string(), testing::Not(HasSubstr(".part")));
  }
}

TEST_F(Fmcw, LeavesAnOldFileAloneWhenItFails) {
  ASSERT_EQ(run("synth a" + small_synth).status, 0);
  write("old.json", "old");
  EXPECT_EQ(run("analyze a --set from_start=1 --json old.json").status, 1);
  EXPECT_EQ(content(path("old.json")), "old");
  const auto cut_short = run("analyze a --json old.json", "trap '' XFSZ; ulimit -f 1;");
  EXPECT_EQ(cut_short.status, 1);
  EXPECT_THAT(cut_short.err, HasSubstr("old.json: not everything could be written"));
  EXPECT_EQ(content(path("old.json")), "old");
  EXPECT_EQ(run("synth b" + small_synth, "trap '' XFSZ; ulimit -f 16;").status, 1);
  EXPECT_FALSE(fs::exists(path("b.sigmf-data")) || fs::exists(path("b.sigmf-meta")));
  EXPECT_EQ(run("analyze a --json /dev/full").status, 1);
  EXPECT_EQ(run("analyze a --json - >/dev/full 2>full.txt #").status, 1);
}

}  // namespace
