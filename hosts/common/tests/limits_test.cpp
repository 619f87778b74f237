#include "common/errors.h"
#include "common/figures/figure_name.h"
#include "common/limits/judge.h"
#include "common/limits/limit_text.h"
#include "common/limits/limits_file.h"
#include "own_folder.h"

#include <cmath>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace orn::fmcw_host;
using testing::HasSubstr;

namespace {

constexpr double none = -1e300;  // no bound

struct limit_case {
  const char* text;
  double min, max;
};

TEST(Limit, IsReadWithItsUnits) {
  const limit_case cases[] = {
      {"slope>=400", 400, none},
      {"slope_khz_per_us <= 0.4 MHz/us", none, 400},
      {"slope=400kHz/us\u00B11%", 396, 404},
      {"slope=-400+-2kHz/us", -402, -398},
      {"length=100us\u00B15%", 95e-6, 105e-6},
      {"length_s>=20us", 20e-6, none},
      {"bandwidth=40M+-10k", 39.99e6, 40.01e6},
      {"inl_peak<=2%", none, 0.02},
      {"inl_peak=0.02+-0.001", 0.019, 0.021},
      {"power_avg=-10dBm+-0.5dB", -10.5, -9.5},
      {"down mean(slope)>=-401", -401, none},
      {"std( slope )<=0.1", none, 0.1},
      {"trend(slope)<=1kHz/us/s", none, 1},
      {"trend(length)<=2us/s", none, 2e-6},
      {"peak_to_peak(power_avg)<=1dBm", none, 1},
      {"count>=100", 100, none},
  };
  for (const limit_case& c : cases) {
    const limit_t limit = parse_limit(c.text);
    EXPECT_EQ(limit.text, c.text);
    EXPECT_DOUBLE_EQ(limit.min.value_or(none), c.min) << c.text;
    EXPECT_DOUBLE_EQ(limit.max.value_or(none), c.max) << c.text;
  }
  EXPECT_EQ(parse_limit("down mean(slope)>=1").direction, direction_t::down);
  EXPECT_EQ(parse_limit("count>=1").figure, nullptr);
  EXPECT_EQ(unit_of(parse_limit("trend(slope)<=1")), "kHz/us/s");
}

struct refused_case {
  const char* text;
  std::vector<const char*> words;
};

TEST(Limit, IsRefusedWithWhatIsAllowed) {
  const refused_case cases[] = {
      {"", {"limit ''", ">=", "slope"}},
      {"slope", {"limit 'slope'", "no >="}},
      {"slope>400", {"'>' cannot compare", "<="}},
      {"slope>=", {"no value"}},
      {">=3", {"no figure"}},
      {"slpe>=3", {"'slpe'", "nearest is slope"}},
      {"slope>=fast", {"min", "'fast'", "kHz/us"}},
      {"slope>=400k", {"min", "'400k'", "0.4MHz/us"}},
      {"slope<=nan", {"'nan'"}},
      {"slope<=1e999", {"'1e999'"}},
      {"length<=20kHz", {"max", "'20kHz'", "[s]"}},
      {"slope=400", {"tolerance"}},
      {"slope=400+-", {"tolerance"}},
      {"slope=400+--1", {"tolerance cannot be '-1'", "0 up"}},
      {"power_avg=10+-1%", {"tolerance", "dB"}},
      {"mode(slope)>=3", {"'mode'", "nearest is", "peak_to_peak", "count"}},
      {"mean(slope>=3", {"closing bracket"}},
      {"(slope)>=3", {"no statistic"}},
      {"mean()>=3", {"no statistic"}},
      {"trend(slope)<=1kHz/us", {"kHz/us/s"}},
      {"count>=many", {"a number of chirps"}},
  };
  for (const refused_case& c : cases) {
    const std::string message = message_of<input_error_t>([&] { parse_limit(c.text); });
    for (const char* const word : c.words) {
      EXPECT_THAT(message, HasSubstr(word)) << c.text;
    }
  }
}

TEST(FigureName, LosesItsUnit) {
  for (const figure_t& figure : figure_table()) {
    EXPECT_EQ(&figure_called(figure.column), &figure);
  }
  EXPECT_EQ(short_name(figure_named("slope_dev_rms_khz_per_us")), "slope_dev_rms");
  EXPECT_EQ(short_name(figure_named("power_pk_dev_db")), "power_pk_dev");
  EXPECT_EQ(short_name(figure_named("inl_peak")), "inl_peak");
}

chirp_t chirp_of(std::uint64_t number, double slope) {
  chirp_t chirp;
  chirp.number = number;
  chirp.start = static_cast<double>(number);
  chirp.figures.slope = slope;
  chirp.figures.power_avg = 10.0;
  return chirp;
}

/// Judges rising chirps of the slopes by limits; the statistics are of the same chirps.
judge_t judged(const std::vector<std::string>& limits, const std::vector<double>& slopes) {
  std::vector<limit_t> parsed;
  for (const std::string& text : limits) {
    parsed.push_back(parse_limit(text));
  }
  judge_t judge(parsed);
  chirp_statistics_t statistics;
  for (std::size_t i = 0; i < slopes.size(); ++i) {
    const chirp_t chirp = chirp_of(i + 1, slopes[i]);
    judge.judge(chirp);
    statistics.add(chirp);
  }
  judge.finish(statistics);
  return judge;
}

TEST(Judge, CountsWhatFailsAndKeepsTheWorst) {
  const judge_t judge = judged({"slope=400+-1", "slope>=0"}, {400, 402, 398.5, 400.9});
  const limit_outcome_t& outcome = judge.outcomes()[0];
  EXPECT_EQ(outcome.checked, 4U);
  EXPECT_EQ(outcome.failed, 2U);
  EXPECT_EQ(outcome.worst, 402.0);
  EXPECT_EQ(outcome.worst_chirp, 2U);
  EXPECT_EQ(judge.outcomes()[1].verdict(), verdict_t::pass);
  EXPECT_EQ(judge.outcomes()[1].worst, 398.5);  // nearest to a bound
  EXPECT_EQ(judge.verdict(), verdict_t::fail);
}

struct verdict_case {
  const char* name;
  std::vector<std::string> limits;
  std::vector<double> slopes;
  verdict_t verdict;
};

TEST(Judge, GivesAVerdict) {
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  const verdict_case cases[] = {
      {"bounds are inclusive", {"slope=400+-1"}, {399, 401}, verdict_t::pass},
      {"NaN fails", {"slope<=401"}, {400, nan}, verdict_t::fail},
      {"infinity keeps a minimum", {"slope>=1"}, {INFINITY}, verdict_t::pass},
      {"no chirps concern no limit on chirps", {"slope>=1"}, {}, verdict_t::none},
      {"nor do chirps of the other direction", {"down slope<=0"}, {400}, verdict_t::none},
      {"no chirps fail a count", {"count>=1"}, {}, verdict_t::fail},
      {"a count that is kept", {"count>=2"}, {1, 2}, verdict_t::pass},
      {"no chirps have no mean", {"mean(slope)<=1"}, {}, verdict_t::fail},
      {"one chirp has no spread", {"std(slope)<=1"}, {400}, verdict_t::fail},
      {"a mean out of bounds, chirps within", {"mean(slope)>=399.9"}, {400, 399}, verdict_t::fail},
      {"a mean within, chirps out", {"mean(slope)>=399"}, {401, 398}, verdict_t::pass},
      {"an RF that nobody told", {"rf_freq_avg>=-1"}, {400}, verdict_t::fail},
      {"of many, one that fails", {"slope>=1", "count>=9"}, {400}, verdict_t::fail},
  };
  for (const verdict_case& c : cases) {
    EXPECT_EQ(judged(c.limits, c.slopes).verdict(), c.verdict) << c.name;
  }
}

class LimitsFile : public InOwnFolder {
 protected:
  std::string refusal(const std::string& text) const {
    write("limits.json", text);
    return message_of<input_error_t>([&] { read_limits(path("limits.json")); });
  }
  static std::string with(const std::string& entry) {
    return R"({"schema": {"name": "fmcw-limits", "version": 1}, "limits": [{"figure": "length",
              "min": "1us"}, )" +
           entry + "]}";
  }
};

TEST_F(LimitsFile, SaysWhatTextsSay) {
  write("limits.json", with(R"({"figure": "slope", "nominal": -400, "tolerance": "1%"},
                               {"figure": "power_avg_dbm", "min": 9, "max": "11dBm"},
                               {"figure": "slope", "statistic": "std", "max": "0.2kHz/us",
                                "direction": "down"},
                               {"statistic": "count", "min": 100})"));
  const auto limits = read_limits(path("limits.json"));
  ASSERT_EQ(limits.size(), 5U);
  EXPECT_EQ(limits[0].min, 1e-6);
  EXPECT_EQ(limits[1].min, -404.0);
  EXPECT_EQ(limits[1].max, -396.0);
  EXPECT_EQ(limits[2].max, 11.0);
  EXPECT_EQ(limits[3].text, "down std(slope)<=0.2kHz/us");
  EXPECT_EQ(limits[4].text, "count>=100");
}

TEST_F(LimitsFile, NamesTheEntryThatIsWrong) {
  const refused_case cases[] = {
      {R"({"figure": "slpe", "min": 1})", {"limits.json: limits[1]", "slpe", "slope"}},
      {R"({"figur": "slope", "min": 1})", {"limits[1]", "'figur'", "nearest is figure"}},
      {R"({"figure": "slope"})", {"limits[1]", "no bound", "nominal"}},
      {R"({"figure": "slope", "nominal": 1})", {"limits[1]", "tolerance is missing"}},
      {R"({"figure": "slope", "min": 1, "nominal": 1, "tolerance": 1})",
       {"limits[1]", "cannot go"}},
      {R"({"figure": "slope", "min": 2, "max": 1})", {"limits[1]", "min is 2", "max is 1"}},
      {R"({"figure": "slope", "min": null})", {"limits[1]", "min is null"}},
      {R"({"figure": "slope", "min": "3 s"})", {"limits[1]", "min", "'3 s'"}},
      {R"({"figure": 3, "min": 1})", {"limits[1]", "figure is 3"}},
      {R"({"figure": "slope", "statistic": "count", "min": 1})", {"limits[1]", "count", "slope"}},
      {R"({"figure": "slope", "direction": "left", "min": 1})", {"limits[1]", "'left'", "down"}},
      {"7", {"limits[1]", "expected an object"}},
      {R"({"figure": "slope", "figure": "slope", "min": 1})", {"limits.json: line"}},
      {"{", {"limits.json: line"}},
  };
  for (const refused_case& c : cases) {
    const std::string message = refusal(with(c.text));
    for (const char* const word : c.words) {
      EXPECT_THAT(message, HasSubstr(word)) << c.text;
    }
  }
  EXPECT_THAT(refusal(R"({"limits": [{"statistic": "count", "min": 1}]})"), HasSubstr("no schema"));
  EXPECT_THAT(refusal(R"({"schema": {"name": "fmcw-limits", "version": 2}})"),
              HasSubstr("\"version\": 1"));
  EXPECT_THAT(refusal(R"({"schema": {"name": "fmcw-limits", "version": 1}, "limits": []})"),
              HasSubstr("holds no limit"));
  EXPECT_THAT(refusal(R"({"slope": 3})"), HasSubstr("no member 'slope'"));
}

TEST_F(LimitsFile, IsMadeFromGoodChirps) {
  chirp_statistics_t statistics;
  for (const double slope : {399.0, 400.0, 401.0}) {
    chirp_t chirp = chirp_of(1, slope);
    chirp.figures.length = 100e-6;
    statistics.add(chirp);
  }
  std::ostringstream text;
  json_writer_t json(text, json_writer_t::indented);
  write_limits(json, statistics, 2.0, "golden", 10e6);
  write("limits.json", text.str());
  bool has_slope = false;
  for (const limit_t& limit : read_limits(path("limits.json"))) {
    EXPECT_NE(limit.figure->column, "start_s");
    EXPECT_EQ(limit.direction, direction_t::up);
    if (limit.figure->column == "slope_khz_per_us") {
      has_slope = true;
      EXPECT_DOUBLE_EQ(*limit.min, 398.0);
      EXPECT_DOUBLE_EQ(*limit.max, 402.0);
    }
    if (limit.figure->column == "length_s") {  // all alike, so a sample either way remains
      EXPECT_TRUE(keeps(limit, 99.9e-6));
      EXPECT_TRUE(keeps(limit, 100.1e-6));
      EXPECT_FALSE(keeps(limit, 99.8e-6));
    }
  }
  EXPECT_TRUE(has_slope);

  statistics.add(chirp_of(9, -400.0));
  EXPECT_THAT(message_of<input_error_t>([&] { write_limits(json, statistics, 3.0, "g", 1.0); }),
              HasSubstr("1 chirps that go down"));
}

}  // namespace
