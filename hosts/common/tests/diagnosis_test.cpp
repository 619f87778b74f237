#include "common/diagnosis/nothing.h"
#include "common/errors.h"
#include "own_folder.h"
#include "signals.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace orn::fmcw_host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr std::size_t usual_count = 100'000;

std::string encoded(const std::vector<sample_t>& samples, const char* format) {
  const datatype_t& type = *find_datatype(format);
  std::string bytes(samples.size() * type.sample_bytes, '\0');
  type.encode(samples, reinterpret_cast<std::byte*>(bytes.data()));
  return bytes;
}

std::span<const std::byte> bytes_of(const std::string& text) {
  return std::as_bytes(std::span(text.data(), text.size()));
}

std::vector<sample_t> chirps(double noise = 0.01, std::size_t count = usual_count) {
  signal_t signal;
  signal.noise = noise;
  auto samples = samples_of(signal, count);
  for (sample_t& sample : samples) {
    sample *= 0.5F;
  }
  return samples;
}

std::vector<sample_t> noise(std::size_t count = usual_count) {
  std::mt19937_64 engine(7);
  std::normal_distribution<float> normal(0.0F, 0.1F);
  std::vector<sample_t> samples(count);
  for (sample_t& sample : samples) {
    sample = {normal(engine), normal(engine)};
  }
  return samples;
}

std::vector<sample_t> tone() {
  std::vector<sample_t> samples = noise();
  for (std::size_t i = 0; i < samples.size(); ++i) {
    samples[i] += std::polar(
        1.0F, static_cast<float>(std::fmod(0.12 * double(i), 1.0) * 2 * std::numbers::pi));
  }
  return samples;
}

/// A real signal sweeping 0.05 to 0.15 of its rate, its samples taken in pairs.
std::vector<sample_t> real_pairs() {
  std::vector<sample_t> samples(usual_count);
  double turns = 0.0;
  const auto next = [&](std::size_t i) {
    turns += 0.05 + 0.1 * static_cast<double>(i % 4000) / 4000.0;
    return 0.5F * static_cast<float>(std::cos(2 * std::numbers::pi * std::fmod(turns, 1.0)));
  };
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const float real = next(2 * i);
    samples[i] = {real, next(2 * i + 1)};
  }
  return samples;
}

std::string random_bytes(std::size_t count) {
  std::mt19937_64 engine(3);
  std::string bytes(count, '\0');
  for (char& byte : bytes) {
    byte = static_cast<char>(engine() & 0xFFU);
  }
  return bytes;
}

class Diagnosis : public InOwnFolder {
 protected:
  /// What is said of a file that is analysed at 10 MS/s; no reason where there are chirps.
  diagnosis_t diagnosis_of(const std::string& name, const std::string& bytes,
                           const std::vector<std::string>& assignments) {
    write(name, bytes);
    const recording_t recording = recording_t::open(path(name), {.sample_rate = 10e6});
    settings_t settings;
    settings.manager.set_fs(10e6);
    apply_settings({"", assignments}, settings);
    const bool is_automatic = settings.search == search_t::automatic;
    if (is_automatic) {
      std::vector<sample_t> read;
      const auto proposal = propose(*recording.source(0), 10e6, read);
      propose_settings(proposal.chosen.empty() ? std::vector<std::string>{"max_chirp_len=0s"}
                                               : proposal.assignments,
                       settings);
      settings.search = search_t::spans;
    }
    std::uint64_t rows = 0;
    recording_analysis_t analysis(settings, 2, {[&](const chirp_t&) { ++rows; }}, {});
    analysis.analyze(recording.segments()[0], *recording.source(0));
    if (rows > 0) {
      return {};
    }
    return diagnose(recording.info(), analysis.totals(), settings, is_automatic,
                    look_at_recording(recording));
  }
};

TEST_F(Diagnosis, TellsEachKindOfNothing) {
  const auto good = chirps();
  struct nothing_case_t {
    const char* file;
    std::string bytes;
    std::vector<std::string> settings;  // none: automatic
    const char* reason;
    const char* sentence;
    const char* change;
  };
  std::string gz = "\x1F\x8B\x08" + random_bytes(79997);
  for (const auto& c : std::initializer_list<nothing_case_t>{
           {"noise.cf32", encoded(noise(), "cf32_le"), {}, "noise", "looks like noise", ""},
           {"tone.cf32", encoded(tone(), "cf32_le"), {}, "tone", "a tone at 1.2MHz", ""},
           {"zeros.cs16", std::string(80000, '\0'), {}, "zeros", "every sample is zero", ""},
           {"nan.cf32", std::string(80000, '\xFF'), {}, "not finite", "NaN or infinite", ""},
           {"swapped.cf32",
            encoded(good, "cf32_be"),
            {},
            "format",
            "look like samples of cf32_be",
            "--format cf32_be"},
           {"swapped.cs16",
            encoded(good, "ci16_be"),
            {},
            "format",
            "look like samples of ci16_be",
            "--format ci16_be"},
           {"whole.cf32",
            encoded(good, "ci16_le"),
            {},
            "format",
            "look like samples of ci16_le",
            "--format ci16_le"},
           {"gz.cf32", gz, {}, "compressed", "look like a gzip file", ""},
           {"gz.cs16", gz, {}, "compressed", "look like a gzip file", ""},
           {"random.cs8", random_bytes(80000), {}, "random", "compressed or encrypted", ""},
           {"table.cf32",
            [] {
              std::string text = "time,i,q\n";
              while (text.size() % 8 != 0 || text.size() < 20000) {
                text += "0.5, 0.25, -1.25\n";
              }
              return text;
            }(),
            {},
            "text",
            "look like text",
            ""},
           {"real.cf32",
            encoded(
                [] {
                  auto samples = real_pairs();
                  for (sample_t& sample : samples) {
                    sample.imag(0.0F);
                  }
                  return samples;
                }(),
                "cf32_le"),
            {},
            "real-valued",
            "imaginary parts are zero",
            ""},
           {"pairs.cs16",
            encoded(real_pairs(), "ci16_le"),
            {"min_chirp_len=1ms", "max_chirp_len=2ms"},
            "real-valued",
            "taken for I and Q",
            ""},
           {"short.cf32",
            encoded({good.begin(), good.begin() + 700}, "cf32_le"),
            {},
            "too short",
            "700 samples are too few",
            ""},
           {"ramp.cf32",
            encoded({good.begin(), good.begin() + 1900}, "cf32_le"),
            {},
            "no switching",
            "record two periods or more (this is 190us)",
            ""},
           {"noisy.cf32",
            encoded(chirps(0.6, 60'000), "cf32_le"),
            {},
            "too noisy",
            "about 1 dB above the noise",
            ""},
           {"long.cf32",
            encoded(good, "cf32_le"),
            {"min_chirp_len=50us", "max_chirp_len=100us"},
            "limits",
            "min_chirp_len 50us, max_chirp_len 100us",
            "--auto"},
           {"brief.cf32",
            encoded(good, "cf32_le"),
            {"min_chirp_len=1ms", "max_chirp_len=2ms"},
            "limits",
            "leave out what looks like chirps, 182us, +10kHz/us",
            "--auto"},
           {"offsets.cf32",
            encoded(good, "cf32_le"),
            {"min_chirp_len=100us", "max_chirp_len=1ms", "st_config=0", "analysis_exclude=0.6"},
            "not measurable",
            "leave nothing to measure",
            "--auto"},
       }) {
    const diagnosis_t diagnosis = diagnosis_of(c.file, c.bytes, c.settings);
    EXPECT_EQ(diagnosis.reason, c.reason) << c.file << ": " << diagnosis.sentence;
    EXPECT_THAT(diagnosis.sentence, HasSubstr(c.sentence)) << c.file;
    EXPECT_EQ(diagnosis.change, c.change) << c.file;
  }
}

TEST_F(Diagnosis, CountsAgreeWithTheLibrary) {
  // 47 ramps and as many fly-backs follow the first turn; the smoothing moves turns by samples.
  const std::string bytes = encoded(chirps(), "cf32_le");
  const auto shorter =
      diagnosis_of("a.cf32", bytes, {"min_chirp_len=300us", "max_chirp_len=1ms"}).candidates;
  EXPECT_EQ(shorter.sample_count, usual_count);
  EXPECT_EQ(shorter.candidates, 94U);
  EXPECT_EQ(shorter.too_short, 94U);
  EXPECT_NEAR(shorter.longest_too_short.value_or(0), 182e-6, 3e-6);
  EXPECT_FALSE(shorter.shortest_too_long);
  const auto both =
      diagnosis_of("a.cf32", bytes, {"min_chirp_len=60us", "max_chirp_len=100us"}).candidates;
  EXPECT_EQ(both.too_long, 47U);
  EXPECT_EQ(both.too_short, 47U);
  EXPECT_NEAR(both.longest_too_short.value_or(0), 28e-6, 3e-6);
  EXPECT_NEAR(both.shortest_too_long.value_or(0), 182e-6, 3e-6);
  EXPECT_THAT(
      diagnosis_of("a.cf32", bytes, {"min_chirp_len=60us", "max_chirp_len=100us"}).counts,
      AllOf(HasSubstr("47 too short (longest 27.6us)"), HasSubstr("47 too long (shortest 18")));
  const auto unmeasured = diagnosis_of("a.cf32", bytes,
                                       {"min_chirp_len=100us", "max_chirp_len=1ms", "st_config=0",
                                        "analysis_exclude=0.6"})
                              .candidates;
  EXPECT_EQ(unmeasured.unmeasurable, 47U);
  EXPECT_EQ(unmeasured.leaving, 0U);
  // Over several spans, whose overlaps count once, on any number of threads.
  const std::string longer = encoded(chirps(0.01, 5'000'000), "cf32_le");
  const auto spans =
      diagnosis_of("b.cf32", longer, {"min_chirp_len=60us", "max_chirp_len=100us"}).candidates;
  EXPECT_EQ(spans.sample_count, 5'000'000U);
  EXPECT_EQ(spans.too_long, 2380U);
  EXPECT_EQ(spans.too_short, 2380U);
  EXPECT_NEAR(spans.shortest_too_long.value_or(0), 182e-6, 3e-6);
}

/// Every format, quiet and loud, clean to drowned in noise: nothing is said of any of them.
TEST(DataLook, SaysNothingOfChirps) {
  for (const double noise_level : {1e-4, 0.3, 3.0}) {
    for (const float gain : {0.01F, 0.9F}) {
      auto samples = chirps(noise_level, 60'000);
      for (sample_t& sample : samples) {
        sample *= 2.0F * gain / static_cast<float>(1.0 + 2.0 * noise_level);
      }
      for (const datatype_t& type : datatypes()) {
        const std::string bytes = encoded(samples, std::string(type.name).c_str());
        const data_look_t look = look_at_data(bytes_of(bytes), bytes_of(bytes), type);
        EXPECT_EQ(look.kind, data_look_t::ordinary)
            << type.name << " " << gain << " " << noise_level << ": " << look_text(look);
      }
    }
  }
}

TEST(DataLook, SaysNothingOfChirpsWithWildSamples) {
  for (const float wild : {std::numeric_limits<float>::quiet_NaN(),
                           std::numeric_limits<float>::infinity(), 1e4F, 1e30F}) {
    auto samples = chirps();
    for (std::size_t i = 500; i < samples.size(); i += 5000) {
      samples[i].real(wild);
    }
    const std::string bytes = encoded(samples, "cf32_le");
    const data_look_t look =
        look_at_data(bytes_of(bytes), bytes_of(bytes), *find_datatype("cf32_le"));
    EXPECT_EQ(look.kind, data_look_t::ordinary) << wild << ": " << look_text(look);
  }
}

TEST(DataLook, KnowsHeads) {
  const std::string more(100, '\x01');
  for (
      const auto& [head, name] : std::initializer_list<std::pair<std::string, const char*>>{
          {"\x1F\x8B\x08", "gzip"},
          {"PK\x03\x04", "zip"},
          {"\x28\xB5\x2F\xFD", "zstd"},
          {"BZh9", "bzip2"},
          {"RIFF", "WAV"},
          {R"({"global": {"core:datatype": "cf32_le", "core:sample_rate": 1000000, "core:version": "1"}})",
           "JSON"},
          {"", ""},
          {"\x01\x02", ""},
      }) {
    const std::string bytes = head + (head.starts_with("{") ? "" : more);
    EXPECT_EQ(look_at_head(bytes_of(bytes)).name, name);
    EXPECT_EQ(look_at_head(bytes_of(head.substr(0, 2))).name, "") << "two bytes tell nothing";
  }
  EXPECT_EQ(look_at_head({}).kind, data_look_t::ordinary);
}

TEST_F(Diagnosis, ErrorsOfASizeTellWhatItLooksLike) {
  write("a.cf32", "\x1F\x8B\x08" + random_bytes(1234));
  const auto message =
      message_of<input_error_t>([&] { recording_t::open(path("a.cf32"), {.sample_rate = 1e6}); });
  EXPECT_THAT(message, AllOf(HasSubstr("wrong size"), HasSubstr("looks like a gzip file")));
}

}  // namespace
}  // namespace orn::fmcw_host
