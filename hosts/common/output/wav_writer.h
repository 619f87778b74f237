#pragma once

#include "common/capture/datatype.h"

#include <cstddef>
#include <memory>
#include <ostream>
#include <span>
#include <string>

namespace orn::fmcw_host {

/// Writes the head of a WAV file of two channels around samples in one of its formats; above 4 GiB
/// it becomes RF64.
class wav_writer_t {
 public:
  /// out   can be sought
  /// path  for messages
  /// Throws input_error_t when WAV cannot hold the datatype or the rate (a whole number of Hz).
  wav_writer_t(std::ostream& out, const std::string& path, const datatype_t& type,
               double sample_rate);
  wav_writer_t(const wav_writer_t&) = delete;
  wav_writer_t& operator=(const wav_writer_t&) = delete;
  ~wav_writer_t();

  /// bytes  whole samples. Throws run_error_t.
  void write(std::span<const std::byte> bytes);

  /// Writes the head's final lengths. Throws run_error_t.
  void finish();

 private:
  struct state_t;
  std::unique_ptr<state_t> state_;
};

}  // namespace orn::fmcw_host
