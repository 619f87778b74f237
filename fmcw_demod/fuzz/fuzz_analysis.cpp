#include "digest.h"

#include <fmcw_demod/fmcw_demod.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

#include <fuzz/capture.h>
#include <fuzz/input.h>
#include <fuzz/targets.h>

/// One analyzer, configured anew for every capture, and one record for all results.
namespace orn::fmcw_demod_lib {
namespace {

using fuzz::require;

constexpr std::uint32_t most_frames = 1000;

std::uint64_t digest_of(const fmcw_measure_result_t& result) {
  digest_t digest;
  digest.add(result);
  return digest.value();
}

/// What the caller handed over, to the byte.
struct snapshot_t {
  explicit snapshot_t(const SignalStream& stream, const fmcw_demod_config_t& record)
      : samples(stream.samples.size() * sizeof(sample_t)), settings(sizeof record) {
    std::copy_n(reinterpret_cast<const std::uint8_t*>(stream.samples.data()), samples.size(),
                samples.begin());
    std::memcpy(settings.data(), &record, sizeof record);
  }
  friend bool operator==(const snapshot_t&, const snapshot_t&) = default;

  std::vector<std::uint8_t> samples;
  std::vector<std::uint8_t> settings;
};

void require_intervals(const fmcw_measure_result_t& r, std::size_t count, bool ordered) {
  for (const auto& [first, last] : r.chirp_intervals) {
    require(first < last && last < count, "a chirp lies inside the capture");
  }
  require(!ordered || std::is_sorted(r.chirp_intervals.begin(), r.chirp_intervals.end()),
          "chirps are in capture order");
  for (const interval_t& selected : r.selected_intervals) {
    require(std::find(r.chirp_intervals.begin(), r.chirp_intervals.end(), selected) !=
                r.chirp_intervals.end(),
            "a selected chirp is a measured one");
  }
  for (const auto& [first, last] : r.stable_intervals) {
    require(first <= last && last < count, "a stable interval lies inside the capture");
  }
  require(r.stable_intervals.size() <= r.selected_intervals.size(), "stable ones are selected");
}

void require_spectrogram(const fmcw_measure_result_t& r, const fmcw_window_config_t& window,
                         std::size_t count) {
  const bool fits = window.window_overlap < window.window_length && count >= window.window_length;
  const std::size_t rows =
      fits ? (count - window.window_length) / (window.window_length - window.window_overlap) : 0;
  require(r.spectrogram_wincfg.size() == rows, "rows of the spectrogram");
  require(r.spectrogram_time_axis_wincfg.size() == rows, "a time for each row");
  require(r.spectrogram_freq_axis_wincfg.size() == (rows == 0 ? 0 : window.window_length),
          "a frequency for each level");
  for (const auto& row : r.spectrogram_wincfg) {
    require(row.size() == window.window_length, "levels of a row");
  }
}

void require_lengths(const fmcw_measure_result_t& r, std::size_t count) {
  for (const auto* trace :
       {&r.time_axis, &r.instantaneous_freq, &r.instantaneous_power, &r.spectrogram_phase_inst}) {
    require(trace->size() == count, "a trace has one element per sample");
  }
  require(r.chirp_results.size() == r.chirp_total, "chirps as counted");
  require(r.chirp_results.size() == r.chirp_intervals.size(), "an interval for each chirp");
  for (std::size_t i = 0; i < r.chirp_results.size(); ++i) {
    require(r.chirp_results[i].chirp_id == i + 1, "chirps are numbered from 1");
  }
  require(r.summary_valid == 1 && r.chirps_valid == 1, "marked as valid");
  require(r.frame_power.size() == r.frame_time_axis.size(), "frame traces pair up");
  require(r.chirp_power.size() == r.chirp_time_axis.size(), "chirp traces pair up");
  require(r.chirp_phi_dev.size() == r.chirp_phi_dev_time_axis.size() &&
              r.chirp_freq_dev.size() == r.chirp_freq_dev_time_axis.size(),
          "deviation traces pair up");
  require(r.chirp_phi_fit.size() == r.chirp_freq_fit.size(), "fits pair up");
}

/// Analyses on every instruction set, each time into a copy of the same record.
void analyse(void* handle, const SignalStream& stream, const fmcw_demod_config_t& record,
             bool ordered, fmcw_measure_result_t& reused) {
  const fmcw_measure_result_t before = reused;
  std::optional<std::uint64_t> first;
  fuzz::on_every_target([&] {
    reused = before;
    ErrorMsg error{-7, "before"};
    const int code = work_fmcw_analyzer(handle, stream, &reused, &error);
    require(code == (stream.samples.empty() ? -101 : 0), "only an empty capture is refused");
    require(error.code == code && error.message.empty() == (code == 0), "the error says the same");
    const std::uint64_t digest = digest_of(reused);
    require(digest == first.value_or(digest), "every run gives the same bits");
    first = digest;
  });
  if (stream.samples.empty()) {
    require(digest_of(reused) == digest_of(before), "a refused call leaves the record");
  } else if (reused.summary_valid == 0) {
    require(digest_of(reused) == digest_of({}), "a capture that does not fit resets the record");
  } else {
    require_lengths(reused, stream.samples.size());
    require_spectrogram(reused, record.advanced.window, stream.samples.size());
    require_intervals(reused, stream.samples.size(), ordered);
  }
}

/// Frames and measured parts move forward only where neither wraps nor grows.
bool moves_forward(const fmcw_demod_config_t& record, const fmcw_analysis_range_t& plan) {
  const double exclude = record.advanced.analysis_exclude;
  return plan.frame_length < 1U << 20 &&
         (record.advanced.st_config == fmcw_st_config_t::slope_band || exclude >= 0.0);
}

void one_shot(const SignalStream& stream, const fmcw_demod_config_t& record,
              const fmcw_measure_result_t& by_handle) {
  fmcw_measure_result_t result;
  DLL_fmcw_analysis(&record, stream, &result, nullptr);
  require(digest_of(result) == digest_of(by_handle), "one shot gives what a new analyzer gives");
}

void run(fuzz::input_t& input) {
  void* handle = nullptr;
  create_fmcw_analyzer(&handle, nullptr);
  fmcw_measure_result_t result;
  bool ordered = true;  // of the plan in force, which equal settings keep
  const std::size_t captures = 1 + input.below(3);
  for (std::size_t i = 0; i < captures; ++i) {
    fmcw_demod_config_t record = fuzz::any_settings(input);
    SignalStream stream{fuzz::any_capture(input), input.one_in(4) ? input.number<float>() : 125e6F};
    if (FMCWConfig(record, &stream.samples, stream.fs).analysis_range.frame_count > most_frames) {
      record.advanced.time_gate_len = 0.0;  // one frame
    }
    ordered = ordered &&
              moves_forward(record, FMCWConfig(record, &stream.samples, stream.fs).analysis_range);
    const snapshot_t before(stream, record);
    require(config_fmcw_analyzer(handle, stream, &record, nullptr) == 0, "any record is accepted");
    analyse(handle, stream, record, ordered, result);
    require(snapshot_t(stream, record) == before, "record and samples are the caller's");
    if (i == 0) {
      one_shot(stream, record, result);
    }
  }
  destroy_fmcw_analyzer(&handle);
}

}  // namespace
}  // namespace orn::fmcw_demod_lib

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  orn::fuzz::input_t input(data, size);
  orn::fmcw_demod_lib::run(input);
  return 0;
}
