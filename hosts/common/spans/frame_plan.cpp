#include "common/spans/frame_plan.h"

#include <limits>

namespace orn::fmcw_host {
namespace {

constexpr double rate_epsilon = std::numeric_limits<float>::epsilon();
constexpr std::uint64_t most_frames = std::numeric_limits<std::uint32_t>::max();

}  // namespace

frame_plan_t plan_frames(const settings_t& settings, std::uint64_t sample_count) {
  const auto record = settings.manager.get_demod_config();
  const auto& advanced = record.advanced;
  const double rate = static_cast<float>(record.fs);  // the stream's, in single precision
  double duration = static_cast<float>(sample_count) / (rate_epsilon + rate);
  auto analysed = static_cast<double>(sample_count);
  if (advanced.time_auto_mode != fmcw_demod_lib::fmcw_auto_detect_t::whole_capture) {
    duration = duration >= advanced.meas_time ? advanced.meas_time : duration;
    analysed = static_cast<double>(static_cast<std::uint64_t>(rate * duration));
  }
  frame_plan_t plan;
  plan.start = static_cast<std::uint64_t>(advanced.from_start * analysed);
  plan.end = static_cast<std::uint64_t>(analysed * (1.0 - advanced.from_end));
  if (plan.start >= plan.end) {
    plan.end = plan.start;
    return plan;
  }
  const double frame_samples = record.fs * advanced.time_gate_len;
  const double frames =
      ((1.0 - advanced.from_end) - advanced.from_start) * duration / advanced.time_gate_len;
  if (frames < 1.0) {
    plan.length = plan.end - plan.start;
    plan.count = 1;
    return plan;
  }
  // A frame is a sample shorter than its duration; one of less than two samples has no slope.
  if (frame_samples < 3.0 || !(frames <= static_cast<double>(most_frames))) {
    throw input_error_t(
        "time_gate_len cannot be {} s at {} Hz: that is {:.3g} frames of {:.3g} samples; allowed "
        "are frames of 3 samples up and at most {} of them",
        advanced.time_gate_len, record.fs, frames, frame_samples, most_frames);
  }
  plan.length = static_cast<std::uint64_t>(frame_samples) - 1;
  plan.count = static_cast<std::uint64_t>(frames);
  return plan;
}

fmcw_demod_lib::fmcw_advanced_config_t one_frame(const fmcw_demod_lib::fmcw_demod_config_t& record,
                                                 std::uint64_t sample_count) {
  fmcw_demod_lib::fmcw_advanced_config_t advanced = record.advanced;
  advanced.time_auto_mode = fmcw_demod_lib::fmcw_auto_detect_t::whole_capture;
  advanced.from_start = 0.0;
  advanced.from_end = 0.0;
  advanced.time_gate_len = 2.0 * static_cast<double>(sample_count) / record.fs;
  return advanced;
}

run_error_t no_span_error(const settings_t& settings, std::uint64_t sample_count) {
  const manager_t& manager = settings.manager;
  return run_error_t(
      "the settings leave no span to analyse: from_start {}, from_end {}, meas_time {} s, "
      "time_gate_len {} s, {} samples at {} Hz",
      manager.get_from_start(), manager.get_from_end(), manager.get_meas_time(),
      manager.get_time_gate_len(), sample_count, manager.get_fs());
}

}  // namespace orn::fmcw_host
