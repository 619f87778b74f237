#include "common/diagnosis/data_look.h"

#include "common/diagnosis/signal_look.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <set>
#include <vector>

#include <fmt/format.h>

namespace orn::fmcw_host {
namespace {

using fmcw_demod_lib::sample_t;

struct magic_t {
  std::string_view bytes;
  data_look_t::kind_t kind;
  std::string_view name;
};

using namespace std::string_view_literals;

constexpr std::array magics = {
    magic_t{"\x1F\x8B\x08"sv, data_look_t::packed, "gzip"},
    magic_t{"PK\x03\x04"sv, data_look_t::packed, "zip"},
    magic_t{"\xFD"
            "7zXZ\0"sv,
            data_look_t::packed, "xz"},
    magic_t{"\x28\xB5\x2F\xFD"sv, data_look_t::packed, "zstd"},
    magic_t{"7z\xBC\xAF\x27\x1C"sv, data_look_t::packed, "7z"},
    magic_t{"BZh"sv, data_look_t::packed, "bzip2"},
    magic_t{"RIFF"sv, data_look_t::headed, "WAV"},
    magic_t{"RF64"sv, data_look_t::headed, "WAV"},
};

std::string_view as_text(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// Printable ASCII in lines or words, and enough of it.
bool is_text(std::string_view head) {
  constexpr std::size_t enough = 64;
  constexpr std::size_t kinds = 8;
  const auto fits = [](char c) {
    return (c >= ' ' && c <= '~') || c == '\n' || c == '\r' || c == '\t';
  };
  return head.size() >= enough && std::all_of(head.begin(), head.end(), fits) &&
         head.find_first_of(" \n") != std::string_view::npos &&
         std::set<char>(head.begin(), head.end()).size() >= kinds;
}

/// Entropy of every eighth byte from `place` on [bits].
double entropy_at(std::span<const std::byte> data, std::size_t place) {
  std::array<std::size_t, 256> counts{};
  std::size_t total = 0;
  for (std::size_t i = place; i < data.size(); i += 8) {
    ++counts[std::to_integer<std::size_t>(data[i])];
    ++total;
  }
  double entropy = 0.0;
  for (const std::size_t count : counts) {
    if (count > 0) {
      const double share = static_cast<double>(count) / static_cast<double>(total);
      entropy -= share * std::log2(share);
    }
  }
  return entropy;
}

/// Correlation of bytes with those eight places before.
double correlation(std::span<const std::byte> data) {
  constexpr double mean = 127.5;  // where entropies are near 8 bits
  double product = 0.0;
  double square = 0.0;
  for (std::size_t i = 8; i < data.size(); ++i) {
    const double byte = std::to_integer<int>(data[i]) - mean;
    product += byte * (std::to_integer<int>(data[i - 8]) - mean);
    square += byte * byte;
  }
  return square > 0.0 ? product / square : 0.0;
}

bool is_random(std::span<const std::byte> data) {
  constexpr std::size_t enough = 32768;  // the estimate falls 0.045 bits short then
  constexpr double high_entropy = 7.9;
  if (data.size() < enough || std::abs(correlation(data)) > 0.05) {
    return false;
  }
  for (std::size_t place = 0; place < 8; ++place) {
    if (entropy_at(data, place) < high_entropy) {
      return false;
    }
  }
  return true;
}

/// Share of the parts that differ from 0 and could be voltages: finite, 2^-50 to 2^50.
bool is_plausible(std::span<const sample_t> samples) {
  constexpr double least = 0x1p-50;
  constexpr double most = 0x1p50;
  std::size_t told = 0;
  std::size_t fitting = 0;
  for (const sample_t sample : samples) {
    for (const float part : {sample.real(), sample.imag()}) {
      const double size = std::abs(static_cast<double>(part));
      told += size != 0.0 ? 1 : 0;
      fitting += size >= least && size <= most ? 1 : 0;
    }
  }
  return static_cast<double>(fitting) >= 0.9 * static_cast<double>(told);
}

/// What the bytes are like in that format; of no sample at all where they are too few or no voltages.
signal_look_t look_in(std::span<const std::byte> data, const datatype_t& type) {
  constexpr std::size_t least_samples = 1024;
  std::vector<sample_t> samples(data.size() / type.sample_bytes);
  if (samples.size() < least_samples) {
    return {};
  }
  type.decode(data.data(), samples);
  if (!is_plausible(samples)) {
    return {};
  }
  // An offset is smooth in any format, so it does not count. Wild values are no part of it.
  std::complex<double> mean;
  std::size_t count = 0;
  for (const sample_t sample : samples) {
    if (std::norm(std::complex<double>(sample)) < 0x1p100) {
      mean += std::complex<double>(sample);
      ++count;
    }
  }
  mean /= static_cast<double>(std::max<std::size_t>(count, 1));
  const bool has_quadrature = std::any_of(samples.begin(), samples.end(),
                                          [](sample_t sample) { return sample.imag() != 0.0F; });
  for (sample_t& sample : samples) {
    sample -= sample_t(mean);
  }
  signal_look_t look = look_at(samples);
  look.has_quadrature = has_quadrature;
  return look;
}

/// How much that is like a complex signal, 0 to 1.
double likeness(const signal_look_t& look) {
  return look.smoothness * (1.0 - std::min(look.noncircularity, 1.0));
}

}  // namespace

data_look_t look_at_head(std::span<const std::byte> head) {
  const std::string_view text = as_text(head);
  for (const magic_t& magic : magics) {
    if (text.starts_with(magic.bytes)) {
      return {magic.kind, std::string(magic.name)};
    }
  }
  if (is_text(text.substr(0, 4096))) {
    return {data_look_t::text, text.starts_with('{') || text.starts_with('[') ? "JSON" : "text"};
  }
  return {};
}

data_look_t look_at_data(std::span<const std::byte> head, std::span<const std::byte> data,
                         const datatype_t& type) {
  constexpr double jumpy = 0.5;
  constexpr double smooth = 0.8;
  data = data.first(std::min(data.size(), looked_bytes));
  const signal_look_t as_read = look_in(data, type);
  if (likeness(as_read) >= jumpy && !looks_real(as_read)) {
    return {};
  }
  if (data_look_t look = look_at_head(head); look.kind != data_look_t::ordinary) {
    return look;
  }
  if (is_random(data)) {
    return {data_look_t::random, ""};
  }
  const datatype_t* best = nullptr;
  double best_likeness = smooth;
  for (const datatype_t& other : datatypes()) {
    if (const double found = likeness(look_in(data, other)); found > best_likeness) {
      best = &other;
      best_likeness = found;
    }
  }
  if (best != nullptr) {
    return {data_look_t::other_format, std::string(best->name)};
  }
  const bool is_silent = as_read.smoothness == 0.0;
  return looks_real(as_read) && !is_silent ? data_look_t{data_look_t::real_valued, ""}
                                           : data_look_t{};
}

std::string look_text(const data_look_t& look) {
  switch (look.kind) {
    case data_look_t::packed:
      return fmt::format("a {} file, compressed; unpack it first", look.name);
    case data_look_t::text:
      return look.name == "JSON" ? "JSON, not samples" : "text, not samples";
    case data_look_t::headed:
      return fmt::format("a {} file; --format wav reads it", look.name);
    case data_look_t::random:
      return "compressed or encrypted data: its bytes have no pattern at all";
    case data_look_t::other_format:
      return fmt::format("samples of {}", look.name);
    case data_look_t::real_valued:
      return "a real signal, whose imaginary parts are zero or whose neighbouring samples were "
             "taken "
             "for I and Q; chirps take complex samples (its analytic signal)";
    case data_look_t::ordinary:
      break;
  }
  return "ordinary samples";
}

}  // namespace orn::fmcw_host
