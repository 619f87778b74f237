#pragma once

#include "common/capture/sample_store.h"

#include <cstdint>
#include <memory>
#include <string>

namespace orn::fmcw_host {

/// What the head of a WAV file tells.
struct wav_head_t {
  double sample_rate = 0.0;  ///< [Hz]
  std::uint64_t sample_count = 0;
  std::string encoding;             ///< "Signed 16 bit PCM"
  float highest_code = 0.0F;        ///< scaled; 0: floating point, where nothing clips
  std::uint64_t missing_bytes = 0;  ///< promised by the head, but not in the file
};

/// A WAV file whose two channels are I and Q.
class wav_store_t : public sample_store_t {
 public:
  /// Throws input_error_t when the file is no WAV or has not two channels.
  explicit wav_store_t(std::shared_ptr<const input_file_t> file);
  ~wav_store_t() override;

  const wav_head_t& head() const;
  void read(std::size_t segment, std::uint64_t position,
            std::span<fmcw_demod_lib::sample_t> out) const override;

 private:
  struct reader_t;
  std::unique_ptr<reader_t> reader_;
  wav_head_t head_;
};

}  // namespace orn::fmcw_host
