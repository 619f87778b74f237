#include "fmcw_program.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include <sys/stat.h>

namespace {

using testing::HasSubstr;

TEST_F(Fmcw, TellsWhatARecordingIs) {
  write("a.sigmf-meta", R"({"global": {"core:datatype": "ci8", "core:sample_rate": 1000},
    "captures": [{"core:sample_start": 0, "core:frequency": 77e9},
                 {"core:sample_start": 2, "core:datetime": "2026-01-01T00:00:00Z\u001b[2J"}],
    "annotations": [{"core:sample_start": 0}]})");
  write("a.sigmf-data", std::string("\x40\x00\x7F\x00\x00\xC0", 6));
  const auto text = run("info a");
  ASSERT_EQ(text.status, 0) << text.err;
  for (const char* line :
       {"format             SigMF, ci8", "sample rate        1 kHz", "centre             77 GHz",
        "duration           3 ms, 3 samples", "clipped samples    1, the first at sample 1 (1 ms)",
        "from sample 2 (2 ms), 1 samples, centre not told, "
        "2026-01-01T00:00:00Z\\x1b[2J",
        "1.0 counts as 1 V peak, uncalibrated"}) {
    EXPECT_THAT(text.out, HasSubstr(line));
  }
  EXPECT_EQ(text.out.find('\x1b'), std::string::npos);
  const json info = json::parse(run("info a --json --full-scale 2 --from 1").out);
  EXPECT_EQ(info["sample_count"], 2);
  EXPECT_EQ(info["first_clipped_sample"], 1);
  EXPECT_EQ(info["segments"][0]["first_sample"], 1);
  EXPECT_EQ(info["segments"][1]["centre_hz"], nullptr);
  EXPECT_NEAR(info["power_peak_dbm"].get<double>(), 15.952, 1e-3) << "1.98 V peak into 50 ohm";
}

TEST_F(Fmcw, ConvertsThroughPipes) {
  ASSERT_EQ(run("synth a" + small_synth).status, 0);
  ASSERT_EQ(run("convert a b.cs16").status, 0);
  const auto piped = run("convert - c --fs 10e6 --format cs16 --to ci16_le <b.cs16");
  ASSERT_EQ(piped.status, 0) << piped.err;
  EXPECT_EQ(content(path("c.sigmf-data")), content(path("b.cs16")));
  EXPECT_EQ(run("convert a - --to cs16").out, content(path("b.cs16")));
  EXPECT_EQ(json::parse(run("info - --fs 10e6 --format cs16 --json <b.cs16").out)["sample_count"],
            10500);
  EXPECT_EQ(run("info c --verify").status, 0);
  auto data = content(path("c.sigmf-data"));
  data[0] ^= 1;
  write("c.sigmf-data", data);
  EXPECT_THAT(run("info c --verify").err, HasSubstr("core:sha512 promises"));
  const auto clipped = run("convert a d.cs8 --force");
  EXPECT_THAT(run("synth loud --level 20" + small_synth).out, HasSubstr("10500 samples"));
  EXPECT_THAT(run("convert loud loud.cs8").err, HasSubstr("were beyond the range of ci8"));
}

TEST_F(Fmcw, FindsChirpsInNoiseThatAFilterTakesAway) {
  // 4 MHz of 125 MHz as strong as the noise: hidden, and 9 dB above it in an eighth of the band.
  ASSERT_EQ(run("synth a --bandwidth 4M --offset 20M --snr 0 --chirps 40").status, 0);
  EXPECT_EQ(run("analyze a").status, 4);
  ASSERT_EQ(run("filter a b --shift -20M --low-pass 7M --decimate 8").status, 0);
  const auto outcome = run("analyze b --truth");
  EXPECT_EQ(outcome.status, 0) << outcome.out;
  EXPECT_THAT(outcome.out, HasSubstr("40 of 40 annotated chirps measured"));
  const json meta = json::parse(content(path("b.sigmf-meta")));
  EXPECT_EQ(meta["global"]["core:sample_rate"], 125e6 / 8);
  EXPECT_EQ(meta["captures"][0]["core:frequency"], 20e6);
  EXPECT_EQ(meta["annotations"][1]["core:sample_start"], (13125 + 7) / 8);

  // The same in the run, on the recording's own axis.
  for (const std::string condition : {"8,7MHz,-20MHz", "auto"}) {
    const auto in_run = run("analyze a --truth --json a.json --condition " + condition);
    EXPECT_EQ(in_run.status, 0) << condition << in_run.out << in_run.err;
    const json analysis = json::parse(content(path("a.json")));
    EXPECT_EQ(analysis["capture"]["conditioning"]["decimate"], 8) << condition;
    const json& chirp = analysis["chirps"][1];
    EXPECT_EQ(chirp["start_s"].get<double>(), chirp["first_sample"].get<double>() / 125e6);
    EXPECT_NEAR(chirp["first_sample"].get<double>(), 13125 + 800, 400) << condition;
    EXPECT_NEAR(chirp["freq_avg_hz"].get<double>(), 20e6, 50e3) << condition;
    EXPECT_THAT(chirp["flags"].get<std::string>(), HasSubstr("conditioned"));
  }
  EXPECT_THAT(run("analyze a --condition auto --quiet").out, HasSubstr("conditioned: 40 of 40"));
  const auto refused = run("analyze a --condition 8");
  EXPECT_EQ(refused.status, 2);
  EXPECT_THAT(refused.err, HasSubstr("such as 8,7MHz or 8,7MHz,-20MHz"));
}

TEST_F(Fmcw, RefusesFilesThatCannotBe) {
  ASSERT_EQ(run("synth a" + small_synth).status, 0);
  ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
  fs::create_directories(path("folder"));
  write("deep.sigmf-meta", "{\"global\": " + std::string(75000, '['));
  write("trap.sigmf-meta", R"({"global": {"core:datatype": "\u001b[31m"}})");
  write("x.wav", "RIFF");
  const std::string before = content(path("a.sigmf-data"));
  struct refusal_t {
    std::string arguments;
    int status;
    std::string named;
  };
  const refusal_t refusals[] = {
      {"info pipe --fs 1 --format cu8", 2, "pipe: cannot be read: is a pipe"},
      {"info folder --fs 1 --format cu8", 2, "folder: cannot be read: is a folder"},
      {"info deep", 2, "nested too deep; allowed are 64 levels"},
      {"info trap", 2, R"("\u001b[31m")"},
      {"info $(printf 'n\\377\\033[1m')", 2, R"(n\xff\x1b[1m)"},
      {"info x.wav", 2, "is no WAV file"},
      {"info x.sigmf-collection", 2, "is a SigMF collection"},
      {"info - --fs 1 </dev/null", 2, "holds no samples"},
      {"info a --fs 1", 2, "has a sample rate of 10000000 Hz"},
      {"info a --from 5x", 2, "--from cannot be '5x'"},
      {"info a --impedance nan", 2, "--impedance"},
      {"info a.sigmf-meta --format cs16", 2, "tells its own format"},
      {"info a --format cs16", 2, "tells its own format"},
      {"info absent --format cs17", 2, "datatype 'cs17' is unknown"},
      {"convert a a", 2, "is an input"},
      {"convert a ./folder/../a.sigmf-meta --force", 2, "is an input"},
      {"convert a a.wav --to cs8", 2, "WAV cannot hold ci8"},
      {"filter a", 2, "OUT is required"},
      {"filter a x", 2, "nothing to do; allowed are --shift, --low-pass and --decimate"},
      {"filter a x --decimate 0", 2, "--decimate"},
      {"filter a x --low-pass 6MHz", 2,
       "--low-pass cannot be 6000000 Hz; allowed is above 0 up to"},
      {"filter a x --shift 1furlong", 2, "--shift cannot be '1furlong'"},
      {"filter a a --shift 1kHz --force", 2, "is an input"},
      {"convert a x.wav", 2, "x.wav: is there already; --force"},
      {"convert a nowhere/x", 2, "nowhere/x.sigmf-data: cannot be created"},
      {"convert a pipe", 2, "pipe: cannot be created"},
      {"convert - x.sigmf --fs 1 <a.sigmf-data", 2, "an archive of samples from a pipe"},
      {"synth a" + small_synth, 2, "a.sigmf-data: is there already; --force"},
      {"synth b --shape triangle --flyback 1e-6", 2, "--flyback"},
      {"synth b --seed -1", 2, "allowed is a whole number from 0 up"},
      {"synth b --ramp 1e-15", 2, "at least two samples"},
      {"synth b --fs 1e9 --duration 900", 1, "bytes cannot be written"},
      {"convert a - >/dev/full 2>stderr.txt #", 1,
       "standard output: not everything could be written"},
      {"info a --json >/dev/full 2>stderr.txt #", 1, "standard output"},
  };
  for (const auto& refusal : refusals) {
    // A file may be no larger than 1 GB here, whatever the disk.
    const auto outcome = run(refusal.arguments, "ulimit -f 1000000;");
    EXPECT_EQ(outcome.status, refusal.status) << refusal.arguments;
    EXPECT_THAT(outcome.err, HasSubstr(refusal.named)) << refusal.arguments;
    EXPECT_EQ(outcome.err.find('\x1b'), std::string::npos);
  }
  EXPECT_EQ(content(path("a.sigmf-data")), before);
  for (const auto& entry : fs::directory_iterator(path("."))) {
    EXPECT_FALSE(entry.path().filename().string().starts_with(".fmcw")) << entry.path();
    EXPECT_FALSE(entry.path().filename().string().starts_with("b.")) << entry.path();
  }
}

TEST_F(Fmcw, SignalsLeaveNothing) {
  const auto unfinished_count = [&] {
    return std::count_if(fs::directory_iterator(path(".")), fs::directory_iterator(),
                         [](const auto& entry) {
                           const std::string name = entry.path().filename().string();
                           return name.starts_with(".fmcw-") || name.starts_with("long");
                         });
  };
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    const pid_t program = ::fork();
    if (program == 0) {
      std::signal(signal, SIG_DFL);
      ::execl(FMCW_PROGRAM, "fmcw", "synth", path("long").c_str(), "--duration", "2", nullptr);
      ::_exit(127);
    }
    for (int i = 0; i < 200 && unfinished_count() < 2; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_EQ(unfinished_count(), 2) << "both files of the pair are being written";
    ::kill(program, signal);
    int status = 0;
    ::waitpid(program, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << status;
    EXPECT_EQ(unfinished_count(), 0);
  }
}

}  // namespace
