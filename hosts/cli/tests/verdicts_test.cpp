#include "fmcw_program.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

/// A transmitter as it should be, and one whose slope is 2 % high.
class Verdicts : public Fmcw {
 protected:
  Verdicts() {
    EXPECT_EQ(run("synth good --snr 40 --seed 1" + small_synth).status, 0);
    EXPECT_EQ(run("synth bad --snr 40 --seed 2 --fs 10e6 --ramp 200e-6 --flyback 10e-6 --bandwidth "
                  "2.04e6 --chirps 5")
                  .status,
              0);
  }
};

TEST_F(Verdicts, PassAGoodTransmitterAndFailABadOne) {
  ASSERT_EQ(run("limits good --spread 5 -o limits.json").status, 0);
  const auto good = run("analyze good --limits limits.json");
  EXPECT_EQ(good.status, 0) << good.out;
  EXPECT_THAT(good.out, AllOf(HasSubstr("verdict"), HasSubstr("pass"), Not(HasSubstr("fail "))));

  const auto bad = run("analyze bad --limits limits.json --csv bad.csv");
  EXPECT_EQ(bad.status, 3) << bad.out;
  EXPECT_THAT(bad.out, HasSubstr("fail     4       4        10.2"));
  EXPECT_THAT(content(path("bad.csv")),
              AllOf(HasSubstr(",flags,start_datetime,verdict\n"), HasSubstr(",fail\n")));

  // Where standard output is taken, stderr says so.
  const auto piped = run("analyze bad --limits limits.json --json -");
  EXPECT_EQ(piped.status, 3);
  EXPECT_THAT(piped.err, HasSubstr("limit 'up slope_khz_per_us="));
  const json document = json::parse(piped.out);
  EXPECT_EQ(document["verdict"], "fail");
  EXPECT_EQ(document["chirps"][0]["verdict"], "fail");
  EXPECT_EQ(document["limits"][1]["failed"], 4);
}

struct limit_run {
  const char* limits;
  int status;
};

TEST_F(Verdicts, SetTheStatus) {
  const limit_run runs[] = {
      {"--limit slope=10+-1%", 0},
      {"--limit slope=10+-1% --limit 'slope<=9.5MHz/ms'", 3},
      {"--limit 'mean(slope)=10+-0.01%'", 0},
      {"--limit 'std(slope)<=1e-9'", 3},
      {"--limit 'count>=5'", 3},
      {"--limit 'down slope<=0'", 0},
      {"--limit rf_freq_avg=0+-1M", 0},
      {"--limit slope=10+-1% --set max_chirp_len=0s", 4},
      {"--limit slop=10", 2},
      {"--limits nowhere.json", 2},
      {"--chart slop", 2},
      {"--stats --csv -", 2},
      {"--limit slope=10+-1% --report", 2},
  };
  for (const limit_run& r : runs) {
    EXPECT_EQ(run(std::string("analyze good ") + r.limits).status, r.status) << r.limits;
  }
}

TEST_F(Verdicts, ShowStatisticsAndAChart) {
  const auto outcome = run("analyze good --stats --chart slope");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.out, AllOf(HasSubstr("4 chirps that go up"), HasSubstr("trend [1/s]"),
                                 HasSubstr("slope, up chirps"), HasSubstr("\u2502")));
  const json document = analyze("good");
  std::vector<double> slopes;
  for (const json& chirp : document["chirps"]) {
    slopes.push_back(chirp["slope_khz_per_us"]);
  }
  const json& slope = document["statistics"]["up"]["slope_khz_per_us"];
  EXPECT_EQ(slope["count"], slopes.size());
  EXPECT_EQ(slope["max"], *std::max_element(slopes.begin(), slopes.end()));
  EXPECT_FALSE(document["statistics"].contains("down"));
}

TEST_F(Verdicts, CompareTwoRecordings) {
  const json document = json::parse(run("compare good bad --json").out);
  const json& slope = document["up"]["slope_khz_per_us"];
  EXPECT_EQ(document["up"]["count_a"], 4);
  EXPECT_NEAR(slope["difference"].get<double>(), 0.2, 0.01);
  const double a = slope["a"]["std"];
  const double b = slope["b"]["std"];
  EXPECT_NEAR(slope["standard_error"].get<double>(), std::sqrt((a * a + b * b) / 4), 1e-12);
  EXPECT_GT(slope["in_errors"].get<double>(), 10.0);
  EXPECT_THAT(run("compare good bad").out, AllOf(HasSubstr("mean A"), HasSubstr("in errors")));

  // B is measured as A is, whatever would suit it better.
  ASSERT_EQ(
      run("synth long --fs 10e6 --ramp 900e-6 --flyback 10e-6 --bandwidth 2e6 --chirps 5").status,
      0);
  EXPECT_EQ(run("compare good long").status, 4);
  EXPECT_EQ(run("compare good nowhere").status, 2);
  EXPECT_EQ(run("compare good").status, 2);
}

TEST_F(Verdicts, NeedEnoughGoodChirps) {
  const auto few = run("limits good --from 0 --for 6000");
  EXPECT_NE(few.status, 0);
  EXPECT_EQ(run("limits good --spread 0").status, 2);
  EXPECT_EQ(run("limits good -o good.sigmf-meta").status, 2);
}

class Annotations : public Fmcw {
 protected:
  json description(const std::string& name) const {
    return json::parse(content(path(name + ".sigmf-meta")));
  }
  static std::size_t measured_count(const json& meta) {
    return static_cast<std::size_t>(
        std::count_if(meta["annotations"].begin(), meta["annotations"].end(),
                      [](const json& a) { return a.contains("core:generator"); }));
  }
};

TEST_F(Annotations, AreFoundAgain) {
  ASSERT_EQ(run("synth a --snr 40" + small_triangle).status, 0);
  fs::rename(path("a.sigmf-data"), path("a.cf32"));
  ASSERT_EQ(run("analyze a.cf32 --fs 10e6 --centre 77e9 --annotate b.sigmf-meta").status, 0);
  const json meta = description("b");
  ASSERT_EQ(measured_count(meta), 4U);
  EXPECT_EQ(meta["global"]["core:dataset"], "a.cf32");
  const json& chirp = meta["annotations"][1];
  EXPECT_EQ(chirp["core:label"], "up 2");
  EXPECT_NEAR(chirp["core:freq_lower_edge"].get<double>(), 77e9 - 1e6, 0.1e6);
  EXPECT_NEAR(chirp["core:freq_upper_edge"].get<double>(), 77e9 + 1e6, 0.1e6);

  // Samples before the part that was analysed are the recording's still.
  ASSERT_EQ(run("analyze a.cf32 --fs 10e6 --from 1900 --annotate c.sigmf-meta").status, 0);
  EXPECT_EQ(description("c")["captures"][0]["core:sample_start"], 0);

  // Each finds itself, and by its own figures.
  const auto truth = run("analyze b --truth");
  EXPECT_EQ(truth.status, 0);
  EXPECT_THAT(truth.out, HasSubstr("4 of 4 annotated chirps measured, largest slope error 0.0000"));
  EXPECT_THAT(truth.out, HasSubstr("error      +0.0 s     +0.000 %        +0.000 %"));
}

TEST_F(Annotations, LeaveWhatWasThere) {
  ASSERT_EQ(run("synth a --snr 40" + small_synth).status, 0);
  json before = description("a");
  before["global"]["core:author"] = "someone";
  before["captures"][0]["core:datetime"] = "2026-01-02T03:04:05Z";
  before["annotations"].push_back({{"core:sample_start", 10}, {"core:comment", "out of order"}});
  write("a.sigmf-meta", before.dump());
  ASSERT_EQ(run("analyze a --in-place").status, 0);
  const json after = description("a");
  EXPECT_EQ(after["global"]["core:author"], "someone");
  EXPECT_EQ(after["captures"], before["captures"]);
  EXPECT_EQ(after["annotations"].size(), 6U + 4U);
  EXPECT_EQ(after["annotations"][1]["core:comment"], "out of order");
  EXPECT_FALSE(after["global"].contains("core:dataset"));

  // Once more changes nothing; a part replaces its own annotations and no others.
  ASSERT_EQ(run("analyze a --in-place").status, 0);
  EXPECT_EQ(description("a"), after);
  ASSERT_EQ(run("analyze a --in-place --for 6500").status, 0);
  EXPECT_EQ(measured_count(description("a")), 4U);

  // The promise of the transmitter stays the truth.
  EXPECT_THAT(run("analyze a --truth").out, HasSubstr("4 of 5 annotated chirps measured"));
}

struct refused_annotation {
  const char* call;
  const char* word;
};

TEST_F(Annotations, AreRefusedWhereTheyCannotBe) {
  ASSERT_EQ(run("synth a" + small_synth).status, 0);
  ASSERT_EQ(run("convert a a.sigmf").status, 0);
  ASSERT_EQ(run("convert a a.wav").status, 0);
  ASSERT_EQ(run("convert a a.cf32").status, 0);
  fs::create_directory(path("other"));
  const std::string before = content(path("a.sigmf-meta"));
  const refused_annotation cases[] = {
      {"a --annotate a.sigmf-meta", "--in-place"},
      {"a --annotate b.json", ".sigmf-meta"},
      {"a --annotate other/a.sigmf-meta", "folder"},
      {"a --annotate nowhere/a.sigmf-meta", "folder"},
      {"a.sigmf --annotate b.sigmf-meta", "archive"},
      {"a.wav --annotate b.sigmf-meta", "WAV"},
      {"- --fs 10e6 --format cf32 --annotate b.sigmf-meta < a.cf32", "pipe"},
      {"a.cf32 --fs 10e6 --in-place", "no description"},
      {"a --annotate b.sigmf-meta --json b.sigmf-meta", "two outputs"},
      {"a a --annotate b.sigmf-meta", "several"},
      {"a --in-place --json nowhere/x.json", "nowhere"},
  };
  for (const refused_annotation& c : cases) {
    const auto outcome = run(std::string("analyze ") + c.call);
    EXPECT_EQ(outcome.status, 2) << c.call;
    EXPECT_THAT(outcome.err, HasSubstr(c.word)) << c.call;
    EXPECT_FALSE(fs::exists(path("b.sigmf-meta"))) << c.call;
  }
  EXPECT_EQ(content(path("a.sigmf-meta")), before);
}

class Several : public Fmcw {
 protected:
  Several() {
    for (const char* const name : {"c1", "c2", "c3"}) {
      EXPECT_EQ(
          run(fmt::format("synth {} --snr 40 --seed {}{}", name, name[1], small_synth)).status, 0);
    }
    write("broken.sigmf-meta", "{");
    write("zeros.cf32", std::string(80000, '\0'));
  }
};

TEST_F(Several, MakeOneTable) {
  const auto outcome = run("analyze 'c?.sigmf-*' --csv all.csv --json all.json");
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  const json captures = json::parse(content(path("all.json")))["captures"];
  ASSERT_EQ(captures.size(), 3U);
  std::string rows;
  for (const char* const name : {"c1", "c2", "c3"}) {
    const std::string file = fmt::format("{}.sigmf-meta", name);
    const std::string alone = run("analyze " + file + " --csv -").out;
    const std::size_t head = alone.find('\n') + 1;
    EXPECT_EQ(content(path("all.csv")).substr(0, head), alone.substr(0, head));
    rows += alone.substr(head);
    EXPECT_THAT(outcome.out, HasSubstr(file + "  2 "));
  }
  EXPECT_EQ(content(path("all.csv")).substr(content(path("all.csv")).find('\n') + 1), rows);
  EXPECT_EQ(captures[1]["chirps"], analyze("c2")["chirps"]);
}

TEST_F(Several, GoOnAfterABadOne) {
  const std::string names = "c1 broken nowhere c2 zeros.cf32 c3";
  const auto outcome = run("analyze " + names + " --fs 10e6 --csv all.csv");
  EXPECT_EQ(outcome.status, 4);  // of 0, 2 and 4 the highest
  EXPECT_THAT(outcome.err, AllOf(HasSubstr("broken.sigmf-meta: line 1"), HasSubstr("nowhere:"),
                                 HasSubstr("c3: chirps:")));
  EXPECT_EQ(run("analyze c1 broken --limit slope=1+-1%").status, 3);
  EXPECT_EQ(run("analyze c1 broken").status, 2);
  for (const char* const jobs : {"1", "2", "5"}) {
    EXPECT_EQ(run("analyze " + names + " --fs 10e6 --csv - --jobs " + jobs).out,
              content(path("all.csv")))
        << jobs;
  }
}

TEST_F(Several, TakeLongAndShortOnesInTurn) {
  ASSERT_EQ(run("synth long --fs 10e6 --ramp 200e-6 --flyback 10e-6 --bandwidth 2e6 --chirps 2050")
                .status,
            0);
  const std::string rows = run("analyze c1 long c2 --csv -").out;
  EXPECT_EQ(std::count(rows.begin(), rows.end(), '\n'), 1 + 4 + 2049 + 4);
  EXPECT_LT(rows.find("\nlong,1,"), rows.find("\nc2,1,"));
  EXPECT_EQ(run("analyze c1 long c2 --csv - --jobs 1").out, rows);
}

TEST_F(Several, RefuseWhatIsOfOne) {
  for (const char* const option : {"--truth", "--report", "--traces power"}) {
    const auto outcome = run(std::string("analyze c1 c2 ") + option);
    EXPECT_EQ(outcome.status, 2) << option;
    EXPECT_THAT(outcome.err, HasSubstr("several captures")) << option;
  }
  // An output that is an input stops everything, not that capture alone.
  const auto outcome = run("analyze c1 c2 --csv c2.sigmf-meta --json all.json");
  EXPECT_EQ(outcome.status, 2);
  EXPECT_FALSE(fs::exists(path("all.json")));
  EXPECT_EQ(run("analyze 'nothing*'").status, 2);
}

TEST_F(Several, AreAnnotatedInPlace) {
  EXPECT_EQ(run("analyze c1 zeros.cf32 c2 --fs 10e6 --in-place").status, 2);
  for (const char* const name : {"c1", "c2"}) {
    EXPECT_THAT(content(path(std::string(name) + ".sigmf-meta")), HasSubstr("up 4")) << name;
  }
}

}  // namespace
