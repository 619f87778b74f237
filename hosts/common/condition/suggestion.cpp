#include "common/condition/suggestion.h"

#include "common/errors.h"
#include "common/settings/units.h"
#include "common/spans/proposal.h"

#include <common_lib/fourier_transform.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <vector>

#include <fmt/format.h>

namespace orn::fmcw_host {
namespace {

using fmcw_demod_lib::sample_t;

constexpr std::size_t bins = 256;

class span_source_t : public sample_source_t {
 public:
  explicit span_source_t(std::span<const sample_t> samples) : samples_(samples) {}
  std::size_t read(std::span<sample_t> out) override {
    const std::size_t count = std::min(out.size(), samples_.size());
    std::copy_n(samples_.begin(), count, out.begin());
    samples_ = samples_.subspan(count);
    return count;
  }

 private:
  std::span<const sample_t> samples_;
};

/// Mean power of each bin, the lowest frequency first, through a Hann window; windows that hold a
/// sample that is not finite are left out.
std::vector<double> mean_spectrum(std::span<const sample_t> samples) {
  std::vector<double> powers(bins);
  std::vector<sample_t> window(bins);
  for (; samples.size() >= bins; samples = samples.subspan(bins)) {
    for (std::size_t i = 0; i < bins; ++i) {
      const double turns = (static_cast<double>(i) + 0.5) / bins;
      const auto hann = static_cast<float>(0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * turns));
      window[i] = samples[i] * hann;
    }
    common_lib::lib_fourier_transform_t::deal_fft(window, bins);
    common_lib::lib_fourier_transform_t::fft_shift(window);
    const double first = std::norm(std::complex<double>(window.front()));
    if (!std::isfinite(first)) {
      continue;
    }
    for (std::size_t i = 0; i < bins; ++i) {
      powers[i] += std::norm(std::complex<double>(window[i]));
    }
  }
  return powers;
}

/// Frequencies over the rate.
struct band_t {
  double lower;
  double upper;
  double width() const { return upper - lower; }
};

/// The bins around the strongest that stand out of the noise, which a fifth of all bins show at least
/// where D can be 2.
std::optional<band_t> standing_out(const std::vector<double>& powers) {
  constexpr double above_noise = 1.5;
  constexpr std::size_t longest_gap = 2;
  std::vector<double> sorted = powers;
  const auto fifth = sorted.begin() + bins / 5;
  std::nth_element(sorted.begin(), fifth, sorted.end());
  const double least = above_noise * *fifth;
  const auto strongest = std::max_element(powers.begin(), powers.end());
  if (!(*strongest > least)) {
    return std::nullopt;
  }
  const auto reach = [&](auto from, auto end) {
    std::size_t found = 0;
    std::size_t steps = 0;
    for (; from != end && steps - found <= longest_gap; ++from, ++steps) {
      found = *from > least ? steps : found;
    }
    return static_cast<double>(found);
  };
  const auto place = static_cast<double>(strongest - powers.begin());
  const double below = reach(std::make_reverse_iterator(strongest + 1), powers.rend());
  const double above = reach(strongest, powers.end());
  const auto frequency = [](double bin) { return bin / bins - 0.5; };
  return band_t{frequency(place - below - 0.5), frequency(place + above + 0.5)};
}

/// Three digits of the given magnitude.
double rounded(double value, double magnitude) {
  const double unit = std::pow(10.0, std::floor(std::log10(magnitude)) - 2.0);
  return std::round(value / unit) * unit;
}

/// What smoothing over 256 samples takes of a candidate's two ends: less than 256, and this much where
/// a fly-back is short and steep.
constexpr double lost_samples = 176.0;

/// Samples of a chirp, by what is found once the samples are conditioned; nothing where none is.
std::optional<double> samples_per_chirp(std::span<const sample_t> samples, double rate,
                                        const conditioning_t& conditioning) {
  span_source_t source(samples);
  conditioned_source_t conditioned(source, conditioning, 0, rate);
  std::vector<sample_t> kept(
      static_cast<std::size_t>(conditioned_count(0, samples.size(), conditioning.decimate)));
  conditioned.read(kept);
  const proposal_t proposal = propose(kept, rate / conditioning.decimate);
  return proposal.chosen.empty() ? std::nullopt
                                 : std::optional(proposal.chosen.front().duration * rate +
                                                 lost_samples * conditioning.decimate);
}

}  // namespace

std::optional<conditioning_t> suggest_conditioning(std::span<const sample_t> samples, double rate) {
  constexpr double least_samples_per_chirp = 1500.0;
  const auto band = standing_out(mean_spectrum(samples));
  if (!band) {
    return std::nullopt;
  }
  const double bandwidth = rounded(band->width() * rate, band->width() * rate);
  const double shift = rounded(-0.5 * (band->lower + band->upper) * rate, bandwidth);
  // Whole numbers that a double holds exactly, up to the greatest decimation.
  const auto at_most = [](double value) {
    return static_cast<std::uint32_t>(std::min(std::floor(value), double{most_decimate}));
  };
  const std::uint32_t most = at_most(rate / (1.25 * bandwidth));
  const auto by = [&](std::uint32_t decimate) {
    const double low_pass = std::max(0.625 * bandwidth, 0.45 * rate / decimate);
    return conditioning_t{shift, std::min(rounded(low_pass, low_pass), rate / 2.0), decimate};
  };
  for (std::uint32_t decimate = most; decimate >= 2; decimate /= 2) {
    if (const auto count = samples_per_chirp(samples, rate, by(decimate))) {
      const std::uint32_t wanted = std::min(most, at_most(*count / least_samples_per_chirp));
      return wanted >= 2 ? std::optional(by(wanted)) : std::nullopt;
    }
  }
  return std::nullopt;
}

conditioning_t parse_conditioning(std::string_view text, std::string_view source) {
  std::vector<std::optional<double>> values;
  for (std::size_t begin = 0; begin <= text.size();) {
    const std::size_t end = std::min(text.find(',', begin), text.size());
    values.push_back(parse_quantity(text.substr(begin, end - begin), values.empty() ? "" : "Hz"));
    begin = end + 1;
  }
  const bool is_whole = values.size() >= 2 && values.size() <= 3 &&
                        std::all_of(values.begin(), values.end(),
                                    [](const auto& value) { return value.has_value(); }) &&
                        *values[0] >= 1.0 && *values[0] <= most_decimate &&
                        std::floor(*values[0]) == *values[0];
  if (!is_whole) {
    throw input_error_t(
        "{} cannot be '{}'; allowed are auto, or decimation (1 to {}), low-pass and, where wanted, "
        "a "
        "shift, such as 8,7MHz or 8,7MHz,-20MHz",
        source, text, most_decimate);
  }
  return {values.size() == 3 ? *values[2] : 0.0, *values[1],
          static_cast<std::uint32_t>(*values[0])};
}

std::string conditioning_text(const conditioning_t& conditioning) {
  const std::string text = fmt::format("{},{}", conditioning.decimate,
                                       quantity_text(conditioning.low_pass.value_or(0.0), "Hz"));
  return conditioning.shift == 0.0
             ? text
             : fmt::format("{},{}", text, quantity_text(conditioning.shift, "Hz"));
}

}  // namespace orn::fmcw_host
