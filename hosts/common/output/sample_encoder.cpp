#include "common/output/sample_encoder.h"

#include "common/errors.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace orn::fmcw_host {
namespace {

using fmcw_demod_lib::sample_t;

/// Samples converted at a time: what a processor's cache holds.
constexpr std::size_t piece = 16384;

}  // namespace

sample_encoder_t::sample_encoder_t(const datatype_t& type, byte_sink_t sink)
    : type_(type), sink_(std::move(sink)), bytes_(piece * type.sample_bytes) {}

void sample_encoder_t::write(std::span<const sample_t> samples) {
  while (!samples.empty()) {
    const auto part = samples.first(std::min(piece, samples.size()));
    if (type_.highest_code != 0.0F) {
      check_finite(part);
    }
    clipped_count_ += type_.encode(part, bytes_.data());
    sink_(std::span(bytes_).first(part.size() * type_.sample_bytes));
    sample_count_ += part.size();
    samples = samples.subspan(part.size());
  }
}

void sample_encoder_t::check_finite(std::span<const sample_t> samples) const {
  const auto bad = std::find_if(samples.begin(), samples.end(), [](const sample_t& sample) {
    return !std::isfinite(sample.real()) || !std::isfinite(sample.imag());
  });
  if (bad != samples.end()) {
    throw input_error_t(
        "sample {} is not finite, which {} cannot hold; allowed are floating-point formats",
        sample_count_ + static_cast<std::uint64_t>(bad - samples.begin()), type_.name);
  }
}

}  // namespace orn::fmcw_host
