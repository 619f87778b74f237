#include "truth.h"

#include "common/annotations/chirp_annotation.h"
#include "common/capture/sigmf_description.h"
#include "common/figures/figure_table.h"
#include "common/output/text.h"
#include "table.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <optional>
#include <string>
#include <utility>

#include <fmt/format.h>

namespace fmcw_cli {
namespace {

using namespace orn::fmcw_host;

/// Samples that smoothing and merging need beside a switching point.
constexpr std::uint64_t context_samples = 256;

/// What whoever made the recording promises; chirps measured earlier stand in where that is nothing.
std::vector<chirp_truth_t> promised(const recording_t& recording) {
  std::vector<chirp_truth_t> truth;
  std::vector<chirp_truth_t> measured;
  recording.for_each_annotation([&](const annotation_t& annotation) {
    if (const auto chirp = truth_of(annotation)) {
      (is_measured(annotation) ? measured : truth).push_back(*chirp);
    }
  });
  if (truth.empty()) {
    truth = std::move(measured);
  }
  std::sort(truth.begin(), truth.end(), [](const chirp_truth_t& a, const chirp_truth_t& b) {
    return a.sample_start < b.sample_start;
  });
  return truth;
}

std::uint64_t shared_samples(const chirp_truth_t& truth, const chirp_t& chirp) {
  const std::uint64_t begin = std::max(chirp.first_sample, truth.sample_start);
  const std::uint64_t end =
      std::min(chirp.last_sample + 1, truth.sample_start + truth.sample_count);
  return end > begin ? end - begin : 0;
}

/// For each promised chirp the measured one that stands for it: at least half of either is shared.
std::vector<const chirp_t*> match(const std::vector<chirp_truth_t>& truth,
                                  const std::vector<chirp_t>& chirps) {
  std::vector<const chirp_t*> matches(truth.size(), nullptr);
  auto chirp = chirps.begin();
  for (std::size_t i = 0; i < truth.size(); ++i) {
    const chirp_truth_t& wanted = truth[i];
    while (chirp != chirps.end() && chirp->last_sample < wanted.sample_start) {
      ++chirp;
    }
    for (auto next = chirp;
         next != chirps.end() && next->first_sample < wanted.sample_start + wanted.sample_count;
         ++next) {
      const std::uint64_t shared = shared_samples(wanted, *next);
      const bool is_better = matches[i] == nullptr || shared > shared_samples(wanted, *matches[i]);
      if (2 * shared > wanted.sample_count &&
          2 * shared > next->last_sample + 1 - next->first_sample && is_better) {
        matches[i] = &*next;
      }
    }
  }
  return matches;
}

struct column_t {
  const char* column;
  double (*truth)(const chirp_truth_t&);  ///< null: not known
  bool as_time;                           ///< errors in microseconds instead of percent
};

// Power errors are of milliwatts, not of dBm.
constexpr std::array columns = {
    column_t{"start_s", [](const chirp_truth_t& t) { return t.start; }, true},
    column_t{"length_s", [](const chirp_truth_t& t) { return t.length; }, false},
    column_t{"slope_khz_per_us", [](const chirp_truth_t& t) { return t.slope * 1e-9; }, false},
    column_t{"bandwidth_hz", [](const chirp_truth_t& t) { return t.freq_upper - t.freq_lower; },
             false},
    column_t{"power_avg_dbm", [](const chirp_truth_t& t) { return t.power; }, false},
    column_t{"freq_dev_rms_hz", nullptr, false},
    column_t{"inl_peak", nullptr, false},
};

std::string error_text(const figure_t& figure, double measured, double truth) {
  const double ratio =
      figure.unit == "dBm" ? std::pow(10.0, (measured - truth) / 10.0) : measured / truth;
  return truth == 0.0 ? "-" : fmt::format("{:+.3f} %", (ratio - 1.0) * 100.0);
}

class comparison_t {
 public:
  comparison_t(const std::vector<chirp_truth_t>& truth,
               const std::vector<const chirp_t*>& matches) {
    std::vector<std::string> head = {"chirp", ""};
    for (const column_t& column : columns) {
      const figure_t& figure = figure_named(column.column);
      std::vector<double> values;
      std::vector<double> errors;
      for (std::size_t i = 0; i < truth.size(); ++i) {
        if (matches[i] != nullptr) {
          const double measured = figure.get(*matches[i]);
          values.push_back(column.truth == nullptr ? measured : column.truth(truth[i]));
          errors.push_back(measured - values.back());
        }
      }
      error_scales_.emplace_back(std::string(figure.unit), errors);
      scales_.emplace_back(std::string(figure.unit), values);
      head.push_back(fmt::format("{} [{}]", figure.title, scales_.back().unit));
    }
    table_.emplace(std::move(head));
  }

  void add(std::size_t number, const chirp_truth_t& truth, const chirp_t& chirp) {
    std::array<std::vector<std::string>, 3> rows = {
        {{std::to_string(number), "measured"}, {"", "truth"}, {"", "error"}}};
    for (std::size_t i = 0; i < columns.size(); ++i) {
      const figure_t& figure = figure_named(columns[i].column);
      const double measured = figure.get(chirp);
      rows[0].push_back(scales_[i].format(measured));
      const bool known = columns[i].truth != nullptr;
      const double wanted = known ? columns[i].truth(truth) : 0.0;
      rows[1].push_back(known ? scales_[i].format(wanted) : "");
      const scaled_unit_t& scale = error_scales_[i];
      rows[2].push_back(
          !known ? ""
          : columns[i].as_time
              ? fmt::format("{:+.1f} {}", (measured - wanted) * scale.factor, scale.unit)
              : error_text(figure, measured, wanted));
    }
    for (auto& row : rows) {
      table_->add(std::move(row));
    }
  }

  /// Within the width of the output; figures go from the right where they have no room.
  void put(std::ostream& out) {
    std::vector<std::size_t> order(columns.size());
    std::iota(order.rbegin(), order.rend(), 2);  // behind the number and the kind of the row
    order.pop_back();
    const auto left_out = table_->fit(order);
    out << *table_;
    if (!left_out.empty()) {
      out << fmt::format("no room for: {}\n", fmt::join(left_out, ", "));
    }
  }

 private:
  std::vector<scaled_unit_t> scales_;
  std::vector<scaled_unit_t> error_scales_;
  std::optional<table_t> table_;
};

/// Two times in one unit: "0 to 100 us".
std::string range_text(double begin, double end) {
  const scaled_unit_t scale("s", {begin, end});
  return fmt::format("{} to {} {}", scale.format(begin), scale.format(end), scale.unit);
}

/// Why a promised chirp has no row. `is_excused`: it could not have one.
struct reason_t {
  std::string text;
  bool is_excused;
};

reason_t reason_for(const chirp_truth_t& truth, const recording_t& recording,
                    const settings_t& settings) {
  const manager_t& manager = settings.manager;
  if (!(truth.length > manager.get_min_chirp_len() && truth.length < manager.get_max_chirp_len())) {
    return {fmt::format("its length lies outside the limits, {}",
                        range_text(manager.get_min_chirp_len(), manager.get_max_chirp_len())),
            true};
  }
  for (const segment_t& segment : recording.segments()) {
    const std::uint64_t end = segment.first_sample + segment.sample_count.value_or(UINT64_MAX / 2);
    if (truth.sample_start >= segment.first_sample && truth.sample_start < end) {
      if (truth.sample_start < segment.first_sample + context_samples) {
        return {"the recording begins with it, so no switching point lies before it", true};
      }
      if (truth.sample_start + truth.sample_count + context_samples > end) {
        return {"the recording ends with it, so no switching point lies behind it", true};
      }
      return {"no candidate between two switching points covers it", false};
    }
  }
  return {"it lies outside the part that was read", true};
}

}  // namespace

bool print_against_truth(std::ostream& out, const recording_t& recording,
                         const settings_t& settings, const std::vector<chirp_t>& chirps) {
  const std::vector<chirp_truth_t> truth = promised(recording);
  if (truth.empty()) {
    out << printable(recording.info().name) << ": has no annotated chirps to compare with\n";
    return true;
  }
  const std::vector<const chirp_t*> matches = match(truth, chirps);
  comparison_t comparison(truth, matches);
  std::string missing;
  bool all_found = true;
  double worst_slope = 0.0;
  for (std::size_t i = 0; i < truth.size(); ++i) {
    if (matches[i] != nullptr) {
      comparison.add(i + 1, truth[i], *matches[i]);
      worst_slope = std::max(worst_slope,
                             std::abs(matches[i]->figures.slope / (truth[i].slope * 1e-9) - 1.0));
      continue;
    }
    const reason_t reason = reason_for(truth[i], recording, settings);
    all_found = all_found && reason.is_excused;
    missing +=
        fmt::format("chirp {} ({}): not measured, {}\n", i + 1,
                    range_text(truth[i].start, truth[i].start + truth[i].length), reason.text);
  }
  const auto found = static_cast<std::size_t>(
      std::count_if(matches.begin(), matches.end(), [](const chirp_t* chirp) { return chirp; }));
  if (found > 0) {
    comparison.put(out);
  }
  out << missing
      << fmt::format(
             "{} of {} annotated chirps measured, largest slope error {:.4f} %; power errors "
             "are of milliwatts\n",
             found, truth.size(), worst_slope * 100.0);
  return all_found;
}

}  // namespace fmcw_cli
