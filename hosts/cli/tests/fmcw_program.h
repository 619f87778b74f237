#pragma once

#include <complex>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;
using nlohmann::json;

struct outcome_t {
  int status;
  std::string out, err;
};

inline std::string content(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// Runs the program in an empty folder of its own.
class Fmcw : public testing::Test {
 protected:
  Fmcw() : folder_(fs::temp_directory_path() / fmt::format("fmcw-test-{}", ::getpid())) {
    fs::remove_all(folder_);
    fs::create_directories(folder_);
  }
  ~Fmcw() override { fs::remove_all(folder_); }

  std::string path(const std::string& name) const { return (folder_ / name).string(); }

  /// before  shell commands ahead of the program's
  outcome_t run(const std::string& arguments, const std::string& before = "") const {
    const std::string command = fmt::format("cd '{}' && {} '{}' {} >stdout.txt 2>stderr.txt",
                                            folder_.string(), before, FMCW_PROGRAM, arguments);
    const int status = std::system(command.c_str());
    return {WEXITSTATUS(status), content(path("stdout.txt")), content(path("stderr.txt"))};
  }

  /// Analyses a capture, with or without chirps, and returns its JSON.
  json analyze(const std::string& arguments) const {
    const auto outcome = run("analyze " + arguments + " --json -");
    EXPECT_TRUE(outcome.status == 0 || outcome.status == 4) << outcome.err;
    return json::parse(outcome.out, nullptr, false);
  }

  std::vector<std::complex<float>> samples(const std::string& name) const {
    const std::string bytes = content(path(name + ".sigmf-data"));
    std::vector<std::complex<float>> all(bytes.size() / sizeof(std::complex<float>));
    std::copy(bytes.begin(), bytes.end(), reinterpret_cast<char*>(all.data()));
    return all;
  }

  void write(const std::string& name, const std::string& text) const {
    std::ofstream(path(name), std::ios::binary) << text;
  }

 private:
  fs::path folder_;
};

/// Small captures: 10 MHz rate, ramps of 200 us and 2 MHz, fly-backs of 10 us.
inline const std::string small_synth =
    " --fs 10e6 --ramp 200e-6 --flyback 10e-6 --bandwidth 2e6 --chirps 5";
inline const std::string small_triangle =
    " --fs 10e6 --ramp 200e-6 --bandwidth 2e6 --chirps 5 --shape triangle";
inline const std::string small_analysis =
    " --set min_chirp_len=100e-6 --set max_chirp_len=300e-6 --set time_gate_len=2e-3 --set "
    "meas_time=2e-3";
