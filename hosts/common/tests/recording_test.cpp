#include "common/capture/recording.h"

#include "common/capture/statistics.h"
#include "common/errors.h"
#include "own_folder.h"

#include <complex>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

namespace {

using namespace orn::fmcw_host;
using orn::fmcw_demod_lib::sample_t;
using testing::ElementsAre;
using testing::HasSubstr;

/// Samples first, first + 1, ... as cf32_le bytes, Q being -I.
std::string ramp(int first, int count) {
  std::string bytes;
  for (int i = first; i < first + count; ++i) {
    const float pair[] = {static_cast<float>(i), static_cast<float>(-i)};
    bytes.append(reinterpret_cast<const char*>(pair), sizeof(pair));
  }
  return bytes;
}

std::vector<float> parts_of(const recording_t& recording, std::size_t segment) {
  std::vector<sample_t> samples(1000);
  samples.resize(recording.source(segment)->read(samples));
  std::vector<float> real;
  for (const sample_t& sample : samples) {
    EXPECT_EQ(sample.imag(), -sample.real());
    real.push_back(sample.real());
  }
  return real;
}

class Recording : public InOwnFolder {
 protected:
  /// Writes NAME.sigmf-meta. global  members after datatype and rate
  void describe(const std::string& name, const std::string& global,
                const std::string& captures = "", const std::string& annotations = "") const {
    write(name + ".sigmf-meta",
          fmt::format(R"({{"global": {{"core:datatype": "cf32_le", "core:sample_rate": 1e6{}{}}},
                          "captures": [{}], "annotations": [{}]}})",
                      global.empty() ? "" : ", ", global, captures, annotations));
  }

  recording_t open(const std::string& name, const read_options_t& options = {}) const {
    return recording_t::open(path(name), options);
  }

  std::string refusal(const std::string& name, const read_options_t& options = {}) const {
    return message_of<input_error_t>([&] { open(name, options); });
  }
};

TEST_F(Recording, IsNamedByEitherFileOrTheStem) {
  describe("a", "");
  write("a.sigmf-data", ramp(0, 5));
  for (const char* name : {"a", "a.sigmf-meta", "a.sigmf-data"}) {
    const recording_t recording = open(name);
    EXPECT_EQ(recording.info().sample_count, 5U) << name;
    EXPECT_THAT(parts_of(recording, 0), ElementsAre(0, 1, 2, 3, 4)) << name;
  }
}

TEST_F(Recording, KeepsSegmentsApart) {
  describe("a", R"("core:offset": 100)", R"({"core:sample_start": 100, "core:frequency": 77e9},
      {"core:sample_start": 103, "core:frequency": 78e9, "core:datetime": "2026-01-01T00:00:00Z"},
      {"core:sample_start": 107})");
  write("a.sigmf-data", ramp(0, 10));
  const recording_t recording = open("a");
  ASSERT_EQ(recording.segments().size(), 3U);
  EXPECT_EQ(recording.segments()[1].first_sample, 103U);
  EXPECT_EQ(recording.segments()[1].sample_count, 4U);
  EXPECT_EQ(recording.segments()[1].centre, 78e9);
  EXPECT_EQ(recording.segments()[1].datetime, "2026-01-01T00:00:00Z");
  EXPECT_EQ(recording.segments()[2].centre, std::nullopt);
  EXPECT_THAT(parts_of(recording, 0), ElementsAre(0, 1, 2));
  EXPECT_THAT(parts_of(recording, 1), ElementsAre(3, 4, 5, 6));
  EXPECT_THAT(parts_of(recording, 2), ElementsAre(7, 8, 9));
  std::vector<sample_t> two(2);
  recording.read(104, two);
  EXPECT_EQ(two[1].real(), 5.0F);
  EXPECT_THAT(message_of<input_error_t>([&] { recording.read(106, two); }),
              HasSubstr("one segment"));
}

TEST_F(Recording, LeavesOutWhatIsNoSample) {
  describe("a", R"("core:dataset": "a.dat", "core:trailing_bytes": 3)",
           R"({"core:sample_start": 0, "core:header_bytes": 5},
              {"core:sample_start": 4, "core:header_bytes": 2})");
  write("a.dat", "HHHHH" + ramp(0, 4) + "hh" + ramp(4, 2) + "TTT");
  const recording_t recording = open("a");
  EXPECT_THAT(parts_of(recording, 0), ElementsAre(0, 1, 2, 3));
  EXPECT_THAT(parts_of(recording, 1), ElementsAre(4, 5));
}

TEST_F(Recording, TakesAPart) {
  describe("a", "", R"({"core:sample_start": 0, "core:datetime": "2026-01-01T00:00:00Z"},
                       {"core:sample_start": 6, "core:datetime": "2026-01-02T00:00:00Z"})",
           R"({"core:sample_start": 1, "core:sample_count": 3},
              {"core:sample_start": 5, "core:sample_count": 1}, {"core:sample_start": 9})");
  write("a.sigmf-data", ramp(0, 10));
  struct part_t {
    const char *from, *duration;
    std::vector<std::vector<float>> samples;
    std::size_t annotations;
  };
  for (const auto& part : {
           part_t{"", "", {{0, 1, 2, 3, 4, 5}, {6, 7, 8, 9}}, 3},
           part_t{"4us", "3us", {{4, 5}, {6}}, 1},
           part_t{"4", "3", {{4, 5}, {6}}, 1},
           part_t{"7", "", {{7, 8, 9}}, 1},
           part_t{"", "0.004ms", {{0, 1, 2, 3}}, 1},
           part_t{"4 us", "0.003k", {{4, 5}, {6}}, 1},
           part_t{"4samples", "5e-8min", {{4, 5}, {6}}, 1},
           part_t{"2", "1000", {{2, 3, 4, 5}, {6, 7, 8, 9}}, 3},
       }) {
    read_options_t options;
    options.from = part.from;
    options.duration = part.duration;
    const recording_t recording = open("a", options);
    ASSERT_EQ(recording.segments().size(), part.samples.size()) << part.from;
    for (std::size_t i = 0; i < part.samples.size(); ++i) {
      EXPECT_EQ(parts_of(recording, i), part.samples[i]) << part.from << ' ' << part.duration;
      EXPECT_EQ(static_cast<float>(recording.segments()[i].first_sample), part.samples[i].front());
    }
    std::size_t annotations = 0;
    recording.for_each_annotation([&](const annotation_t&) { ++annotations; });
    EXPECT_EQ(annotations, part.annotations) << part.from << ' ' << part.duration;
  }
  read_options_t options;
  options.from = "1";
  EXPECT_EQ(open("a", options).segments()[0].datetime, "") << "it was that of sample 0";
  for (const auto& [from, duration, named] :
       {std::tuple{"10", "", "has no samples from sample 10 on"},
        std::tuple{"0.5", "", "--from cannot be '0.5'"}, std::tuple{"-1", "", "--from"},
        std::tuple{"1e400s", "", "--from"}, std::tuple{"5 parsec", "", "--from"},
        std::tuple{"5Hz", "", "--from"}, std::tuple{"s", "", "--from"},
        std::tuple{"nan", "", "--from"}, std::tuple{"", "0s", "--for cannot be '0s'"}}) {
    options.from = from;
    options.duration = duration;
    EXPECT_THAT(refusal("a", options), HasSubstr(named));
  }
}

TEST_F(Recording, RefusesDescriptionsThatCannotBe) {
  struct refusal_t {
    std::string global, captures, annotations, named;
  };
  const std::string start = R"({"core:sample_start": )";
  const refusal_t refusals[] = {
      {R"("core:num_channels": 2)", "", "", "core:num_channels is 2; allowed is 1"},
      {R"("core:version": "2.0.0")", "", "", "core:version is \"2.0.0\""},
      {R"("core:offset": -1)", "", "", "core:offset is -1"},
      {R"("core:offset": 9007199254740993)", "", "", "from 0 to 2^53"},
      {R"("core:dataset": "../a.sigmf-data")", "", "", "a file in the same folder"},
      {R"("core:metadata_only": "yes")", "", "", "core:metadata_only"},
      {R"("core:extensions": [{"name": "radar", "version": "1", "optional": false}])", "", "",
       "the extension 'radar'"},
      {R"("core:extensions": [{"name": "radar", "version": "1"}])", "", "", "optional is missing"},
      {R"("core:extensions": {})", "", "", "core:extensions is {}"},
      {R"("core:trailing_bytes": 81)", "", "", "core:trailing_bytes is 81"},
      {R"("core:trailing_bytes": 1)", "", "", "79 bytes is the wrong size"},
      {"", start + "3}, " + start + "2}", "", "capture 1: core:sample_start is 2"},
      {R"("core:offset": 5)", start + "3}", "", "capture 0: core:sample_start is 3"},
      {"", start + "11}", "", "a capture begins at sample 11; the dataset ends at sample 10"},
      {"", start + "10}", "", "hold no sample"},
      {"", start + "0, \"core:header_bytes\": 1000}", "", "core:header_bytes is 1000"},
      {"", "{}", "", "capture 0: core:sample_start is missing"},
      {"", "7", "", "capture 0 is 7; expected an object"},
      {"", "", start + "-5}", "annotation 0: core:sample_start is -5"},
      {"", "", start + "1}, " + start + "1e300}", "annotation 1: core:sample_start is 1e+300"},
      {"", "", start + "1.5}", "core:sample_start is 1.5"},
      {"", "", start + "1, \"core:sample_count\": \"many\"}", "core:sample_count is \"many\""},
      {"", "", start + "1, \"core:freq_upper_edge\": 1}", "core:freq_lower_edge is missing"},
      {"", "", "null", "annotation 0 is null"},
  };
  write("a.sigmf-data", ramp(0, 10));
  for (const auto& refused : refusals) {
    describe("a", refused.global, refused.captures, refused.annotations);
    EXPECT_THAT(refusal("a"), HasSubstr(refused.named));
  }
}

TEST_F(Recording, RefusesTextsThatAreNoDescription) {
  const std::pair<std::string, const char*> texts[] = {
      {"", "line 1, column 1: this is not JSON"},
      {"{\n \"global\": {,}}", "line 2, column 13: this is not JSON"},
      {"[1]", "this is no object"},
      {"7", "this is no object"},
      {"{}", "has no object 'global'"},
      {R"({"global": []})", "global is []"},
      {R"({"global": [{}]})", "global is an array"},
      {R"({"global": {"a": 1, "a": 2}})", "member 'a' stands twice"},
      {R"({"own": 1, "own": 2})", "member 'own' stands twice"},
      {R"({"global": {"core:sample_rate": 1e999}})", "beyond what a double holds"},
      {R"({"collection": {}})", "describes a collection"},
      {R"({"captures": {}})", "captures is {}; expected an array"},
      {"{\"global\": {\"core:description\": \"\xFF\"}}", "this is not JSON"},
      {"{\"global\": " + std::string(75000, '[') + std::string(75000, ']') + "}",
       "nested too deep"},
      {"{\"annotations\": [" + std::string(75000, '{') + "}", "this is not JSON"},
      {std::string("\x1F\x8B\x08\x00", 4), "this is not JSON"},
  };
  write("a.sigmf-data", ramp(0, 10));
  for (const auto& [text, named] : texts) {
    write("a.sigmf-meta", text);
    EXPECT_THAT(refusal("a"), HasSubstr(named)) << text.substr(0, 60);
  }
}

TEST_F(Recording, DatasetsThatAreNotThere) {
  describe("a", R"("core:metadata_only": true)");
  EXPECT_THAT(refusal("a"), HasSubstr("core:metadata_only is true"));
  write("a.sigmf-data", ramp(0, 2));
  EXPECT_EQ(refusal("a"), "") << "the dataset is there all the same";
  describe("b", "");
  EXPECT_THAT(refusal("b"), HasSubstr("b.sigmf-data: cannot be read"));
  write("b.sigmf-data", "");
  EXPECT_THAT(refusal("b"), HasSubstr("0 bytes is the wrong size"));
  EXPECT_THAT(refusal("c"), HasSubstr("c.sigmf-meta"));
  EXPECT_THAT(refusal("c.sigmf-collection"), HasSubstr("is a SigMF collection"));
  fs::create_directories(path("d.cf32"));
  EXPECT_THAT(refusal("d.cf32"), HasSubstr("is a folder"));
}

TEST_F(Recording, AFileThatChangesIsAnError) {
  const read_options_t options{.sample_rate = 1e6};
  const auto message_after = [&](const auto& change) {
    write("a.cf32", ramp(0, 1000));
    const recording_t recording = open("a.cf32", options);
    const auto source = recording.source(0);
    std::vector<sample_t> part(10);
    EXPECT_EQ(source->read(part), 10U);
    change();
    return message_of<input_error_t>([&] { source->read(part); });
  };
  EXPECT_THAT(message_after([&] { fs::resize_file(path("a.cf32"), 100); }),
              HasSubstr("was cut short from 8000 to 100 bytes"));
  EXPECT_THAT(message_after([&] {
                write("b", ramp(5, 1000));
                fs::rename(path("b"), path("a.cf32"));
              }),
              HasSubstr("was replaced"));
  EXPECT_THAT(message_after([&] {
                fs::last_write_time(path("a.cf32"),
                                    fs::file_time_type::clock::now() + std::chrono::seconds(5));
              }),
              HasSubstr("was changed"));
  EXPECT_EQ(message_after([] {}), "");
}

TEST_F(Recording, RawFilesTellTheirFormatByTheName) {
  write("a.cs8", std::string("\x40\xC0", 2));
  write("a.iq", ramp(3, 1));
  const read_options_t options{.sample_rate = 1e6, .centre = 77e9, .full_scale = 2.0};
  const recording_t recording = open("a.cs8", options);
  EXPECT_THAT(parts_of(recording, 0), ElementsAre(1.0F)) << "0.5 of 2 V";
  EXPECT_EQ(recording.info().clip_levels->lowest, -2.0F);
  EXPECT_EQ(recording.segments()[0].centre, 77e9);
  EXPECT_TRUE(recording.info().notes.empty());
  EXPECT_THAT(open("a.iq", options).info().notes, ElementsAre(HasSubstr("taken as cf32_le")));
  EXPECT_THAT(refusal("a.cs8"), HasSubstr("give its sample rate with --fs"));
  EXPECT_THAT(refusal("a.cs8", {.sample_rate = 0.0}), HasSubstr("--fs: sample rate 0 Hz"));
  EXPECT_THAT(refusal("a.cs8", {.sample_rate = 1e6, .format = "ci9"}), HasSubstr("'ci9'"));
  EXPECT_THAT(refusal("a.cs8", {.sample_rate = 1e6, .full_scale = 0.0}), HasSubstr("--full-scale"));
  EXPECT_THAT(refusal("a.cs8", {.sample_rate = 1e6, .format = "cs16"}), HasSubstr("2 bytes"));
}

TEST_F(Recording, CountsWhatIsWrongWithSamples) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float values[] = {3, 4, 0, 0, nan, 0, 0, -std::numeric_limits<float>::infinity()};
  write("a.cf32", std::string(reinterpret_cast<const char*>(values), sizeof(values)));
  const read_options_t options{.sample_rate = 1e6};
  auto statistics = statistics_of(open("a.cf32", options), [](std::uint64_t) {});
  EXPECT_EQ(statistics.nonfinite_count, 2U);
  EXPECT_EQ(statistics.first_nonfinite, 2U);
  EXPECT_EQ(statistics.first_clipped, std::nullopt);
  EXPECT_EQ(statistics.mean_square, 12.5);
  EXPECT_EQ(statistics.peak_square, 25.0);
  write("a.cs8", std::string("\x7E\x81\x00\x7F\x80\x00\x00\x00", 8));
  statistics = statistics_of(open("a.cs8", options), [](std::uint64_t) {});
  EXPECT_EQ(statistics.clipped_count, 2U);
  EXPECT_EQ(statistics.first_clipped, 1U);
  EXPECT_NEAR(dbm_of(1.0, 50.0), 10.0, 1e-12) << "1 V peak into 50 ohm";
}

TEST_F(Recording, ThreadsReadAtOnce) {
  constexpr int count = 200000;
  write("a.cf32", ramp(0, count));
  const recording_t recording = open("a.cf32", {.sample_rate = 1e6});
  std::vector<std::thread> threads;
  std::vector<int> wrong(4, 0);
  for (std::size_t t = 0; t < wrong.size(); ++t) {
    threads.emplace_back([&, t] {
      std::vector<sample_t> part(1000);
      for (int first = static_cast<int>(t) * 500; first + 1000 <= count; first += 1777) {
        recording.read(static_cast<std::uint64_t>(first), part);
        wrong[t] += part.back().real() == static_cast<float>(first + 999) ? 0 : 1;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_THAT(wrong, testing::Each(0));
}

}  // namespace
