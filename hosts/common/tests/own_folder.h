#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace fs = std::filesystem;

/// A test in an empty folder of its own.
class InOwnFolder : public testing::Test {
 protected:
  InOwnFolder()
      : folder_(fs::temp_directory_path() / fmt::format("fmcw-host-test-{}", ::getpid())) {
    fs::remove_all(folder_);
    fs::create_directories(folder_);
  }
  ~InOwnFolder() override { fs::remove_all(folder_); }

  std::string path(const std::string& name) const { return (folder_ / name).string(); }

  void write(const std::string& name, const std::string& content) const {
    std::ofstream(path(name), std::ios::binary) << content;
  }

  std::string content(const std::string& name) const {
    std::ifstream file(path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  std::size_t file_count() const {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(folder_), fs::directory_iterator()));
  }

 private:
  fs::path folder_;
};

/// What `body` throws as Error; empty when it throws nothing.
template <class Error, class Body>
std::string message_of(Body&& body) {
  try {
    body();
  } catch (const Error& error) {
    return error.what();
  }
  return "";
}
