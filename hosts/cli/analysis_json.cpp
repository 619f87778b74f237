#include "analysis_json.h"

#include "common/capture/statistics.h"
#include "common/figures/chirp_json.h"
#include "common/settings/profile.h"

#include <optional>
#include <string_view>

namespace fmcw_cli {

using namespace orn::fmcw_host;

namespace {

template <class Value>
void put_optional(json_writer_t& json, const char* name, const std::optional<Value>& value) {
  json.key(name);
  value ? json.value(*value) : json.value(nullptr);
}

/// Where the recording holds other chirps than the settings look for.
void put_changes(json_writer_t& json, const std::vector<change_t>& changes) {
  json.key("changes").begin_array();
  for (const change_t& change : changes) {
    json.begin_object()
        .member("first_sample", change.first_sample)
        .member("time_s", change.time)
        .member("duration_s", change.others.duration)
        .member("slope_hz_per_s", change.others.slope)
        .member("count", change.others.count)
        .end_object();
  }
  json.end_array();
}

}  // namespace

analysis_json_t::analysis_json_t(std::ostream& out, const recording_t& recording,
                                 const settings_t& settings)
    : json_(out, json_writer_t::indented) {
  const recording_info_t& info = recording.info();
  json_.begin_object().key("capture").begin_object();
  json_.member("file", std::string_view(info.name))
      .member("format", std::string_view(info.format))
      .member("datatype", std::string_view(info.datatype))
      .member("sample_rate", info.sample_rate);
  put_optional(json_, "sample_count", info.sample_count);
  put_optional(json_, "full_scale_v", info.full_scale);
  json_.end_object().key("settings");
  write_profile(json_, settings);
  json_.key("chirps").begin_array();
}

void analysis_json_t::add(const chirp_t& chirp) { write_json(json_, chirp); }

void analysis_json_t::finish(const summary_t& summary, const recording_totals_t& totals,
                             double impedance, const diagnosis_t* diagnosis) {
  const auto finite_count = static_cast<double>(totals.sample_count - totals.nonfinite_count);
  json_.end_array()
      .key("summary")
      .begin_object()
      .member("chirp_total", summary.chirp_count())
      .member("power_avg_dbm", dbm_of(totals.squares / finite_count, impedance))
      .member("power_peak_dbm", summary.power_peak())
      .member("switching_time_std_s", summary.switching_time_std())
      .member("gap_std_s", summary.gap_std())
      .member("freq_avg_hz", summary.freq_avg())
      .member("sample_count", totals.sample_count)
      .member("nonfinite_count", totals.nonfinite_count);
  put_optional(json_, "first_nonfinite_sample", totals.first_nonfinite);
  json_.member("uncovered_count", totals.uncovered_count);
  put_changes(json_, totals.changes);
  json_.member("uneven_bandwidth_count", summary.uneven_count()).key("flag_counts").begin_object();
  for (std::size_t i = 0; i < flag_table.size(); ++i) {
    json_.member(flag_table[i].word, summary.flag_counts()[i]);
  }
  json_.end_object().end_object();
  if (diagnosis != nullptr) {
    write_json(json_.key("diagnosis"), *diagnosis);
  }
  json_.end_object();
}

}  // namespace fmcw_cli
