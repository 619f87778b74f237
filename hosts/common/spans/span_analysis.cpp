#include "common/spans/span_analysis.h"

#include "common/capture/statistics.h"
#include "common/figures/figure_table.h"
#include "common/figures/flags.h"
#include "common/fit/record_slips.h"
#include "common/spans/frame_plan.h"
#include "common/spans/proposal.h"

#include <fmcw_demod/engine.h>
#include <fmcw_demod/parameters.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <span>

namespace orn::fmcw_host {
namespace {

using namespace fmcw_demod_lib;

/// A chirp this near to an end of its run has its edge from smoothing against nothing.
constexpr std::uint64_t edge_samples = 256;

/// Sum of |x|^2 in four strands: the same bits on every machine, at the speed of memory. Not finite
/// when a sample is not: squares of floats cannot overflow a double.
double sum_of_squares(std::span<const sample_t> samples) {
  std::array<double, 4> strands{};
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const double re = samples[i].real();
    const double im = samples[i].imag();
    strands[i % 4] += re * re + im * im;
  }
  return (strands[0] + strands[1]) + (strands[2] + strands[3]);
}

bool is_finite(sample_t z) { return std::isfinite(z.real()) && std::isfinite(z.imag()); }

/// Counts the non-finite samples of the span's own part and sums the others.
void count_nonfinite(const span_t& span, std::span<const sample_t> own, span_result_t& result) {
  result.squares = 0.0;
  for (std::size_t i = 0; i < own.size(); ++i) {
    if (is_finite(own[i])) {
      result.squares += std::norm(std::complex<double>(own[i]));
    } else if (++result.nonfinite_count == 1) {
      result.first_nonfinite = span.own_begin + i;
    }
  }
}

template <class Value>
void scale(Value& value, int exponent) {
  value = std::ldexp(value, exponent);
}

/// The settling point in whole samples after the chirp's first.
std::uint64_t samples_after(double start, double point, double rate) {
  return static_cast<std::uint64_t>(std::max(std::llround((point - start) * rate), 0LL));
}

}  // namespace

fmcw_demod_config_t scaled_record(const settings_t& settings) {
  fmcw_demod_config_t record = settings.manager.get_demod_config();
  const auto n = static_cast<int>(settings.rate_doublings);
  auto& advanced = record.advanced;
  scale(record.fs, n);
  for (double* time : {&advanced.meas_time, &advanced.time_gate_len, &advanced.min_chirp_len,
                       &advanced.max_chirp_len, &advanced.devlength_offset_begin,
                       &advanced.devlength_offset_end}) {
    scale(*time, -n);
  }
  scale(advanced.chirp.ref_slope, 2 * n);
  scale(advanced.chirp.slope_tol, 2 * n);
  return record;
}

void scale_back(fmcw_chirp_result_t& c, std::uint32_t rate_doublings) {
  const auto n = static_cast<int>(rate_doublings);
  for (double* time : {&c.start_time, &c.stop_time, &c.length, &c.switching_time,
                       &c.fm_settling_point, &c.fm_settling_time, &c.fm_settling_length,
                       &c.pm_settling_point, &c.pm_settling_time, &c.pm_settling_length}) {
    scale(*time, n);
  }
  for (double* frequency :
       {&c.bandwidth, &c.freq_avg, &c.freq_dev_peak, &c.freq_dev_rms, &c.freq_dev_avg}) {
    scale(*frequency, -n);
  }
  for (double* slope :
       {&c.slope, &c.slope_dev_mean, &c.slope_dev_rms, &c.slope_dev_avg, &c.slope_dev_peak}) {
    scale(*slope, -2 * n);
  }
}

span_analyzer_t::span_analyzer_t(const settings_t& settings, const layout_t& layout,
                                 double coverage, const measure_options_t& options)
    : layout_(layout),
      as_frames_(layout.frame_length > 0),
      rate_doublings_(settings.rate_doublings),
      rate_(settings.manager.get_fs()),
      coverage_(coverage),
      options_(options),
      record_(scaled_record(settings)) {
  // A window longer than any span leaves the spectrogram out, which nobody asked for here.
  record_.advanced.window = {std::numeric_limits<std::uint32_t>::max(), 0};
}

span_result_t span_analyzer_t::analyze(span_t& span) {
  span_result_t result;
  result.index = span.index;
  result.own_begin = span.own_begin;
  result.own_end = span.own_end;
  const std::span<const sample_t> all(span.samples);
  const auto own_first = static_cast<std::size_t>(span.own_begin - span.first);
  const auto own = all.subspan(own_first, static_cast<std::size_t>(span.own_end - span.own_begin));
  const double before = sum_of_squares(all.first(own_first));
  const double after = sum_of_squares(all.subspan(own_first + own.size()));
  result.squares = sum_of_squares(own);
  stream_.fs = 0.0F;  // the record's rate counts
  if (as_frames_ || std::isfinite(before + result.squares + after)) {
    if (!std::isfinite(result.squares)) {
      count_nonfinite(span, own, result);
    }
    stream_.samples.swap(span.samples);
    analyze_run(span, 0, stream_.samples.size(), result);
    stream_.samples.swap(span.samples);
    look_around(span, result);
    return result;
  }
  count_nonfinite(span, own, result);
  for (auto begin = all.begin(); begin != all.end();) {
    begin = std::find_if(begin, all.end(), is_finite);
    const auto end = std::find_if_not(begin, all.end(), is_finite);
    stream_.samples.assign(begin, end);
    analyze_run(span, static_cast<std::size_t>(begin - all.begin()),
                static_cast<std::size_t>(end - all.begin()), result);
    begin = end;
  }
  look_around(span, result);
  return result;
}

/// What else is in the span where chirps are few or none.
void span_analyzer_t::look_around(const span_t& span, span_result_t& result) const {
  result.others = others_in(span, result);
  if (!result.chirps.empty()) {
    result.nothing.reset();
  } else if (span.index == 0) {
    const auto own = std::span<const sample_t>(span.samples)
                         .subspan(static_cast<std::size_t>(span.own_begin - span.first),
                                  static_cast<std::size_t>(span.own_end - span.own_begin));
    if (!result.nothing) {
      result.nothing.emplace();
    }
    result.nothing->look = look_at(own);
    result.nothing->proposal = propose(own, rate_);
  }
}

/// Chirps of a span take far less time than expected: what takes it instead?
std::optional<candidate_group_t> span_analyzer_t::others_in(const span_t& span,
                                                            const span_result_t& result) const {
  constexpr double far_less = 0.5;
  const auto own = static_cast<double>(result.own_end - result.own_begin);
  double covered = 0.0;
  for (const span_chirp_t& row : result.chirps) {
    covered += static_cast<double>(row.chirp.last_sample - row.chirp.first_sample);
  }
  if (covered >= far_less * coverage_ * own) {
    return std::nullopt;
  }
  const auto samples = std::span<const sample_t>(span.samples)
                           .subspan(static_cast<std::size_t>(span.own_begin - span.first),
                                    static_cast<std::size_t>(own));
  const proposal_t proposal = propose(samples, rate_);
  const bool fills_most =
      !proposal.chosen.empty() && proposal.chosen.front().total_time > 0.5 * own / rate_;
  return fills_most ? std::optional(proposal.chosen.front()) : std::nullopt;
}

/// The record whose frame plan, for so many samples, is the one wanted.
fmcw_demod_config_t span_analyzer_t::record_for(const span_t& span,
                                                std::size_t sample_count) const {
  fmcw_demod_config_t record = record_;
  auto& advanced = record.advanced;
  if (as_frames_ && layout_.own > layout_.frames_per_span * layout_.frame_length) {
    return record;  // the segment is one span
  }
  advanced = one_frame(record, sample_count);
  if (as_frames_) {
    advanced.time_gate_len = record_.advanced.time_gate_len;
    // Half a sample more makes the library's truncation come out at the lead.
    advanced.from_start = (static_cast<double>(span.own_begin - span.first) + 0.5) /
                          static_cast<double>(sample_count);
  }
  return record;
}

void span_analyzer_t::analyze_run(const span_t& span, std::size_t begin, std::size_t end,
                                  span_result_t& result) {
  if (end - begin < 2) {
    return;
  }
  const FMCWConfig parameters(record_for(span, end - begin), &stream_.samples, stream_.fs);
  FMCWAnalyze engine(parameters);
  engine.analyze(stream_, result_);
  take_chirps(span, begin, end, result);
  if (!result.chirps.empty() || span.index >= looked_spans) {
    return;
  }
  const auto in_run = [&](std::uint64_t place) {
    return std::clamp<std::size_t>(static_cast<std::size_t>(place - span.first), begin, end) -
           begin;
  };
  if (!result.nothing) {
    result.nothing.emplace();
  }
  result.nothing->counts.add(count_candidates(parameters, stream_.samples,
                                              {
                                                  in_run(span.own_begin),
                                                  in_run(span.own_end),
                                              },
                                              rate_doublings_));
}

/// What the library does not say of a chirp: its settling, and flags that the samples tell.
void span_analyzer_t::look_inside(std::size_t first, std::size_t last, chirp_t& chirp) const {
  const std::size_t count = last - first + 1;
  chirp.settling = settling_of(std::span(result_.instantaneous_freq).subspan(first, count),
                               std::ldexp(1.0, -static_cast<int>(rate_doublings_)), rate_,
                               sweep_of(chirp), options_.settling);
  if (std::abs(chirp.figures.inl_peak) > merged_inl_peak) {
    chirp.flags |= chirp_flag_t::merged;
  }
  const auto inside = std::span<const sample_t>(stream_.samples).subspan(first, count);
  const std::size_t margin = std::min(turn_margin, count / 16);
  chirp.fit = fit_phase(inside.subspan(margin, count - 2 * margin), rate_);
  chirp.turns = fit_turns(stream_.samples, first, last, rate_);
  chirp.turns.start.place -= static_cast<double>(first);
  chirp.turns.stop.place -= static_cast<double>(first);
  if (chirp.fit.slips > 0 ||
      slips_in(std::span<const float>(result_.instantaneous_freq).subspan(first, count),
               std::ldexp(rate_, static_cast<int>(rate_doublings_))) > 0) {
    chirp.flags |= chirp_flag_t::slip;
  }
  if (as_frames_ && !std::all_of(inside.begin(), inside.end(), is_finite)) {
    chirp.flags |= chirp_flag_t::nonfinite;
  }
  if (options_.clip_levels) {
    chirp.clipped_count = static_cast<std::uint64_t>(
        std::count_if(inside.begin(), inside.end(),
                      [&](sample_t sample) { return is_clipped(sample, *options_.clip_levels); }));
    chirp.flags |= chirp.clipped_count > 0 ? chirp_flag_t::clipped : 0;
  }
  chirp.noise = envelope_noise_of(inside);
}

void span_analyzer_t::take_chirps(const span_t& span, std::size_t begin, std::size_t end,
                                  span_result_t& result) {
  const std::uint64_t earliest =
      as_frames_ || span.own_begin < seam_margin ? span.own_begin : span.own_begin - seam_margin;
  auto selected = result_.selected_intervals.begin();
  for (std::size_t i = 0; i < result_.chirp_results.size(); ++i) {
    const auto [first, last] = result_.chirp_intervals[i];
    span_chirp_t row;
    chirp_t& chirp = row.chirp;
    chirp.first_sample = span.first + begin + first;
    chirp.last_sample = span.first + begin + last;
    if (selected != result_.selected_intervals.end() && *selected == result_.chirp_intervals[i]) {
      chirp.selected = true;
      ++selected;
    }
    if (!as_frames_ && (chirp.first_sample < earliest || chirp.first_sample >= span.own_end)) {
      continue;
    }
    chirp.figures = result_.chirp_results[i];
    scale_back(chirp.figures, rate_doublings_);
    const fmcw_chirp_result_t& figures = chirp.figures;
    chirp.fm_settling_point = static_cast<double>(
        chirp.first_sample + samples_after(figures.start_time, figures.fm_settling_point, rate_));
    chirp.pm_settling_point = static_cast<double>(
        chirp.first_sample + samples_after(figures.start_time, figures.pm_settling_point, rate_));
    if (first < edge_samples || last + edge_samples >= end - begin) {
      chirp.flags |= chirp_flag_t::edge;
    }
    look_inside(first, last, chirp);
    row.cut_end = begin > 0 ? span.first + begin : 0;
    result.chirps.push_back(row);
  }
}

}  // namespace orn::fmcw_host
