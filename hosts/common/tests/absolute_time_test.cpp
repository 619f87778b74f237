#include "common/capture/absolute_time.h"

#include "own_folder.h"

#include <string>

#include <gtest/gtest.h>

using namespace orn::fmcw_host;

namespace {

struct datetime_case {
  const char* text;
  const char* expected;  ///< empty: refused
};

TEST(Datetime, IsReadAndWritten) {
  const datetime_case cases[] = {
      {"1970-01-01T00:00:00Z", "1970-01-01T00:00:00.000000000Z"},
      {"2026-02-28T23:59:59.5Z", "2026-02-28T23:59:59.500000000Z"},
      {"2024-02-29T12:00:00.1234567899Z", "2024-02-29T12:00:00.123456789Z"},
      {"1969-12-31T23:59:59.25Z", "1969-12-31T23:59:59.250000000Z"},
      {"2016-12-31T23:59:60Z", "2017-01-01T00:00:00.000000000Z"},
      {"2026-01-01T00:30:00+01:00", "2025-12-31T23:30:00.000000000Z"},
      {"2026-01-01T00:30:00-05:30", "2026-01-01T06:00:00.000000000Z"},
      {"2026-02-29T00:00:00Z", ""},
      {"2026-13-01T00:00:00Z", ""},
      {"2026-01-01T24:00:00Z", ""},
      {"2026-01-01 00:00:00Z", ""},
      {"2026-01-01T00:00:00", ""},
      {"2026-01-01T00:00:00.Z", ""},
      {"2026-01-01T00:00:00Zulu", ""},
      {"2026-01-01T-1:00:00Z", ""},
      {"2026", ""},
      {"", ""},
  };
  for (const datetime_case& c : cases) {
    const auto instant = parse_datetime(c.text);
    EXPECT_EQ(instant ? datetime_text(*instant) : "", c.expected) << c.text;
  }
}

class AbsoluteTime : public InOwnFolder {};

TEST_F(AbsoluteTime, IsThatOfTheSamplesCapture) {
  write("a.sigmf-data", std::string(2 * 30, '\0'));
  write("a.sigmf-meta", R"({"global": {"core:datatype": "ci8", "core:sample_rate": 10,
      "core:version": "1.2.0", "core:offset": 100}, "captures": [
      {"core:sample_start": 100, "core:datetime": "2026-01-01T00:00:59.95Z"},
      {"core:sample_start": 110},
      {"core:sample_start": 120, "core:datetime": "2027-01-01T00:00:00Z"}], "annotations": []})");
  const absolute_time_t whole(recording_t::open(path("a")));
  EXPECT_EQ(whole.of(100), "2026-01-01T00:00:59.950000000Z");
  EXPECT_EQ(whole.of(101), "2026-01-01T00:01:00.050000000Z");
  EXPECT_EQ(whole.of(110), "");
  EXPECT_EQ(whole.of(125), "2027-01-01T00:00:00.500000000Z");

  // A part knows the time as well as the whole.
  read_options_t options;
  options.from = "5";
  EXPECT_EQ(absolute_time_t(recording_t::open(path("a"), options)).of(105),
            "2026-01-01T00:01:00.450000000Z");
}

}  // namespace
