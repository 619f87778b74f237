#include <fmcw_demod/fmcw_demod.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include <fuzz/input.h>

/// Any sequence of calls leaves the settings object with its promises kept.
namespace orn::fmcw_demod_lib {
namespace {

using fuzz::require;
using manager_t = fmcw_demod_configure_manager_t;

template <class T>
T any(fuzz::input_t& input) {
  if constexpr (std::is_same_v<T, fmcw_chirp_config_t>) {
    const auto ref_slope = input.number<double>();
    const auto slope_tol = input.number<double>();
    return {ref_slope, slope_tol, input.raw<std::int32_t>()};
  } else if constexpr (std::is_same_v<T, bool>) {
    return input.one_in(2);
  } else if constexpr (std::is_floating_point_v<T>) {
    return input.number<T>();
  } else {
    return static_cast<T>(input.one_in(2) ? input.raw<std::uint8_t>() % 4U
                                          : input.raw<std::uint32_t>());
  }
}

using bytes_t = std::array<std::uint8_t, sizeof(manager_t)>;

bytes_t bytes_of(const manager_t& manager) {
  bytes_t bytes;
  std::memcpy(bytes.data(), &manager, sizeof manager);
  return bytes;
}

/// Calls a setter. One that names a limit may store another value than the one it was given.
template <class Argument, class T>
void set(manager_t& manager, fuzz::input_t& input, bool (manager_t::*setter)(Argument),
         T (manager_t::*getter)() const, bool limited = false) {
  const T value = any<T>(input);
  const bytes_t before = bytes_of(manager);
  if (!(manager.*setter)(value)) {
    require(bytes_of(manager) == before, "a rejected call changes nothing");
  } else if (value == value && !limited) {  // not a NaN
    require((manager.*getter)() == value, "a stored value is there");
  }
}

void call(manager_t& m, fuzz::input_t& input) {
  using M = manager_t;
  switch (input.raw<std::uint8_t>() % 36) {
    // clang-format off
    case 0: return set(m, input, &M::set_signal_mode, &M::get_signal_mode);
    case 1: return set(m, input, &M::set_iq_map, &M::get_iq_map);
    case 2: return set(m, input, &M::set_chirp_detect, &M::get_chirp_detect);
    case 3: return set(m, input, &M::set_chirp_set, &M::get_chirp_set);
    case 4: return set(m, input, &M::set_freq_center, &M::get_freq_center);
    case 5: return set(m, input, &M::set_fs, &M::get_fs);
    case 6: return set(m, input, &M::set_impedance, &M::get_impedance);
    case 7: return set(m, input, &M::set_window_length, &M::get_window_length);
    case 8: return set(m, input, &M::set_window_overlap, &M::get_window_overlap);
    case 9: return set(m, input, &M::set_chirp_start, &M::get_chirp_start);
    case 10: return set(m, input, &M::set_chirp_count, &M::get_chirp_count);
    case 11: return set(m, input, &M::set_chirp_config, &M::get_chirp_config);
    case 12: return set(m, input, &M::set_time_auto_mode, &M::get_time_auto_mode);
    case 13: return set(m, input, &M::set_meas_time, &M::get_meas_time);
    case 14: return set(m, input, &M::set_time_gate_len, &M::get_time_gate_len, true);
    case 15: return set(m, input, &M::set_time_gate_start, &M::get_time_gate_start);
    case 16: return set(m, input, &M::set_min_chirp_len, &M::get_min_chirp_len, true);
    case 17: return set(m, input, &M::set_max_chirp_len, &M::get_max_chirp_len);
    case 18: return set(m, input, &M::set_from_start, &M::get_from_start);
    case 19: return set(m, input, &M::set_from_end, &M::get_from_end, true);
    case 20: return set(m, input, &M::set_st_config, &M::get_st_config);
    case 21: return set(m, input, &M::set_analysis_exclude, &M::get_analysis_exclude);
    case 22: return set(m, input, &M::set_devlength_ref, &M::get_devlength_ref);
    case 23: return set(m, input, &M::set_devlength_len, &M::get_devlength_len);
    case 24: return set(m, input, &M::set_devlength_offset_begin, &M::get_devlength_offset_begin, true);
    case 25: return set(m, input, &M::set_devlength_offset_end, &M::get_devlength_offset_end, true);
    case 26: return set(m, input, &M::set_chirp_state_deviation, &M::get_chirp_state_deviation);
    case 27: return set(m, input, &M::set_fm_settling_tol, &M::get_fm_settling_tol);
    case 28: return set(m, input, &M::set_pm_settling_tol, &M::get_pm_settling_tol);
    case 29: return set(m, input, &M::set_phase_noise_start, &M::get_phase_noise_start);
    case 30: return set(m, input, &M::set_phase_noise_end, &M::get_phase_noise_end);
    case 31: return set(m, input, &M::set_display_region, &M::get_display_region);
    case 32: return set(m, input, &M::set_display_chirpNO, &M::get_display_chirpNO);
    // clang-format on
    case 33:
      return m.enforce_time_limits();
    case 34:
      return m.enforce_devlength_limits();
    case 35:
      m.init();
      {
        manager_t fresh;
        fresh.set_chirp_detect(m.get_chirp_detect());
        fresh.set_chirp_set(m.get_chirp_set());
        require(m == fresh, "init leaves two settings");
      }
      return;
    default:
      return;
  }
}

/// Written so that a NaN, which every setter takes, breaks none.
void require_invariants(const manager_t& m) {
  const fmcw_demod_config_t record = m.get_demod_config();
  const fmcw_advanced_config_t& a = record.advanced;
  require(a.window.window_length >= 2, "a window of two samples");
  require(a.chirp_count >= 1, "a chirp to select");
  require(!(record.fs <= 0.0) && !(record.freq_center <= 0.0), "positive frequencies");
  require(record.impedance == 50.0 || record.impedance == 75.0, "one of two impedances");
  require(!(a.meas_time <= 0.0) && !(a.time_gate_len <= 0.0), "positive durations");
  require(!(a.min_chirp_len < 0.0) && !(a.max_chirp_len < 0.0) && !(a.time_gate_start < 0.0),
          "no negative times");
  for (const double share : {a.from_start, a.from_end, a.analysis_exclude, a.devlength_len}) {
    require(!(share < 0.0) && !(share > 1.0), "a share is one");
  }
  require(!(a.from_start + a.from_end > 1.0), "skipped shares leave something");
  require(!(a.min_chirp_len > a.max_chirp_len), "the limits of a chirp's length");
  require(!(a.time_gate_len > a.meas_time), "a frame within the measured time");
  require(a.devlength_ref != fmcw_devlength_ref_t::absolute ||
              (!(a.devlength_offset_begin < 0.0) && !(a.devlength_offset_end < 0.0)),
          "no negative offsets where they count");
  require(m.is_chirp_index_valid(0) == (a.chirp_start + a.chirp_count != 0), "the sum wraps");
  manager_t same = m;
  require((same == m) != (same != m), "either equal or not");
}

}  // namespace
}  // namespace orn::fmcw_demod_lib

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  orn::fuzz::input_t input(data, size);
  orn::fmcw_demod_lib::fmcw_demod_configure_manager_t manager;
  while (!input.empty()) {
    orn::fmcw_demod_lib::call(manager, input);
    orn::fmcw_demod_lib::require_invariants(manager);
  }
  return 0;
}
