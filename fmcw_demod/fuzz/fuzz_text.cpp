#include <fmcw_demod/fmcw_demod.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

#include <fuzz/input.h>

/// Texts of records that no analysis would make.
namespace orn::fmcw_demod_lib {
namespace {

using fuzz::require;

std::vector<float> any_vector(fuzz::input_t& input) {
  std::vector<float> values(input.raw<std::uint8_t>() % 16);
  for (float& value : values) {
    value = input.number<float>();
  }
  return values;
}

fmcw_chirp_result_t any_chirp(fuzz::input_t& input) {
  fmcw_chirp_result_t c;
  c.chirp_id = input.raw<std::uint32_t>();
  c.chirp_no = input.raw<std::uint32_t>();
  for (double* figure :
       {&c.start_time, &c.stop_time, &c.length, &c.switching_time, &c.slope, &c.slope_dev_peak,
        &c.bandwidth, &c.freq_avg, &c.inl_peak, &c.fm_settling_point, &c.power_avg}) {
    *figure = input.number<double>();
  }
  return c;
}

fmcw_measure_result_t any_result(fuzz::input_t& input) {
  fmcw_measure_result_t r;
  r.chirp_results.resize(input.below(8));
  for (auto& chirp : r.chirp_results) {
    chirp = any_chirp(input);
  }
  for (auto* trace : {&r.time_axis, &r.instantaneous_freq, &r.instantaneous_phase, &r.psd_freq,
                      &r.spectrogram_time_axis, &r.frame_power, &r.chirp_phi_dev}) {
    *trace = any_vector(input);
  }
  for (auto* rows : {&r.spectrogram, &r.spectrogram_wincfg}) {
    rows->resize(input.below(4));
    for (auto& row : *rows) {
      row = any_vector(input);  // of its own length each
    }
  }
  r.power_avg = input.number<float>();
  return r;
}

/// What `print` writes, with the stream's formatting as it was found.
template <class Print>
std::string text_of(fuzz::input_t input, Print print) {
  std::ostringstream out;
  out << std::setprecision(static_cast<int>(input.below(40)));
  out.flags(static_cast<std::ios_base::fmtflags>(input.raw<std::uint16_t>()) &
            (std::ios_base::floatfield | std::ios_base::showpos | std::ios_base::basefield));
  const auto flags = out.flags();
  const auto precision = out.precision();
  print(out);
  require(out.good() && out.flags() == flags && out.precision() == precision && out.width() == 0,
          "the stream's formatting stays");
  return out.str();
}

long lines_of(const std::string& text) { return std::count(text.begin(), text.end(), '\n'); }

void run(fuzz::input_t& input) {
  const fuzz::input_t formatting = input;
  const fmcw_chirp_result_t chirp = any_chirp(input);
  const fmcw_measure_result_t result = any_result(input);
  const auto count = input.raw<std::uint64_t>();

  const auto print_chirp = [&](std::ostream& out) { out << chirp; };
  const auto print_result = [&](std::ostream& out) { out << result; };
  require(lines_of(text_of(formatting, print_chirp)) == 12, "a chirp has twelve lines");
  require(text_of(formatting, print_result) == text_of(formatting, print_result),
          "a result has one text");
  require(lines_of(text_of(formatting,
                           [&](std::ostream& out) {
                             print_vector_summary(out, result.time_axis, "time", count);
                           })) == 1,
          "a trace has one line");
  require(lines_of(text_of(formatting,
                           [&](std::ostream& out) {
                             print_spectrogram_summary(out, result.spectrogram, "levels");
                           })) == 1,
          "a spectrogram has one line");
}

}  // namespace
}  // namespace orn::fmcw_demod_lib

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  orn::fuzz::input_t input(data, size);
  orn::fmcw_demod_lib::run(input);
  return 0;
}
