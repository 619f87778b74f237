#include <float_environment/default_environment.h>
#include <fmcw_demod/report.h>

#include <algorithm>
#include <cstddef>

namespace orn::fmcw_demod_lib {
namespace {

// The formatting of a number depends on the rounding mode.
using float_environment::in_default_environment;

constexpr std::size_t shown_chirps = 5;
constexpr unsigned long long shown_elements = 5;

/// Average, RMS and peak of one kind of deviation.
struct deviations_t {
  double avg, rms, peak;
};

std::ostream& operator<<(std::ostream& os, const deviations_t& d) {
  return os << "avg = " << d.avg << ", rms = " << d.rms << ", peak = " << d.peak;
}

struct settling_t {
  double point, time, length;
};

std::ostream& operator<<(std::ostream& os, const settling_t& s) {
  return os << "point = " << s.point << " s, time = " << s.time << " s, length = " << s.length
            << " s\n";
}

void print_chirps(std::ostream& os, const std::vector<fmcw_chirp_result_t>& chirps) {
  os << "  Chirp Results (" << static_cast<unsigned long long>(chirps.size()) << " entries):\n";
  if (chirps.empty()) {
    os << "    (none)\n";
  }
  const std::size_t shown = std::min(chirps.size(), shown_chirps);
  for (std::size_t i = 0; i < shown; ++i) {
    os << chirps[i] << (i + 1 < shown ? "\n" : "");
  }
  if (chirps.size() > shown) {
    os << "    ... and " << static_cast<unsigned long long>(chirps.size() - shown)
       << " more chirps\n";
  }
}

void print_trace(std::ostream& os, const std::vector<float>& trace, const char* name) {
  print_vector_summary(os, trace, name, shown_elements);
}

}  // namespace

std::ostream& operator<<(std::ostream& os, const fmcw_chirp_result_t& c) {
  in_default_environment([&] {
    os << "  Chirp #" << c.chirp_id << " (No." << c.chirp_no << "):\n"
       << "    Time: [" << c.start_time << ", " << c.stop_time << "] s, length = " << c.length
       << " s\n"
       << "    Switching time = " << c.switching_time << " s\n"
       << "    Slope = " << c.slope << " kHz/μs, Bandwidth = " << c.bandwidth << " Hz\n"
       << "    Slope deviation: "
       << deviations_t{c.slope_dev_avg, c.slope_dev_rms, c.slope_dev_peak} << " kHz/μs\n"
       << "    Frequency avg = " << c.freq_avg << " Hz\n"
       << "    Frequency deviation: "
       << deviations_t{c.freq_dev_avg, c.freq_dev_rms, c.freq_dev_peak} << " Hz\n"
       << "    Phase deviation: "
       << deviations_t{c.phase_dev_avg, c.phase_dev_rms, c.phase_dev_peak} << " rad\n"
       << "    INL: " << deviations_t{c.inl_avg, c.inl_rms, c.inl_peak} << '\n'
       << "    FM settling: "
       << settling_t{c.fm_settling_point, c.fm_settling_time, c.fm_settling_length}
       << "    PM settling: "
       << settling_t{c.pm_settling_point, c.pm_settling_time, c.pm_settling_length}
       << "    Power: avg = " << c.power_avg << " dBm, peak = " << c.power_peak
       << " dBm, min = " << c.power_min << " dBm, pk-dev = " << c.power_pk_dev << " dB\n";
  });
  return os;
}

template <class T>
void print_vector_summary(std::ostream& os, const std::vector<T>& v, const std::string& name,
                          unsigned long long count) {
  in_default_environment([&] {
    os << "    " << name << " size = " << static_cast<unsigned long long>(v.size());
    if (!v.empty()) {
      const unsigned long long shown = std::min<unsigned long long>(count, v.size());
      os << ", first " << shown << " elements: [";
      for (std::size_t i = 0; i < shown; ++i) {
        os << (i == 0 ? "" : ", ") << static_cast<double>(v[i]);
      }
      os << ']';
    }
    os << '\n';
  });
}

template void print_vector_summary<float>(std::ostream&, const std::vector<float>&,
                                          const std::string&, unsigned long long);

void print_spectrogram_summary(std::ostream& os, const std::vector<std::vector<float>>& s,
                               const std::string& name) {
  in_default_environment([&] {
    const std::size_t columns = s.empty() ? 0 : s.front().size();
    os << "    " << name << " size = " << static_cast<unsigned long long>(s.size()) << " x "
       << static_cast<unsigned long long>(columns) << " (time × freq)";
    if (columns != 0) {
      float lowest = s.front().front();
      float highest = lowest;
      for (const auto& row : s) {
        for (const float level : row) {
          lowest = level < lowest ? level : lowest;
          highest = level > highest ? level : highest;
        }
      }
      os << ", range [" << static_cast<double>(lowest) << ", " << static_cast<double>(highest)
         << "] dB";
    }
    os << '\n';
  });
}

std::ostream& operator<<(std::ostream& os, const fmcw_measure_result_t& r) {
  in_default_environment([&] {
    os << "========== FMCW Measurement Result ==========\n";
    print_chirps(os, r.chirp_results);
    os << "  Time-series data:\n";
    print_trace(os, r.time_axis, "time_axis");
    print_trace(os, r.instantaneous_freq, "instantaneous_freq");
    print_trace(os, r.instantaneous_power, "instantaneous_power");
    print_trace(os, r.instantaneous_phase, "instantaneous_phase");
    os << "  Spectrogram (window 256):\n";
    print_spectrogram_summary(os, r.spectrogram, "spectrogram");
    print_trace(os, r.spectrogram_freq_axis, "spectrogram_freq_axis");
    print_trace(os, r.spectrogram_time_axis, "spectrogram_time_axis");
    print_trace(os, r.spectrogram_peak_freq, "spectrogram_peak_freq");
    print_trace(os, r.spectrogram_phase_inst, "spectrogram_phase_inst");
    os << "  Spectrogram (window 64):\n";
    print_spectrogram_summary(os, r.spectrogram_wincfg, "spectrogram_wincfg");
    print_trace(os, r.spectrogram_freq_axis_wincfg, "spectrogram_freq_axis_wincfg");
    print_trace(os, r.spectrogram_time_axis_wincfg, "spectrogram_time_axis_wincfg");
    os << "  Power Spectral Density:\n";
    print_trace(os, r.psd_freq, "psd_freq");
    print_trace(os, r.psd_magnitude_dB, "psd_magnitude_dB");
    os << "  singal frame time domain:\n";
    print_trace(os, r.frame_power, "frame_power");
    print_trace(os, r.frame_time_axis, "frame_time_axis");
    os << "  singal chirp time domain:\n";
    print_trace(os, r.chirp_power, "chirp_power");
    print_trace(os, r.chirp_time_axis, "chirp_time_axis");
    os << "  singal chirp phase_dev :\n";
    print_trace(os, r.chirp_phi_dev, "chirp_phi_dev");
    print_trace(os, r.chirp_phi_dev_time_axis, "chirp_phi_dev_time_axis");
    os << "  singal chirp freq_dev:\n";
    print_trace(os, r.chirp_freq_dev, "chirp_freq_dev");
    print_trace(os, r.chirp_freq_dev_time_axis, "chirp_freq_dev_time_axis");
    os << "=============================================\n";
  });
  return os;
}

}  // namespace orn::fmcw_demod_lib
