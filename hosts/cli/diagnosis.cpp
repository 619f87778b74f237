#include "diagnosis.h"

#include "program.h"

#include <fmt/format.h>

namespace fmcw_cli {
namespace {

/// As a shell takes it for one word.
std::string quoted(const std::string& word) {
  constexpr const char* plain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_./,:=+%@";
  if (!word.empty() && word.find_first_not_of(plain) == std::string::npos) {
    return word;
  }
  std::string text = "'";
  for (const char c : word) {
    text += c == '\'' ? std::string("'\\''") : std::string(1, c);
  }
  return text + "'";
}

}  // namespace

std::string command_text(const capture_call_t& capture, const std::string& change) {
  const auto& options = capture.options;
  std::string text = "fmcw analyze " + quoted(capture.path);
  const auto add = [&](const char* name, const std::string& value) {
    if (!value.empty() && !change.starts_with(name)) {
      text += fmt::format(" {} {}", name, quoted(value));
    }
  };
  const auto number = [](const std::optional<double>& value) {
    return value ? fmt::format("{}", *value) : std::string();
  };
  add("--fs", number(options.sample_rate));
  add("--format", options.format);
  add("--centre", number(options.centre));
  add("--full-scale", number(options.full_scale));
  add("--from", options.from);
  add("--for", options.duration);
  return text + " " + change;
}

std::optional<orn::fmcw_host::diagnosis_t> examine(
    const measurement_t& measurement, const orn::fmcw_host::recording_totals_t& totals,
    std::uint64_t chirp_count, const std::function<void(const std::string&)>& remark) {
  using orn::fmcw_host::data_look_t;
  const auto& info = measurement.recording.info();
  const data_look_t look = orn::fmcw_host::look_at_recording(measurement.recording);
  if (chirp_count == 0) {
    return orn::fmcw_host::diagnose(info, totals, measurement.settings, measurement.is_proposed,
                                    look);
  }
  if (look.kind != data_look_t::ordinary) {
    remark(look_sentence(info, look) + "; are these chirps?");
  }
  return std::nullopt;
}

void tell_diagnosis(const orn::fmcw_host::diagnosis_t& diagnosis, const capture_call_t& capture) {
  tell(("no chirps: " + diagnosis.sentence).c_str());
  tell(diagnosis.counts.c_str());
  if (!diagnosis.change.empty()) {
    tell(("try: " + command_text(capture, diagnosis.change)).c_str());
  }
}

}  // namespace fmcw_cli
