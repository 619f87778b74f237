#include "common/spectrum/channel_power.h"

#include "common/errors.h"
#include "common/memory.h"

#include <fmcw_demod/basefunc.h>

#include <algorithm>
#include <cstddef>
#include <span>

#include <fmt/format.h>

namespace orn::fmcw_host {
namespace {

using fmcw_demod_lib::sample_t;

void check(std::uint64_t sample_count) {
  check_memory(fmt::format("channel power of {} samples at once", sample_count),
               bytes_of_channel_power(sample_count), "take a part with --from and --for");
}

std::vector<sample_t> read_all(sample_source_t& source, std::optional<std::uint64_t> sample_count) {
  constexpr std::uint64_t first_piece = 1U << 20U;
  std::vector<sample_t> samples;
  std::size_t filled = 0;
  do {
    const std::uint64_t wanted =
        sample_count.value_or(std::max(first_piece, 2 * std::uint64_t{filled}));
    check(wanted);
    resize_for("the samples", samples, static_cast<std::size_t>(wanted));
    filled += source.read(std::span(samples).subspan(filled));
  } while (!sample_count && filled == samples.size());
  samples.resize(filled);
  return samples;
}

}  // namespace

// Samples, planes, both outputs, and for a prime number of samples a transform of twice the length:
// measured were 32 bytes a sample for powers of two and up to 104 for primes.
double bytes_of_channel_power(std::uint64_t sample_count) {
  return 104.0 * static_cast<double>(sample_count);
}

channel_power_t channel_power_of(sample_source_t& source, std::optional<std::uint64_t> sample_count,
                                 double rate, double impedance) {
  const std::vector<sample_t> samples = read_all(source, sample_count);
  channel_power_t result;
  try {
    // Peak volts: half the squared magnitude over R, as everywhere in an analysis.
    result.total = fmcw_demod_lib::basefunc::calculate_channel_power_db(
        samples, result.frequencies, result.powers, static_cast<float>(rate),
        static_cast<float>(2.0 * impedance));
  } catch (const std::bad_alloc&) {
    throw memory_error_t("channel power",
                         static_cast<std::size_t>(bytes_of_channel_power(samples.size())));
  }
  return result;
}

}  // namespace orn::fmcw_host
