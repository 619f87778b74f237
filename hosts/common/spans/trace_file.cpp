#include "common/spans/trace_file.h"

#include "common/errors.h"
#include "common/output/npz_writer.h"
#include "common/settings/setting_table.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace orn::fmcw_host {
namespace {

struct trace_name_t {
  std::string_view name;
  bool trace_choice_t::*wanted;
};

constexpr std::array trace_names = {
    trace_name_t{"frequency", &trace_choice_t::frequency},
    trace_name_t{"power", &trace_choice_t::power},
    trace_name_t{"phase", &trace_choice_t::phase},
    trace_name_t{"spectrogram", &trace_choice_t::spectrogram},
};

void write_spectrogram(npz_writer_t& file, const fmcw_demod_lib::fmcw_measure_result_t& result,
                       double start) {
  std::vector<double> times;
  for (const float time : result.spectrogram_time_axis_wincfg) {
    times.push_back(start + static_cast<double>(time));
  }
  file.array("spectrogram_time_s", times);
  file.array("spectrogram_frequency_hz", result.spectrogram_freq_axis_wincfg);
  const std::array<std::uint64_t, 2> shape = {result.spectrogram_wincfg.size(),
                                              result.spectrogram_freq_axis_wincfg.size()};
  file.begin<float>("spectrogram_db", shape);
  for (const std::vector<float>& row : result.spectrogram_wincfg) {
    file.write(std::span<const float>(row));
  }
}

}  // namespace

trace_choice_t parse_traces(const std::string& text) {
  trace_choice_t choice;
  std::string_view rest = text;
  while (true) {
    const std::string_view name = rest.substr(0, rest.find(','));
    const auto* const found =
        std::find_if(trace_names.begin(), trace_names.end(),
                     [&](const trace_name_t& trace) { return trace.name == name; });
    if (found == trace_names.end()) {
      throw input_error_t(
          "--traces: there is no trace '{}'; allowed are frequency, power, phase, spectrogram, "
          "separated by commas",
          name);
    }
    choice.*(found->wanted) = true;
    if (name.size() == rest.size()) {
      return choice;
    }
    rest.remove_prefix(name.size() + 1);
  }
}

void write_traces(std::ostream& out, const fmcw_demod_lib::fmcw_measure_result_t& result,
                  const trace_choice_t& choice, double start, double rate) {
  npz_writer_t file(out);
  if (choice.frequency || choice.power || choice.phase) {
    std::vector<double> times(result.time_axis.size());
    for (std::size_t i = 0; i < times.size(); ++i) {
      times[i] = start + static_cast<double>(i) / rate;
    }
    file.array("time_s", times);
  }
  if (choice.frequency) {
    file.array("frequency_hz", result.instantaneous_freq);
  }
  if (choice.power) {
    file.array("power_dbm", result.instantaneous_power);
  }
  if (choice.phase) {
    file.array("phase_rad", result.spectrogram_phase_inst);
  }
  if (choice.spectrogram) {
    write_spectrogram(file, result, start);
  }
  file.finish();
}

}  // namespace orn::fmcw_host
