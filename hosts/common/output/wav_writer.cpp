#include "common/output/wav_writer.h"

#include "common/errors.h"

#include <cerrno>
#include <cmath>
#include <exception>
#include <limits>
#include <new>
#include <utility>

#include <sndfile.h>

namespace orn::fmcw_host {
namespace {

/// The stream as the WAV library writes it. What goes wrong waits here until the library, whose
/// frames no exception may cross, has returned.
struct wav_output_t {
  std::ostream& out;
  sf_count_t position = 0;
  sf_count_t size = 0;
  std::exception_ptr failure;
};

wav_output_t& output_of(void* user) { return *static_cast<wav_output_t*>(user); }

sf_count_t length_of(void* user) { return output_of(user).size; }
sf_count_t tell(void* user) { return output_of(user).position; }
sf_count_t read_nothing(void* /*to*/, sf_count_t /*count*/, void* /*user*/) { return 0; }

sf_count_t seek(sf_count_t offset, int whence, void* user) {
  wav_output_t& output = output_of(user);
  const sf_count_t from = whence == SEEK_SET   ? 0
                          : whence == SEEK_CUR ? output.position
                                               : output.size;
  try {
    output.out.seekp(from + offset);
    output.position = from + offset;
  } catch (...) {
    output.failure = std::current_exception();
    return -1;
  }
  return output.position;
}

sf_count_t write_bytes(const void* bytes, sf_count_t count, void* user) {
  wav_output_t& output = output_of(user);
  try {
    output.out.write(static_cast<const char*>(bytes), count);
  } catch (...) {
    output.failure = std::current_exception();
    return 0;
  }
  output.position += count;
  output.size = std::max(output.size, output.position);
  return count;
}

/// 0 where WAV has no such format.
int encoding_of(const datatype_t& type) {
  if (type.name == "cu8") {
    return SF_FORMAT_PCM_U8;
  }
  if (type.name == "ci16_le") {
    return SF_FORMAT_PCM_16;
  }
  if (type.name == "ci32_le") {
    return SF_FORMAT_PCM_32;
  }
  if (type.name == "cf32_le") {
    return SF_FORMAT_FLOAT;
  }
  return type.name == "cf64_le" ? SF_FORMAT_DOUBLE : 0;
}

}  // namespace

struct wav_writer_t::state_t {
  wav_output_t output;
  SNDFILE* handle = nullptr;

  explicit state_t(std::ostream& out) : output{out, 0, 0, nullptr} {}
  state_t(const state_t&) = delete;
  state_t& operator=(const state_t&) = delete;
  ~state_t() { sf_close(handle); }

  void check(bool done) {
    if (output.failure) {
      std::rethrow_exception(std::exchange(output.failure, nullptr));
    }
    if (!done) {
      throw run_error_t("a WAV file cannot be written: {}", sf_strerror(handle));
    }
  }
};

wav_writer_t::wav_writer_t(std::ostream& out, const std::string& path, const datatype_t& type,
                           double sample_rate)
    : state_(std::make_unique<state_t>(out)) {
  const int encoding = encoding_of(type);
  if (encoding == 0) {
    throw input_error_t(
        "{}: WAV cannot hold {}; allowed are cu8, ci16_le, ci32_le, cf32_le, cf64_le", path,
        type.name);
  }
  if (sample_rate != std::floor(sample_rate) || sample_rate > std::numeric_limits<int>::max()) {
    throw input_error_t(
        "{}: WAV cannot hold a sample rate of {} Hz; allowed are whole ones up to {} Hz", path,
        sample_rate, std::numeric_limits<int>::max());
  }
  SF_VIRTUAL_IO calls{length_of, seek, read_nothing, write_bytes, tell};
  SF_INFO info{};
  info.samplerate = static_cast<int>(sample_rate);
  info.channels = 2;
  info.format = SF_FORMAT_RF64 | encoding;
  errno = 0;
  state_->handle = sf_open_virtual(&calls, SFM_WRITE, &info, &state_->output);
  if (state_->handle == nullptr && errno == ENOMEM) {
    throw std::bad_alloc();
  }
  state_->check(state_->handle != nullptr);
  sf_command(state_->handle, SFC_RF64_AUTO_DOWNGRADE, nullptr, SF_TRUE);
  sf_command(state_->handle, SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
}

wav_writer_t::~wav_writer_t() = default;

void wav_writer_t::write(std::span<const std::byte> bytes) {
  const auto count = static_cast<sf_count_t>(bytes.size());
  state_->check(sf_write_raw(state_->handle, bytes.data(), count) == count);
}

void wav_writer_t::finish() {
  const bool closed = sf_close(std::exchange(state_->handle, nullptr)) == 0;
  state_->check(closed);
}

}  // namespace orn::fmcw_host
