#include "common/trust/statement.h"

#include "common/settings/units.h"
#include "common/spans/proposal.h"
#include "common/trust/detection.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

namespace orn::fmcw_host {
namespace {

constexpr double unknown = std::numeric_limits<double>::quiet_NaN();
constexpr int digits = 3;

double decibels(double ratio) { return 10.0 * std::log10(ratio); }

/// The word of most chirps, of two the worse.
trust_t most_frequent(const std::array<std::uint64_t, trust_count>& counts) {
  std::size_t most = trust_count - 1;
  for (std::size_t i = most; i-- > 0;) {
    most = counts[i] > counts[most] ? i : most;
  }
  return static_cast<trust_t>(most);
}

/// Whether merging by chance changes figures: it lengthens candidates, from whose slope a wide band
/// and a window that is a share of the length follow.
bool does_merging_matter(double slope, const settings_t& settings) {
  using namespace fmcw_demod_lib;
  const manager_t& manager = settings.manager;
  const bool is_own_band = manager.get_chirp_set() == fmcw_chirp_set_t::automatic;
  return (!is_own_band && manager.get_chirp_config().slope_tol >= slope) ||
         manager.get_devlength_ref() == fmcw_devlength_ref_t::relative;
}

std::string merging_options(double slope, double seconds) {
  const std::string offset = quantity_text(rounded(seconds / 8.0, digits), "s");
  return fmt::format(
      "--set slope_tol={} --set devlength_ref=0 --set devlength_offset_begin={} --set "
      "devlength_offset_end={}",
      quantity_text(rounded(slope / 2.0, digits), "Hz/s"), offset, offset);
}

void advise(const detection_scene_t& scene, statement_t& statement) {
  constexpr double some = 0.01;
  const auto add = [&](std::string sentence, std::string options) {
    statement.advice.push_back({std::move(sentence), std::move(options)});
  };
  if (statement.clipped_share > 0.0) {
    add("lower the level at the converter: where it clips, the noise cannot be told", "");
  }
  if (statement.is_merge_risk) {
    add("end chirps at half their slope and leave out a fixed part at either end: then it does not "
        "matter whether the ends of a fly-back merge",
        merging_options(scene.slope, scene.ramp / scene.rate));
  }
  if (statement.dead_zone_loss > some) {
    add("declare the rate higher, which lifts slow turns above the dead zone; figures are scaled "
        "back exactly",
        fmt::format("--set rate_doublings={}", doublings_for(scene.slope)));
  }
  if (statement.margin < 0.0) {
    add("filter the recording to the width of its sweep before: detection fails by noise", "");
  }
}

}  // namespace

std::size_t statement_t::figure_count(trust_t word) const {
  std::size_t count = 0;
  for (std::size_t i = 0; i < trusted_columns.size(); ++i) {
    std::optional<trust_t> worst;
    for (const auto& direction : directions) {
      if (direction) {
        const trust_t of_one = (*direction)[i].mean.word;
        worst = worst ? std::max(*worst, of_one) : of_one;
      }
    }
    count += worst == word ? 1 : 0;
  }
  return count;
}

void known_mean_t::add(double value) {
  if (std::isfinite(value)) {
    sum += value;
    ++count;
  }
}

double known_mean_t::get() const { return count > 0 ? sum / static_cast<double>(count) : unknown; }

void statement_maker_t::add_scene(const chirp_t& chirp, const chirp_scene_t& scene) {
  ++counted_.chirp_count;
  counted_.told_count += scene.is_told ? 1 : 0;
  counted_.white_count += scene.is_told && scene.is_white ? 1 : 0;
  counted_.slip_count += (chirp.flags & chirp_flag_t::slip) != 0 ? 1 : 0;
  sample_count_ += chirp.last_sample - chirp.first_sample + 1;
  clipped_count_ += chirp.clipped_count;
  if (scene.is_told) {
    snr_.add(decibels(scene.noise.snr));
    correlation_.add(chirp.noise.correlation_1);
  }
  slope_.add(std::abs(scene.noise.slope));
  flyback_.add(scene.noise.flyback);
  ramp_.add(scene.ramp);
  flyback_samples_.add(scene.flyback_samples);
  centre_.add(chirp.figures.freq_avg);
}

chirp_trust_t statement_maker_t::add(const chirp_t& chirp) {
  const chirp_scene_t scene = scene_of(chirp, before_, settings_);
  const chirp_trust_t trust = trust_of(chirp, scene);
  add_scene(chirp, scene);
  auto& sums = sums_[chirp.figures.slope < 0.0 ? 1 : 0];
  if (!sums) {
    sums.emplace();
  }
  for (std::size_t i = 0; i < trust.size(); ++i) {
    figure_sums_t& sum = (*sums)[i];
    sum.value.add(trust[i].value);
    sum.bias.add(trust[i].bias);
    sum.u.add(trust[i].u);
    sum.floor.add(trust[i].floor);
    sum.truth.add(trust[i].truth);
    ++sum.counts[static_cast<std::size_t>(trust[i].word)];
  }
  before_ = chirp;
  return trust;
}

direction_summary_t statement_maker_t::summary_of(const direction_sums_t& sums) {
  direction_summary_t summary;
  for (std::size_t i = 0; i < sums.size(); ++i) {
    const figure_sums_t& sum = sums[i];
    summary[i] = {{sum.value.get(), sum.bias.get(), sum.u.get(), sum.floor.get(), sum.truth.get(),
                   most_frequent(sum.counts)},
                  sum.counts};
    // The few above the floor by chance say nothing of the others.
    if (summary[i].mean.word >= trust_t::noise) {
      summary[i].mean.truth = unknown;
    }
  }
  return summary;
}

void statement_maker_t::judge_detection(statement_t& statement) const {
  constexpr double near = 0.3;
  const detection_scene_t scene = {
      settings_.manager.get_fs(), slope_.get(), flyback_.get(), ramp_.get(), centre_.get(),
      settings_.rate_doublings};
  statement.slope_over_slip = slope_over_slip(scene);
  if (std::isnan(scene.ramp)) {
    return;
  }
  statement.is_too_short = is_too_short(scene);
  statement.dead_zone_loss = dead_zone_loss(scene);
  // The formula of the cliff is one of white noise.
  if (2 * statement.white_count > statement.told_count) {
    statement.cliff = cliff_of(scene);
    statement.margin = statement.snr - statement.cliff;
    statement.found_probability = found_probability(scene, std::pow(10.0, statement.snr / 10.0));
  }
  if (flyback_samples_.get() > 0.0) {
    statement.gap_over_merging = gap_over_merging(scene, flyback_samples_.get());
    statement.is_merge_risk = std::abs(statement.gap_over_merging - 1.0) < near &&
                              does_merging_matter(scene.slope, settings_);
  }
  advise(scene, statement);
}

statement_t statement_maker_t::statement() const {
  statement_t statement = counted_;
  if (statement.chirp_count == 0) {
    return statement;
  }
  if (knows_clip_levels_) {
    statement.clipped_share =
        static_cast<double>(clipped_count_) / static_cast<double>(sample_count_);
  }
  statement.snr = snr_.get();
  statement.correlation = correlation_.get();
  judge_detection(statement);
  for (std::size_t i = 0; i < sums_.size(); ++i) {
    if (sums_[i]) {
      statement.directions[i] = summary_of(*sums_[i]);
    }
  }
  return statement;
}

std::string statement_line(const statement_t& statement) {
  if (statement.chirp_count == 0) {
    return "";
  }
  if (statement.told_count == 0) {
    return "trust: unknown, the noise cannot be told";
  }
  std::string line = fmt::format("trust: SNR {:.1f} dB", statement.snr);
  if (statement.is_slow()) {
    line += ", limited by echoes or the like, not by noise";
  } else if (!std::isnan(statement.margin)) {
    line += fmt::format(", {:.1f} dB {} what 99 % of the chirps need", std::abs(statement.margin),
                        statement.margin < 0.0 ? "below" : "above");
  }
  return line + fmt::format("; of {} figures {} are noise, {} near the floor, {} unknown",
                            trusted_columns.size(), statement.figure_count(trust_t::noise),
                            statement.figure_count(trust_t::near_floor),
                            statement.figure_count(trust_t::unknown));
}

}  // namespace orn::fmcw_host
