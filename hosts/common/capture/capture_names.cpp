#include "common/capture/capture_names.h"

#include "common/capture/sigmf_description.h"
#include "common/errors.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <memory>
#include <new>
#include <set>
#include <system_error>

#include <glob.h>

namespace orn::fmcw_host {
namespace {

bool is_pattern(const std::string& argument) {
  std::error_code ignored;
  return argument.find_first_of("*?[") != std::string::npos &&
         !std::filesystem::exists(argument, ignored);
}

std::vector<std::string> matches_of(const std::string& pattern) {
  glob_t found{};
  const std::unique_ptr<glob_t, decltype(&::globfree)> guard(&found, ::globfree);
  // NOLINTNEXTLINE(concurrency-mt-unsafe): of threads that change the locale, which none does
  const int outcome = ::glob(pattern.c_str(), 0, nullptr, &found);
  if (outcome == GLOB_NOSPACE) {
    throw std::bad_alloc();
  }
  if (outcome != 0) {
    throw input_error_t("{}: no file matches; allowed are patterns of at least one capture",
                        pattern);
  }
  return {found.gl_pathv, std::next(found.gl_pathv, static_cast<std::ptrdiff_t>(found.gl_pathc))};
}

}  // namespace

capture_names_t expand_captures(const std::vector<std::string>& arguments) {
  capture_names_t captures;
  captures.is_several = arguments.size() > 1;
  for (const std::string& argument : arguments) {
    if (!is_pattern(argument)) {
      captures.names.push_back(argument);
      continue;
    }
    captures.is_several = true;
    const std::vector<std::string> matches = matches_of(argument);
    const std::set<std::string> all(matches.begin(), matches.end());
    std::copy_if(matches.begin(), matches.end(), std::back_inserter(captures.names),
                 [&](const std::string& name) {
                   return !name.ends_with(sigmf_data_ending) ||
                          !all.contains(sigmf_stem(name) + std::string(sigmf_meta_ending));
                 });
  }
  return captures;
}

}  // namespace orn::fmcw_host
