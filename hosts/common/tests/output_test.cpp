#include "common/capture/recording.h"
#include "common/errors.h"
#include "common/output/csv_writer.h"
#include "common/output/json_writer.h"
#include "common/output/npz_writer.h"
#include "common/output/output_file.h"
#include "common/output/recording_copy.h"
#include "common/output/text.h"
#include "common/output/unfinished.h"
#include "own_folder.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <sys/stat.h>

namespace {

using namespace orn::fmcw_host;
using orn::fmcw_demod_lib::sample_t;
using testing::HasSubstr;

class Output : public InOwnFolder {};

TEST_F(Output, AppearsWholeOrNotAtAll) {
  {
    output_file_t file(path("a"));
    file.stream() << "half";
    EXPECT_FALSE(fs::exists(path("a")));
    EXPECT_EQ(file_count(), 1U);
  }
  EXPECT_EQ(file_count(), 0U);
  write_output(path("a"), [](std::ostream& out) { out << "whole"; });
  EXPECT_EQ(content("a"), "whole");
  EXPECT_EQ(file_count(), 1U);
}

TEST_F(Output, KeepsModeAndLinkOfWhatItReplaces) {
  write("target", "old");
  ::chmod(path("target").c_str(), 0640);
  fs::create_symlink("target", path("link"));
  write_output(path("link"), [](std::ostream& out) { out << "new"; });
  EXPECT_TRUE(fs::is_symlink(path("link")));
  EXPECT_EQ(content("target"), "new");
  struct stat status {};
  ::stat(path("target").c_str(), &status);
  EXPECT_EQ(status.st_mode & 0777U, 0640U);
  fs::create_symlink("made", path("dangling"));
  write_output(path("dangling"), [](std::ostream& out) { out << "made"; });
  EXPECT_EQ(content("made"), "made");
  fs::create_symlink("loop", path("loop"));
  EXPECT_THAT(message_of<input_error_t>([&] { output_file_t{path("loop")}; }),
              HasSubstr("cannot be created"));
}

TEST_F(Output, RefusesWhatCannotBeCreated) {
  write("a", "old");
  EXPECT_THAT(message_of<input_error_t>([&] { output_file_t(path("a"), existing_t::kept); }),
              HasSubstr("is there already; --force"));
  EXPECT_THAT(message_of<input_error_t>([&] { output_file_t(path("no/a")); }),
              HasSubstr("cannot be created: No such file or directory"));
  EXPECT_THAT(message_of<input_error_t>([&] { output_file_t(path("")); }),
              HasSubstr("cannot be created: Is a directory"));
  EXPECT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
  EXPECT_THAT(message_of<input_error_t>([&] { output_file_t(path("pipe")); }),
              HasSubstr("cannot be created"))
      << "nobody reads it; waiting would be for ever";
  EXPECT_THAT(message_of<run_error_t>([&] {
                output_file_t file("/dev/full");
                file.stream() << "x";
                file.commit();
              }),
              HasSubstr("/dev/full: not everything could be written: No space left"));
  EXPECT_THAT(message_of<run_error_t>([&] { output_file_t(path("b")).reserve(1ULL << 60U); }),
              HasSubstr("1152921504606846976 bytes cannot be written"));
}

TEST_F(Output, APairIsReplacedTogetherOrNotAtAll) {
  for (const bool had_files : {true, false}) {
    fs::remove_all(path("second"));
    fs::remove_all(path("first"));
    output_file_t first(path("first"));
    output_file_t second(path("second"));
    if (had_files) {
      write("first", "old");
    }
    fs::create_directories(path("second/full"));  // no file can take its place
    first.stream() << "new";
    second.stream() << "new";
    output_file_t* const both[] = {&first, &second};
    EXPECT_THAT(message_of<run_error_t>([&] { output_file_t::commit_together(both); }),
                HasSubstr("second: cannot be put in place"));
    EXPECT_EQ(content("first"), had_files ? "old" : "");
    EXPECT_EQ(fs::exists(path("first")), had_files);
  }
  fs::remove_all(path("second"));
  write("first", "old");
  write("second", "old");
  {
    output_file_t first(path("first"));
    output_file_t second(path("second"));
    first.stream() << "1";
    second.stream() << "2";
    output_file_t* const both[] = {&first, &second};
    output_file_t::commit_together(both);
  }
  EXPECT_EQ(content("first") + content("second"), "12");
  EXPECT_EQ(file_count(), 2U);
}

TEST_F(Output, UnfinishedFilesCanBeRemovedFromAHandler) {
  output_file_t file(path("a"));
  file.stream() << std::string(1 << 20, 'x');
  EXPECT_EQ(file_count(), 1U);
  remove_unfinished();
  EXPECT_EQ(file_count(), 0U);
}

TEST_F(Output, NoOutputIsAnInputOrNamedTwice) {
  write("a", "");
  fs::create_directories(path("folder"));
  fs::create_symlink("a", path("link"));
  fs::create_hard_link(path("a"), path("hard"));
  const std::string input = path("a");
  const auto message = [&](std::vector<std::string> outputs) {
    return message_of<input_error_t>([&] { check_outputs({&input, 1}, outputs); });
  };
  for (const char* same : {"a", "link", "hard", "folder/../a"}) {
    EXPECT_THAT(message({path(same)}), HasSubstr("is an input")) << same;
  }
  EXPECT_THAT(message({path("b"), path("folder/../b")}), HasSubstr("is named for two outputs"));
  EXPECT_THAT(message({"-", "", "-"}), HasSubstr("standard output"));
  EXPECT_EQ(message({path("b"), path("c"), "", "", "/dev/null", "/dev/null"}), "");
}

TEST(JsonWriter, NumbersComeBackAndTextsAreSafe) {
  std::ostringstream out;
  json_writer_t json(out);
  json.begin_object().key("numbers").begin_array();
  json.value(0.1).value(0.1F).value(1e300).value(std::nan("")).value(-INFINITY);
  json.value(std::numeric_limits<std::uint64_t>::max()).value(-1).value(true).value(nullptr);
  json.end_array().member("te\"xt", "\\ \n \x1b \xC2\x9B \xE2\x82\xAC \xFF").key("none");
  json.begin_array().end_array().end_object();
  EXPECT_EQ(out.str(), R"({"numbers":[0.1,0.1,1e+300,null,null,18446744073709551615,-1,true,null],)"
                       R"("te\"xt":"\\ \u000a \u001b \u009b €)"
                       " \xEF\xBF\xBD\",\"none\":[]}\n");
}

TEST(JsonWriter, IndentsObjects) {
  std::ostringstream out;
  json_writer_t json(out, json_writer_t::indented);
  json.begin_object().member("a", 1).key("b").begin_array().value(1).value(2).end_array();
  json.key("c").begin_array().begin_object().end_object().end_array().end_object();
  EXPECT_EQ(out.str(), "{\n  \"a\": 1,\n  \"b\": [1, 2],\n  \"c\": [\n    {}\n  ]\n}\n");
}

TEST(Text, NothingReachesTheTerminalThatItWouldObey) {
  EXPECT_EQ(printable("plain µ €"), "plain µ €");
  EXPECT_EQ(printable("\x1b[31m\a\x7F\n"), "\\x1b[31m\\x07\\x7f\\x0a");
  EXPECT_EQ(printable("\xC2\x9B \xE2\x80\xAE \xFF \xC0\x80 \xED\xA0\x80"),
            "\\x9b \\u202e \\xff \\xc0\\x80 \\xed\\xa0\\x80");
}

TEST(CsvWriter, QuotesWhatNeedsIt) {
  std::ostringstream out;
  csv_writer_t(out).cell("a,b").cell("say \"x\"").cell(0.1).cell(3).cell("plain").end_row();
  EXPECT_EQ(out.str(), "\"a,b\",\"say \"\"x\"\"\",0.1,3,plain\n");
}

TEST_F(Output, NumpyReadsItsArrays) {
  if (std::system("/usr/bin/python3 -c 'import numpy' 2>/dev/null") != 0) {
    GTEST_SKIP() << "no NumPy";
  }
  write_output(path("a.npz"), [](std::ostream& out) {
    npz_writer_t npz(out);
    npz.array("time_s", std::vector<double>{0.0, 0.5, 1e-300});
    npz.array<std::int64_t>("none", {});
    const std::uint64_t shape[] = {2, 3};
    npz.begin<float>("level_db", shape);
    const float rows[] = {1, 2, 3, 4, 5, 6.5F};
    npz.write<float>({rows, 2});
    npz.write<float>({rows + 2, 4});
    npz.text("unit", "kHz/µs");
    npz.finish();
  });
  write("check.py", R"(
import numpy as np
a = np.load("a.npz")
assert a["time_s"].dtype == np.float64 and a["time_s"].tolist() == [0.0, 0.5, 1e-300]
assert a["none"].dtype == np.int64 and a["none"].shape == (0,)
assert a["level_db"].dtype == np.float32 and a["level_db"].tolist() == [[1, 2, 3], [4, 5, 6.5]]
assert str(a["unit"]) == "kHz/µs"
)");
  EXPECT_EQ(std::system(fmt::format("cd '{}' && /usr/bin/python3 check.py", path("")).c_str()), 0);
  EXPECT_THROW(
      {
        std::ostringstream out;
        npz_writer_t npz(out);
        npz.array<double>("a", {1.0});
        npz.write<double>(std::vector<double>{2.0});
      },
      run_error_t);
}

/// One recording through every format and back.
TEST_F(Output, CopiesCarryWhatIsKnown) {
  std::string samples;
  for (int i = 0; i < 100000; ++i) {
    const std::int16_t pair[] = {static_cast<std::int16_t>(i * 7), static_cast<std::int16_t>(-i)};
    samples.append(reinterpret_cast<const char*>(pair), sizeof(pair));
  }
  write("a.sigmf-data", samples);
  write("a.sigmf-meta", R"({"global": {"core:datatype": "ci16_le", "core:sample_rate": 48000,
      "core:author": "me", "x:own": [1, {"y": 1.5}]},
    "captures": [{"core:sample_start": 0, "core:frequency": 77e9},
      {"core:sample_start": 50000, "core:frequency": 78e9, "core:global_index": 60000}],
    "annotations": [{"core:sample_start": 10, "core:sample_count": 49990, "fmcw:slope": 1},
      {"core:sample_start": 70000, "core:label": "late"}]})");
  const auto copy = [&](const std::string& from, const std::string& to, const std::string& format,
                        const read_options_t& options) {
    return copy_recording(recording_t::open(path(from), options), path(to), {.format = format}, {},
                          [](std::uint64_t) {});
  };
  copy("a", "b.sigmf", "", {});
  copy("b.sigmf", "c.wav", "cf32", {});
  copy("c.wav", "d.cf64", "", {});
  copy("d.cf64", "e.cs16", "", {.sample_rate = 48000});
  EXPECT_EQ(content("e.cs16"), samples);
  EXPECT_EQ(recording_t::open(path("b.sigmf")).info().annotation_count, 2U);
  recording_t::open(path("b.sigmf")).verify_checksum();

  copy("b.sigmf", "part", "ci16_le", {.from = "20000", .duration = "40000"});
  const recording_t part = recording_t::open(path("part"));
  part.verify_checksum();
  EXPECT_EQ(content("part.sigmf-data"), samples.substr(80000, 160000));
  EXPECT_EQ(part.global_fields().find("core:author")->text(), "\"me\"");
  EXPECT_EQ(part.global_fields().find("x:own")->text(), R"([1,{"y":1.5}])");
  ASSERT_EQ(part.segments().size(), 2U);
  EXPECT_EQ(part.segments()[0].first_sample, 20000U);
  EXPECT_EQ(part.segments()[1].centre, 78e9);
  EXPECT_EQ(part.segment_fields(1).find("core:global_index")->whole(), 60000U);
  std::vector<annotation_t> annotations;
  part.for_each_annotation([&](const annotation_t& a) { annotations.push_back(a); });
  ASSERT_EQ(annotations.size(), 1U);
  EXPECT_EQ(annotations[0].first_sample, 20000U);
  EXPECT_EQ(annotations[0].sample_count, 30000U);
  EXPECT_EQ(annotations[0].fields.find("fmcw:slope"), nullptr) << "of the whole chirp only";

  EXPECT_TRUE(recording_t::open(path("c.wav")).info().notes.empty());
  write("c.wav", content("c.wav").substr(0, 1004));
  EXPECT_THAT(recording_t::open(path("c.wav")).info().notes,
              testing::ElementsAre(HasSubstr("is cut short, ")));

  EXPECT_THAT(message_of<input_error_t>([&] { copy("part", "x.wav", "cs8", {}); }),
              HasSubstr("WAV cannot hold ci8"));
  EXPECT_THAT(message_of<input_error_t>([&] { copy("part", "part", "", {}); }),
              HasSubstr("is an input"));
  const float bad[] = {0, 0, NAN, 0};
  write("bad.cf32", std::string(reinterpret_cast<const char*>(bad), sizeof(bad)));
  EXPECT_THAT(message_of<input_error_t>([&] { copy("bad.cf32", "x", "cs16", {.sample_rate = 1}); }),
              HasSubstr("sample 1 is not finite, which ci16_le cannot hold"));
  EXPECT_FALSE(fs::exists(path("x.sigmf-data")));
}

}  // namespace
