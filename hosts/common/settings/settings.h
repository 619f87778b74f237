#pragma once

#include <fmcw_demod/configure_manager.h>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace orn::fmcw_host {

using manager_t = fmcw_demod_lib::fmcw_demod_configure_manager_t;

/// How the chirps of a recording are searched for.
enum class search_t : std::uint8_t {
  automatic,  ///< in spans, with limits that suit the recording
  spans,      ///< in spans, with the limits as they stand
  frames      ///< in the library's own frames, as the time settings lay them out
};

/// Everything that steers the analysis of a recording: the library's settings and what this side
/// adds to them.
struct settings_t {
  manager_t manager;
  search_t search = search_t::automatic;

  /// The library is told a rate of 2^n times the recording's and its figures are scaled back, which
  /// is exact. It lifts slow chirps above the library's fixed dead zone of 100 Hz/s per sample.
  std::uint32_t rate_doublings = 0;

  /// Settings that somebody asked for, with who did: a file's name or "--set". A value in a file
  /// that equals the default asks for nothing.
  std::map<std::string, std::string, std::less<>> given;

  bool is_given(std::string_view name) const { return given.contains(name); }
};

/// Settings as a user gave them: a file, then assignments, which win.
struct settings_source_t {
  std::string file;                      ///< a profile, or empty
  std::vector<std::string> assignments;  ///< "name=value", values with or without units
};

/// Reads a source over the settings in place. Returns notes, a line each: settings that a limit
/// moved away from what was asked for, and ones that enter no figure.
///
/// Where no search was asked for, it follows from what was: frames when a setting that lays out
/// frames is given, else spans when a limit of the chirps' length is, else automatic.
///
/// Throws input_error_t naming the setting, its value, unit, range and an example; the nearest name
/// of an unknown one; line and column of what is no JSON; and for a setting given twice.
std::vector<std::string> apply_settings(const settings_source_t& source, settings_t& settings);

/// Puts chosen values under what was given: an assignment whose setting was asked for is left out.
/// Returns the assignments that took effect.
std::vector<std::string> propose_settings(const std::vector<std::string>& assignments,
                                          settings_t& settings);

}  // namespace orn::fmcw_host
