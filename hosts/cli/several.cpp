#include "several.h"

#include "common/output/text.h"
#include "diagnosis.h"
#include "errors.h"
#include "in_order.h"
#include "program.h"
#include "table.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <iostream>
#include <optional>
#include <sstream>
#include <utility>
#include <variant>
#include <vector>

namespace fmcw_cli {
namespace {

using namespace orn::fmcw_host;

/// Longest capture that one thread analyses on its own: as many samples as two spans own.
constexpr std::uint64_t longest_small = std::uint64_t{1} << 22U;

/// A capture that was opened and, where it is small, analysed.
struct opened_capture_t {
  std::string name;
  std::vector<std::string> notes;
  std::optional<recording_t> recording;      ///< of one that is not small
  std::optional<measurement_t> measurement;  ///< of a small one
  std::vector<std::variant<chirp_t, change_t>> rows;
  recording_totals_t totals;
  std::exception_ptr failure;
};

void prepare(const several_call_t& call, recording_t recording, opened_capture_t& capture) {
  std::vector<std::string> notes;
  capture.measurement.emplace(
      open_measurement(std::move(recording), call.settings, call.condition, notes));
  look_for_settings(*capture.measurement);
  capture.notes.insert(capture.notes.end(), notes.begin(), notes.end());
  if (capture.measurement->is_proposed) {
    capture.notes.push_back(proposal_text(capture.measurement->proposal));
  }
}

opened_capture_t open_capture(const several_call_t& call, const std::string& name) noexcept {
  opened_capture_t capture;
  try {
    capture.name = name;
    recording_t recording = recording_t::open(name, call.reading);
    capture.notes = recording.info().notes;
    if (recording.info().sample_count.value_or(longest_small + 1) > longest_small) {
      capture.recording.emplace(std::move(recording));
      return capture;
    }
    prepare(call, std::move(recording), capture);
    capture.totals =
        call.run(*capture.measurement, 1,
                 {.on_chirp = [&](const chirp_t& chirp) { capture.rows.emplace_back(chirp); },
                  .on_change = [&](const change_t& change) { capture.rows.emplace_back(change); }},
                 false);
  } catch (...) {
    capture.failure = std::current_exception();
  }
  return capture;
}

/// What is said of several captures names the one it is about.
void tell_of(const std::string& name, const std::string& text) {
  tell((text.starts_with(name) ? text : name + ": " + text).c_str());
}

class table_of_captures_t {
 public:
  table_of_captures_t(const several_call_t& call, outputs_t& outputs, bool has_limits)
      : call_(call),
        outputs_(outputs),
        summary_(head(has_limits), table_t::left),
        has_limits_(has_limits) {}

  void take(opened_capture_t capture) {
    int status = 0;
    try {
      status = analyze(capture);
    } catch (const input_error& error) {
      status = fail(capture.name, error.what(), wrong_call);
    } catch (const std::exception& error) {
      status = fail(capture.name, error.what(), run_failed);
    }
    status_ = std::max(status_, status);
  }

  int finish() {
    outputs_.finish();
    outputs_.commit(nullptr);
    return status_;
  }

  void print(std::ostream& out) { out << verdicts_.str() << '\n' << summary_; }

 private:
  static std::vector<std::string> head(bool has_limits) {
    std::vector<std::string> names = {"capture", "chirps", "outcome"};
    if (has_limits) {
      names.emplace_back("verdict");
    }
    return names;
  }

  /// Passes on what an output throws, past the capture that it is not the fault of.
  template <class Body>
  void to_outputs(Body body) {
    try {
      body();
    } catch (...) {
      output_failure_ = std::current_exception();
      throw;
    }
  }

  int analyze(opened_capture_t& capture) {
    for (const std::string& note : std::exchange(capture.notes, {})) {
      tell_of(capture.name, note);
    }
    if (capture.failure) {
      std::rethrow_exception(capture.failure);
    }
    const auto add = [&](const auto& row) { to_outputs([&] { outputs_.add(row); }); };
    const bool is_long = capture.recording.has_value();
    if (is_long) {
      prepare(call_, std::move(*capture.recording), capture);
      for (const std::string& note : capture.notes) {
        tell_of(capture.name, note);
      }
    }
    measurement_t& measurement = *capture.measurement;
    to_outputs([&] { call_.check_files(measurement.recording); });
    outputs_.begin(measurement);
    if (is_long) {
      capture.totals =
          call_.run(measurement, call_.jobs, {.on_chirp = add, .on_change = add}, true);
    }
    for (const auto& row : capture.rows) {
      std::visit(add, row);
    }
    const double impedance = measurement.settings.manager.get_demod_config().impedance;
    const auto diagnosis = examine(measurement, capture.totals, outputs_.summary().chirp_count(),
                                   [&](const std::string& text) { tell_of(capture.name, text); });
    if (diagnosis) {
      tell_of(capture.name, "no chirps: " + diagnosis->sentence);
    }
    outputs_.end(capture.totals, impedance, diagnosis ? &*diagnosis : nullptr);
    to_outputs([&] { outputs_.commit_annotations(); });
    call_.tell_totals(measurement, capture.totals);
    return conclude(capture.name);
  }

  int conclude(const std::string& name) {
    const std::uint64_t count = outputs_.summary().chirp_count();
    const verdict_t verdict = outputs_.judge().verdict();
    std::ostringstream text;
    outputs_.print_verdicts(text);
    if (!text.str().empty()) {
      verdicts_ << '\n' << printable(name) << text.str();
    }
    add_summary(name, std::to_string(count), count == 0 ? "no chirps" : "done",
                verdict == verdict_t::none ? "-" : std::string(name_of(verdict)));
    const int status = verdict == verdict_t::fail ? limit_failed : 0;
    return count == 0 ? no_chirps : status;
  }

  int fail(const std::string& name, const std::string& error, int status) {
    if (output_failure_) {
      outputs_.drop();
      std::rethrow_exception(output_failure_);
    }
    tell_of(name, error);
    outputs_.fail(name, error);
    add_summary(name, "-", "error", "-");
    return status;
  }

  void add_summary(const std::string& name, std::string chirps, std::string outcome,
                   std::string verdict) {
    std::vector<std::string> row = {printable(name), std::move(chirps), std::move(outcome)};
    if (has_limits_) {
      row.push_back(std::move(verdict));
    }
    summary_.add(std::move(row));
  }

  const several_call_t& call_;
  outputs_t& outputs_;
  table_t summary_;
  bool has_limits_;
  std::ostringstream verdicts_;
  int status_ = 0;
  std::exception_ptr output_failure_;
};

}  // namespace

int analyze_several(const several_call_t& call, outputs_t& outputs) {
  table_of_captures_t table(call, outputs, outputs.has_limits());
  for_each_in_order<opened_capture_t>(
      call.names.size(), call.jobs,
      [&](std::size_t i) { return open_capture(call, call.names[i]); },
      [&](opened_capture_t capture) { table.take(std::move(capture)); });
  const int status = table.finish();
  if (outputs.has_table()) {
    table.print(std::cout);
  }
  return status;
}

}  // namespace fmcw_cli
