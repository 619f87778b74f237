#pragma once

#include <fmcw_demod/fmcw_demod.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace fmcw_cli {

/// One chirp that a capture's description promises.
struct chirp_truth_t {
  std::uint64_t sample_start = 0;
  std::uint64_t sample_count = 0;
  double start = 0.0;       ///< [s]
  double length = 0.0;      ///< [s]
  double slope = 0.0;       ///< [Hz/s], negative when falling
  double freq_lower = 0.0;  ///< [Hz]
  double freq_upper = 0.0;  ///< [Hz]
  double power = 0.0;       ///< mean over the chirp [dBm]
};

struct capture_t {
  std::string name;  ///< as the user gave it
  std::string datatype;
  double sample_rate = 0.0;  ///< [Hz]
  orn::fmcw_demod_lib::SignalStream signal;
  std::vector<chirp_truth_t> truth;  ///< from the annotations of a synthetic capture
};

/// How raw samples are to be read; what is not set was not given.
struct raw_format_t {
  std::optional<double> sample_rate;  ///< [Hz]
  std::optional<std::string> datatype;
};

/// Sample formats that can be read, for messages.
std::string datatype_names();

/// Reads a SigMF recording (named by either of its files or by their common stem) or, when a raw
/// format is given, a file of interleaved samples. Integers scale to +-1. Throws input_error.
capture_t read_capture(const std::string& path, const raw_format_t& raw);

/// Writes samples and truth as a SigMF recording, STEM.sigmf-meta and STEM.sigmf-data. Throws
/// input_error or run_error; then neither file appears.
void write_sigmf(const std::string& stem, const std::vector<orn::fmcw_demod_lib::sample_t>& samples,
                 double sample_rate, const std::vector<chirp_truth_t>& truth,
                 const std::string& description);

/// `path` without a SigMF file ending.
std::string sigmf_stem(const std::string& path);

}  // namespace fmcw_cli
