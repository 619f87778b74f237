#include "common/diagnosis/nothing.h"

#include "common/settings/units.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

#include <fmt/format.h>

namespace orn::fmcw_host {
namespace {

/// Samples that the library's slope is smoothed over; nothing shorter shows.
constexpr std::uint64_t smoothing_samples = 256;

/// Three of them: a chirp and what lies on either side.
constexpr std::uint64_t fewest_samples = 3 * smoothing_samples;

/// S / (S + N) of a constant envelope below which it may be noise alone, and from which on noise is
/// no reason: 30 dB, where the slowest ramps that are usual show.
constexpr double least_steady_share = 0.35;
constexpr double clear_steady_share = 0.999;

struct case_t {
  const recording_info_t& info;
  const recording_totals_t& totals;
  const settings_t& settings;
  bool is_automatic;
  const data_look_t& data;

  const candidate_counts_t& counts() const { return totals.nothing.counts; }
  const signal_look_t& look() const { return totals.nothing.look; }
};

struct finding_t {
  std::string_view reason;
  std::string sentence;
  std::string change = {};
};

std::string seconds_text(double seconds) { return quantity_text(rounded(seconds, 3), "s"); }

std::optional<finding_t> from_data(const case_t& c) {
  constexpr std::array reasons = {"",       "compressed", "text",       "header",
                                  "random", "format",     "real-valued"};
  if (c.data.kind == data_look_t::ordinary) {
    return std::nullopt;
  }
  std::string sentence = look_sentence(c.info, c.data);
  const bool is_raw = c.info.format == "raw";
  std::string change;
  if (c.data.kind == data_look_t::other_format) {
    change = is_raw ? "--format " + c.data.name : "";
    sentence += is_raw ? "" : "; the description's core:datatype may be wrong";
  } else if (c.data.kind == data_look_t::headed) {
    change = is_raw ? "--format wav" : "";
  }
  return finding_t{reasons[c.data.kind], std::move(sentence), std::move(change)};
}

std::optional<finding_t> from_samples(const case_t& c) {
  const recording_totals_t& totals = c.totals;
  if (totals.sample_count == 0) {
    return finding_t{"empty", "no sample was analysed"};
  }
  if (totals.nonfinite_count == totals.sample_count) {
    return finding_t{"not finite",
                     "every sample is NaN or infinite; the format may be another one"};
  }
  if (totals.squares == 0.0) {
    return finding_t{"zeros", "every sample is zero; was the receiver connected?"};
  }
  if (looks_real(c.look())) {
    return finding_t{"real-valued",
                     "the data look like " + look_text({data_look_t::real_valued, ""})};
  }
  if (totals.sample_count - totals.nonfinite_count < fewest_samples) {
    return finding_t{
        "too short",
        fmt::format(
            "{} samples are too few: a chirp is longer than the smoothing of {} samples and "
            "has a switching point at either end",
            totals.sample_count - totals.nonfinite_count, smoothing_samples)};
  }
  return std::nullopt;
}

/// Settings that would let the nearest candidates through.
std::string wider_limits(const candidate_counts_t& counts) {
  constexpr double margin = 1.5;
  if (counts.shortest_too_long) {
    return fmt::format("--set max_chirp_len={}", seconds_text(margin * *counts.shortest_too_long));
  }
  return counts.longest_too_short ? fmt::format("--set min_chirp_len={}",
                                                seconds_text(*counts.longest_too_short / margin))
                                  : "";
}

/// Chirps are there, or straight stretches at least, which the settings leave out.
std::optional<finding_t> from_settings(const case_t& c) {
  const candidate_counts_t& counts = c.counts();
  const auto& found = c.totals.nothing.proposal.chosen;
  if (counts.leaving + counts.unmeasurable > 0) {
    return finding_t{"not measurable",
                     "candidates of an allowed length leave nothing to measure: the offsets or "
                     "shares of the deviation window, or the slope band, take all of it",
                     found.empty() || c.is_automatic ? "--set devlength_ref=1" : "--auto"};
  }
  if (found.empty()) {
    return std::nullopt;
  }
  const settings_t& settings = c.settings;
  const std::string limits = fmt::format("min_chirp_len {}, max_chirp_len {}",
                                         quantity_text(settings.manager.get_min_chirp_len(), "s"),
                                         quantity_text(settings.manager.get_max_chirp_len(), "s"));
  const bool frames = settings.search == search_t::frames;
  return finding_t{
      "limits",
      fmt::format("the settings leave out what looks like chirps, {} ({} seen): {}{}",
                  group_text(found.front()), found.front().count, limits,
                  frames ? fmt::format(", frames of {}, which chirps do not cross",
                                       quantity_text(settings.manager.get_time_gate_len(), "s"))
                         : ""),
      c.is_automatic ? wider_limits(counts) : "--auto"};
}

finding_t from_signal(const case_t& c) {
  const signal_look_t& look = c.look();
  constexpr double is_tone = 0.5;
  if (look.tone_share > is_tone) {
    return {"tone", fmt::format("a tone at {}: its frequency does not change",
                                quantity_text(rounded(look.tone * c.info.sample_rate, 3), "Hz"))};
  }
  const double share = look.steady_share;
  constexpr double is_smooth = 0.5;
  if (c.counts().candidates == 0 && look.smoothness > is_smooth) {
    return {
        "no switching",
        fmt::format("the frequency does not change its direction; a chirp lies between two such "
                    "changes, so record two periods or more (this is {})",
                    seconds_text(static_cast<double>(c.totals.sample_count) / c.info.sample_rate))};
  }
  if (share < least_steady_share && look.smoothness < is_smooth) {
    return {"noise", "looks like noise: no signal of a steady level stands out of it"};
  }
  if (share >= least_steady_share && share < clear_steady_share) {
    return {
        "too noisy",
        fmt::format("a signal about {:.0f} dB above the noise shows no ramp: too noisy for one, "
                    "or none is there; less noise reaches a narrower band, sampled more slowly",
                    10.0 * std::log10(share / (1.0 - share)))};
  }
  return {"no ramps",
          fmt::format("a signal, but its frequency runs straight for no longer than the smoothing "
                      "of {} samples ({}); shorter chirps need a higher sample rate",
                      smoothing_samples,
                      seconds_text(static_cast<double>(smoothing_samples) / c.info.sample_rate))};
}

std::string counts_text(const case_t& c) {
  const candidate_counts_t& counts = c.counts();
  const auto with = [](const char* which, const std::optional<double>& seconds) {
    return seconds ? fmt::format(" ({} {})", which, seconds_text(*seconds)) : "";
  };
  std::string text = fmt::format(
      "{} samples, {} of them not finite; in the first {}: {} switching points, {} "
      "candidates",
      c.totals.sample_count, c.totals.nonfinite_count, counts.sample_count, counts.switching_points,
      counts.candidates);
  if (c.is_automatic && c.settings.manager.get_max_chirp_len() == 0.0) {
    return text + with("the longest", counts.longest) + ", none straight as a chirp is";
  }
  return text + fmt::format(
                    ": {} too short{}, {} too long{}, {} leaving the frame, {} not "
                    "measurable",
                    counts.too_short, with("longest", counts.longest_too_short), counts.too_long,
                    with("shortest", counts.shortest_too_long), counts.leaving,
                    counts.unmeasurable);
}

finding_t find(const case_t& c) {
  for (const auto& look : {from_data, from_samples, from_settings}) {
    if (auto finding = look(c)) {
      return *finding;
    }
  }
  return from_signal(c);
}

}  // namespace

std::string look_sentence(const recording_info_t& info, const data_look_t& data) {
  return fmt::format("read as {}, the data look like {}", info.datatype, look_text(data));
}

data_look_t look_at_recording(const recording_t& recording) {
  const datatype_t* const type = find_datatype(recording.info().datatype);
  if (type == nullptr) {
    return {};
  }
  return look_at_data(recording.first_bytes(looked_bytes, recording_t::of_file),
                      recording.first_bytes(looked_bytes, recording_t::of_dataset), *type);
}

diagnosis_t diagnose(const recording_info_t& info, const recording_totals_t& totals,
                     const settings_t& settings, bool is_automatic, const data_look_t& data) {
  const case_t seen{info, totals, settings, is_automatic, data};
  finding_t finding = find(seen);
  return {finding.reason, std::move(finding.sentence), counts_text(seen), std::move(finding.change),
          seen.counts()};
}

void write_json(json_writer_t& out, const diagnosis_t& diagnosis) {
  const candidate_counts_t& counts = diagnosis.candidates;
  const auto put_optional = [&](const char* name, const std::optional<double>& value) {
    out.key(name);
    value ? out.value(*value) : out.value(nullptr);
  };
  out.begin_object()
      .member("reason", diagnosis.reason)
      .member("sentence", std::string_view(diagnosis.sentence))
      .key("change");
  diagnosis.change.empty() ? out.value(nullptr) : out.value(std::string_view(diagnosis.change));
  out.member("looked_sample_count", counts.sample_count)
      .member("switching_points", counts.switching_points)
      .member("candidates", counts.candidates)
      .member("too_short", counts.too_short);
  put_optional("longest_too_short_s", counts.longest_too_short);
  out.member("too_long", counts.too_long);
  put_optional("shortest_too_long_s", counts.shortest_too_long);
  out.member("leaving", counts.leaving).member("unmeasurable", counts.unmeasurable).end_object();
}

}  // namespace orn::fmcw_host
