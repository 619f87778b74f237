#include "common/capture/wav_store.h"

#include "common/errors.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <mutex>
#include <new>
#include <span>
#include <utility>

#include <sndfile.h>

namespace orn::fmcw_host {
namespace {

using fmcw_demod_lib::sample_t;

/// The file as the WAV library reads it. What goes wrong waits here until the library, whose frames
/// no exception may cross, has returned.
struct wav_input_t {
  std::shared_ptr<const input_file_t> file;
  std::uint64_t position = 0;
  std::exception_ptr failure;
};

wav_input_t& input_of(void* user) { return *static_cast<wav_input_t*>(user); }

sf_count_t length_of(void* user) { return static_cast<sf_count_t>(input_of(user).file->size()); }

sf_count_t seek(sf_count_t offset, int whence, void* user) {
  wav_input_t& input = input_of(user);
  const auto from = whence == SEEK_SET   ? 0
                    : whence == SEEK_CUR ? static_cast<sf_count_t>(input.position)
                                         : length_of(user);
  const sf_count_t place = std::clamp<sf_count_t>(from + offset, 0, length_of(user));
  input.position = static_cast<std::uint64_t>(place);
  return place;
}

sf_count_t read_bytes(void* to, sf_count_t count, void* user) {
  wav_input_t& input = input_of(user);
  const auto left = input.file->size() - input.position;
  const auto size = std::min(static_cast<std::uint64_t>(std::max<sf_count_t>(count, 0)), left);
  try {
    input.file->read(input.position, {static_cast<std::byte*>(to), static_cast<std::size_t>(size)});
  } catch (...) {
    input.failure = std::current_exception();
    return 0;
  }
  input.position += size;
  return static_cast<sf_count_t>(size);
}

sf_count_t tell(void* user) { return static_cast<sf_count_t>(input_of(user).position); }

/// How many bytes of samples the head of a RIFF file promises beyond the file's end: it was cut
/// short, about which the WAV library says nothing.
std::uint64_t missing_bytes_of(const input_file_t& file) {
  constexpr std::uint64_t head_size = 8;  // name and size of a chunk
  // What writers to a pipe put in place of a size they do not know yet.
  constexpr std::uint64_t unknown_size = 0x7FFFF000;
  std::array<unsigned char, head_size> head{};
  for (std::uint64_t place = 12; place + head_size <= file.size();) {
    file.read(place, std::as_writable_bytes(std::span(head)));
    std::uint64_t size = 0;
    for (std::size_t i = head_size; i > 4; --i) {
      size = size << 8U | head[i - 1];
    }
    place += head_size;
    if (std::equal(head.begin(), head.begin() + 4, "data")) {
      const std::uint64_t left = file.size() - place;
      return size < unknown_size && size > left ? size - left : 0;
    }
    place += size + size % 2;
  }
  return 0;
}

float highest_code_of(int format) {
  switch (format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_U8:
      return 1.0F - 0x1p-7F;
    case SF_FORMAT_PCM_16:
      return 1.0F - 0x1p-15F;
    case SF_FORMAT_PCM_24:
      return 1.0F - 0x1p-23F;
    case SF_FORMAT_PCM_32:
      return 1.0F;  // of 2^31 - 1, rounded to a float
    default:
      return 0.0F;
  }
}

std::string encoding_of(int format) {
  SF_FORMAT_INFO info{};
  info.format = format & SF_FORMAT_SUBMASK;
  const bool known = sf_command(nullptr, SFC_GET_FORMAT_INFO, &info, sizeof(info)) == 0;
  return known && info.name != nullptr ? info.name : "unknown";
}

}  // namespace

struct wav_store_t::reader_t {
  wav_input_t input;
  SNDFILE* handle = nullptr;
  std::mutex one_at_a_time;  // the handle has one place to read at

  ~reader_t() { sf_close(handle); }
};

wav_store_t::wav_store_t(std::shared_ptr<const input_file_t> file)
    : reader_(std::make_unique<reader_t>()) {
  reader_->input.file = std::move(file);
  const std::string& path = reader_->input.file->path();
  SF_VIRTUAL_IO calls{length_of, seek, read_bytes, nullptr, tell};
  SF_INFO info{};
  errno = 0;
  reader_->handle = sf_open_virtual(&calls, SFM_READ, &info, &reader_->input);
  if (reader_->input.failure) {
    std::rethrow_exception(reader_->input.failure);
  }
  if (reader_->handle == nullptr && errno == ENOMEM) {
    throw std::bad_alloc();
  }
  const int container = info.format & SF_FORMAT_TYPEMASK;
  const bool is_riff = container == SF_FORMAT_WAV || container == SF_FORMAT_WAVEX;
  const bool is_wav = is_riff || container == SF_FORMAT_RF64 || container == SF_FORMAT_W64;
  if (reader_->handle == nullptr || !is_wav) {
    throw input_error_t("{}: is no WAV file; expected one of two channels, I and Q", path);
  }
  if (info.channels != 2) {
    throw input_error_t("{}: has {} channels; allowed are 2, I and Q", path, info.channels);
  }
  head_ = {static_cast<double>(info.samplerate), static_cast<std::uint64_t>(info.frames),
           encoding_of(info.format), highest_code_of(info.format),
           is_riff ? missing_bytes_of(*reader_->input.file) : 0};
}

wav_store_t::~wav_store_t() = default;

const wav_head_t& wav_store_t::head() const { return head_; }

void wav_store_t::read(std::size_t /*segment*/, std::uint64_t position,
                       std::span<sample_t> out) const {
  const std::lock_guard lock(reader_->one_at_a_time);
  const auto place = static_cast<sf_count_t>(position);
  const auto count = static_cast<sf_count_t>(out.size());
  sf_count_t got = 0;
  if (sf_seek(reader_->handle, place, SEEK_SET) == place) {
    // A complex number is an array of its two parts.
    got = sf_readf_float(reader_->handle, reinterpret_cast<float*>(out.data()), count);
  }
  if (reader_->input.failure) {
    std::rethrow_exception(std::exchange(reader_->input.failure, nullptr));
  }
  if (got != count) {
    throw input_error_t("{}: broke off at sample {}; expected {} samples",
                        reader_->input.file->path(), place + got, head_.sample_count);
  }
}

}  // namespace orn::fmcw_host
