#pragma once

#include <fmcw_demod/fmcw_demod.h>

#include <bit>
#include <cmath>
#include <concepts>
#include <cstdint>
#include <type_traits>
#include <vector>

namespace orn::fmcw_demod_lib {

/// 64-bit FNV-1a hash over the bits of numbers. All NaNs count as one: which of two NaN operands an
/// instruction passes on is nobody's promise.
class digest_t {
 public:
  template <std::floating_point T>
  void add(T value) {
    using bits_t = std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>;
    add(std::isnan(value) ? bits_t{1} : std::bit_cast<bits_t>(value));
  }

  template <std::unsigned_integral T>
  void add(T value) {
    for (unsigned shift = 0; shift < 8 * sizeof(T); shift += 8) {
      value_ = (value_ ^ (static_cast<std::uint64_t>(value) >> shift & 0xffU)) * 0x100000001b3U;
    }
  }

  void add(const interval_t& interval) {
    add(interval.first);
    add(interval.second);
  }

  void add(const fmcw_chirp_result_t& c) {
    add(c.chirp_id);
    add(c.chirp_no);
    for (const double figure : {c.start_time,
                                c.stop_time,
                                c.length,
                                c.switching_time,
                                c.slope,
                                c.slope_dev_mean,
                                c.slope_dev_rms,
                                c.slope_dev_avg,
                                c.slope_dev_peak,
                                c.bandwidth,
                                c.freq_avg,
                                c.freq_dev_peak,
                                c.freq_dev_rms,
                                c.freq_dev_avg,
                                c.phase_dev_peak,
                                c.phase_dev_rms,
                                c.phase_dev_avg,
                                c.inl_avg,
                                c.inl_peak,
                                c.inl_rms,
                                c.fm_settling_point,
                                c.fm_settling_time,
                                c.fm_settling_length,
                                c.pm_settling_point,
                                c.pm_settling_time,
                                c.pm_settling_length,
                                c.power_avg,
                                c.power_peak,
                                c.power_min,
                                c.power_pk_dev}) {
      add(figure);
    }
  }

  template <class T>
  void add(const std::vector<T>& values) {
    add(static_cast<std::uint64_t>(values.size()));
    for (const T& value : values) {
      add(value);
    }
  }

  void add(const fmcw_measure_result_t& r) {
    add(r.chirp_results);
    add(r.chirp_total);
    add(r.chirps_valid);
    add(r.summary_valid);
    for (const float figure : {r.power_avg, r.power_peak, r.first_chirp_start, r.switching_time_std,
                               r.freq_avg, r.summary_slope_tol}) {
      add(figure);
    }
    for (const auto* trace : {&r.time_axis,
                              &r.instantaneous_freq,
                              &r.instantaneous_power,
                              &r.spectrogram_freq_axis,
                              &r.spectrogram_time_axis,
                              &r.spectrogram_peak_freq,
                              &r.spectrogram_phase_inst,
                              &r.spectrogram_freq_axis_wincfg,
                              &r.spectrogram_time_axis_wincfg,
                              &r.psd_freq,
                              &r.psd_magnitude_dB,
                              &r.frame_power,
                              &r.frame_time_axis,
                              &r.chirp_power,
                              &r.chirp_time_axis,
                              &r.chirp_phi_dev,
                              &r.chirp_phi_dev_time_axis,
                              &r.chirp_freq_dev,
                              &r.chirp_freq_dev_time_axis,
                              &r.chirp_freq_fit,
                              &r.chirp_phi_fit}) {
      add(*trace);
    }
    add(r.spectrogram);
    add(r.spectrogram_wincfg);
    add(r.selected_intervals);
    add(r.stable_intervals);
    add(r.chirp_intervals);
  }

  std::uint64_t value() const { return value_; }

 private:
  std::uint64_t value_ = 0xcbf29ce484222325U;
};

}  // namespace orn::fmcw_demod_lib
