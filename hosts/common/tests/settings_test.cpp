#include "common/settings/settings.h"

#include "common/errors.h"
#include "common/settings/profile.h"
#include "common/settings/setting_table.h"
#include "common/settings/units.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace orn::fmcw_host {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

TEST(Units, ReadWhatPeopleWrite) {
  struct quantity_case_t {
    const char* text;
    const char* unit;
    std::optional<double> value;
  };
  for (const auto& c : std::initializer_list<quantity_case_t>{
           {"20us", "s", 20e-6},
           {"20 us", "s", 20e-6},
           {"0.3", "s", 0.3},
           {"3e-1s", "s", 0.3},
           {"1.5E+2ns", "s", 150e-9},
           {"20\u00B5s", "s", 20e-6},
           {"7u", "s", 7e-6},
           {"125M", "Hz", 125e6},
           {"125MHz", "Hz", 125e6},
           {"1.6MHz/us", "Hz/s", 1.6e12},
           {"1600kHz/us", "Hz/s", 1.6e12},
           {"46.7kHz/s", "Hz/s", 46.7e3},
           {"-8GHz/ms", "Hz/s", -8e12},
           {"5%", "", 0.05},
           {"0.05", "", 0.05},
           {"75ohm", "ohm", 75.0},
           {"", "s", {}},
           {"us", "s", {}},
           {"20parsecs", "s", {}},
           {"20usx", "s", {}},
           {"5%", "s", {}},
           {"20Hz", "s", {}},
           {"1.6MHz/", "Hz/s", {}},
           {"1.6/us", "Hz/s", {}},
           {"nan", "s", {}},
           {"inf", "s", {}},
           {"0x10", "s", {}},
           {"1e999", "s", {}},
           {"1e999999999999", "s", {}},
           {"+3", "s", {}},
       }) {
    EXPECT_EQ(parse_quantity(c.text, c.unit), c.value) << c.text;
  }
}

TEST(Units, WriteWhatTheyReadBack) {
  EXPECT_EQ(quantity_text(20e-6, "s"), "20us");
  EXPECT_EQ(quantity_text(1.6e12, "Hz/s"), "1.6MHz/us");
  EXPECT_EQ(quantity_text(46666.5, "Hz/s"), "46.6665kHz/s");
  EXPECT_EQ(quantity_text(1e-6, "s"), "1us");
  EXPECT_EQ(quantity_text(0.0, "s"), "0s");
  for (const double value :
       {1.0 / 3, 2e-21, 7.123456789012345e22, -0.3, 1e-6, 999.9999e3,
        std::numeric_limits<double>::denorm_min(), std::numeric_limits<double>::max()}) {
    for (const char* unit : {"s", "Hz", "Hz/s", ""}) {
      EXPECT_EQ(parse_quantity(quantity_text(value, unit), unit), value)
          << quantity_text(value, unit);
    }
  }
}

std::string profile_of(const settings_t& settings) {
  std::ostringstream text;
  json_writer_t out(text);
  write_profile(out, settings);
  return text.str();
}

class Settings : public testing::Test {
 protected:
  Settings()
      : file_(std::filesystem::temp_directory_path() /
              fmt::format("fmcw-settings-{}.json", ::getpid())) {}
  ~Settings() override { std::filesystem::remove(file_); }

  settings_t apply(const std::string& profile, std::vector<std::string> assignments = {}) {
    settings_source_t source{"", std::move(assignments)};
    if (!profile.empty()) {
      std::ofstream(file_) << profile;
      source.file = file_.string();
    }
    settings_t settings;
    settings.manager.set_fs(10e6);
    notes = apply_settings(source, settings);
    return settings;
  }

  std::string refusal(const std::string& profile, std::vector<std::string> assignments = {}) {
    try {
      apply(profile, std::move(assignments));
    } catch (const input_error_t& error) {
      return error.what();
    }
    return "taken";
  }

  std::vector<std::string> notes;

 private:
  std::filesystem::path file_;
};

TEST_F(Settings, TheSearchFollowsFromWhatIsGiven) {
  struct search_case_t {
    const char* profile;
    std::vector<std::string> assignments;
    search_t search;
  };
  for (const auto& c : std::initializer_list<search_case_t>{
           {"", {}, search_t::automatic},
           {"", {"slope_tol=1MHz/us"}, search_t::automatic},
           {"", {"min_chirp_len=20us"}, search_t::spans},
           {"", {"max_chirp_len=1ms"}, search_t::spans},
           {"", {"min_chirp_len=20us", "from_start=10%"}, search_t::frames},
           {"", {"min_chirp_len=20us", "search=automatic"}, search_t::automatic},
           {R"({"min_chirp_len": 3e-6, "time_gate_len": 0.0009})", {}, search_t::automatic},
           {R"({"min_chirp_len": "4us"})", {}, search_t::spans},
           {R"({"time_gate_len": 0.0005})", {}, search_t::frames},
           {R"({"time_gate_len": 0.0005})", {"search=spans"}, search_t::spans},
       }) {
    EXPECT_EQ(apply(c.profile, c.assignments).search, c.search) << c.profile;
    EXPECT_THAT(notes, IsEmpty());
  }
}

TEST_F(Settings, AProfileGivesTheSameSettingsAgain) {
  for (const char* search : {"search=spans", "search=frames"}) {
    const settings_t before =
        apply("", {search, "min_chirp_len=12.5us", "time_gate_len=0.4ms", "slope_tol=1.5MHz/us",
                   "rate_doublings=7", "impedance=75", "devlength_ref=0"});
    const settings_t after = apply(profile_of(before));
    EXPECT_EQ(profile_of(after), profile_of(before));
    EXPECT_EQ(after.search, before.search);
    EXPECT_EQ(after.manager.get_min_chirp_len(), 12.5e-6);
  }
  EXPECT_EQ(profile_of(apply(R"({"settings": {"min_chirp_len": 2e-5}, "chirps": []})")),
            profile_of(apply("", {"min_chirp_len=20us"})));
}

TEST_F(Settings, RefuseAndSayWhatIsAllowed) {
  struct refusal_case_t {
    const char* profile;
    std::vector<std::string> assignments;
    std::vector<std::string> named;
  };
  for (const auto& c : std::initializer_list<refusal_case_t>{
           {"",
            {"min_chirp_len=20parsecs"},
            {"min_chirp_len", "20parsecs", "[s]", "from 0 up", "20us"}},
           {"", {"min_chirp_lan=20us"}, {"min_chirp_lan", "nearest is min_chirp_len"}},
           {"", {"slope_tol=fast"}, {"Hz/s", "1.6MHz/us"}},
           {"", {"from_end=105%"}, {"105%", "from 0 to 1", "5%"}},
           {"", {"impedance=60"}, {"50 or 75"}},
           {"", {"rate_doublings=31"}, {"0 to 30"}},
           {"", {"search=guess"}, {"automatic, spans or frames"}},
           {"", {"min_chirp_len=1us", "min_chirp_len=2us"}, {"min_chirp_len", "twice"}},
           {"", {"fs=20M"}, {"20M", "10000000"}},
           {R"({"fs": 20e6})", {}, {"fs", "10000000"}},
           {"", {"=3"}, {"there is no setting"}},
           {R"({"impedance": true})", {}, {"true", "50 or 75"}},
           {R"({"max_chirp_len": null})", {}, {"null"}},
           {R"([1])", {}, {"object"}},
           {R"({"max_chirp_len": [1, 2]})", {}, {"max_chirp_len", "list"}},
           {R"({"max_chirp_len": 1, "max_chirp_len": 2})", {}, {"max_chirp_len", "twice"}},
           {"{\n  \"max_chirp_len\": x}", {}, {"line 2", "column"}},
           {R"({"max_chirp_lem": 1})", {}, {"nearest is max_chirp_len"}},
       }) {
    for (const auto& word : c.named) {
      EXPECT_THAT(refusal(c.profile, c.assignments), HasSubstr(word)) << c.profile;
    }
  }
}

TEST_F(Settings, NoteWhatHasNoEffect) {
  apply("", {"phase_noise_start=3"});
  EXPECT_THAT(notes, testing::ElementsAre(HasSubstr("phase_noise_start is carried but enters no")));
  apply("", {"max_chirp_len=1us"});
  EXPECT_THAT(notes, testing::ElementsAre(HasSubstr("min_chirp_len moved from 3e-06 to 1e-06")));
}

}  // namespace
}  // namespace orn::fmcw_host
