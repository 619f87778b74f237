#include "analysis_json.h"

#include "common/capture/absolute_time.h"
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

/// Grows with what is added; a change of what is there would be another version.
constexpr int schema_version = 1;

void put_segments(json_writer_t& json, const recording_t& recording) {
  const absolute_time_t time(recording);
  json.key("segments").begin_array();
  for (const segment_t& segment : recording.segments()) {
    json.begin_object().member("first_sample", segment.first_sample);
    put_optional(json, "sample_count", segment.sample_count);
    put_optional(json, "centre_hz", segment.centre);
    const std::string datetime = time.of(segment.first_sample);
    json.key("datetime");
    datetime.empty() ? json.value(nullptr) : json.value(std::string_view(datetime));
    json.end_object();
  }
  json.end_array();
}

}  // namespace

analysis_json_t::analysis_json_t(std::ostream& out, bool is_several, bool with_verdict)
    : json_(out, json_writer_t::indented), is_several_(is_several), with_verdict_(with_verdict) {
  json_.begin_object().key("schema").begin_object();
  json_.member("name", "fmcw-analysis").member("version", schema_version).end_object();
  json_.key("library").begin_object();
  json_.member("name", "fmcw_demod").member("version", FMCW_VERSION).end_object();
  if (is_several_) {
    json_.key("captures").begin_array();
  }
}

void analysis_json_t::begin(const recording_t& recording, const conditioning_t& conditioning,
                            const settings_t& settings) {
  is_begun_ = true;
  if (is_several_) {
    json_.begin_object();
  }
  const recording_info_t& info = recording.info();
  json_.key("capture").begin_object();
  json_.member("file", std::string_view(info.name))
      .member("format", std::string_view(info.format))
      .member("datatype", std::string_view(info.datatype))
      .member("sample_rate", info.sample_rate);
  put_optional(json_, "sample_count", info.sample_count);
  put_optional(json_, "full_scale_v", info.full_scale);
  put_segments(json_, recording);
  if (!conditioning.is_none()) {
    json_.key("conditioning").begin_object();
    json_.member("shift_hz", conditioning.shift);
    put_optional(json_, "low_pass_hz", conditioning.low_pass);
    json_.member("decimate", std::uint64_t{conditioning.decimate}).end_object();
  }
  json_.end_object().key("settings");
  write_profile(json_, settings);
  json_.key("chirps").begin_array();
}

void analysis_json_t::add(const chirp_t& chirp, const row_remarks_t& remarks) {
  write_json(json_, chirp, remarks, with_verdict_);
}

void analysis_json_t::end(const capture_results_t& results) {
  const summary_t& summary = results.summary;
  const recording_totals_t& totals = results.totals;
  const auto finite_count = static_cast<double>(totals.sample_count - totals.nonfinite_count);
  json_.end_array().key("statistics");
  write_json(json_, results.statistics);
  if (results.judge != nullptr) {
    json_.key("limits");
    write_json(json_, results.judge->outcomes());
    const std::string_view verdict = name_of(results.judge->verdict());
    json_.key("verdict");
    verdict.empty() ? json_.value(nullptr) : json_.value(verdict);
  }
  json_.key("samples").begin_object();
  json_.member("sha256", std::string_view(results.sha256)).end_object();
  json_.key("summary")
      .begin_object()
      .member("chirp_total", summary.chirp_count())
      .member("power_avg_dbm", dbm_of(totals.squares / finite_count, results.impedance))
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
  if (results.diagnosis != nullptr) {
    write_json(json_.key("diagnosis"), *results.diagnosis);
  }
  if (is_several_) {
    json_.end_object();
  }
  is_begun_ = false;
}

void analysis_json_t::fail(std::string_view name, std::string_view error) {
  if (is_begun_) {
    json_.end_array();
  } else {
    json_.begin_object().key("capture").begin_object().member("file", name).end_object();
  }
  json_.member("error", error).end_object();
  is_begun_ = false;
}

void analysis_json_t::finish() {
  if (is_several_) {
    json_.end_array();
  }
  json_.end_object();
}

}  // namespace fmcw_cli
