#include "report.h"

#include "settings.h"
#include "table.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace fmcw_cli {
namespace {

using nlohmann::ordered_json;
using orn::fmcw_demod_lib::fmcw_chirp_result_t;
using orn::fmcw_demod_lib::fmcw_measure_result_t;
using orn::fmcw_demod_lib::interval_t;
using chirp_t = fmcw_chirp_result_t;

struct chirp_field_t {
  const char* name;
  const char* unit;
  double chirp_t::*member;
};

constexpr std::array chirp_fields = {
    chirp_field_t{"start_time", "s", &chirp_t::start_time},
    chirp_field_t{"stop_time", "s", &chirp_t::stop_time},
    chirp_field_t{"length", "s", &chirp_t::length},
    chirp_field_t{"switching_time", "s", &chirp_t::switching_time},
    chirp_field_t{"slope", "kHz/us", &chirp_t::slope},
    chirp_field_t{"slope_dev_mean", "kHz/us", &chirp_t::slope_dev_mean},
    chirp_field_t{"slope_dev_rms", "kHz/us", &chirp_t::slope_dev_rms},
    chirp_field_t{"slope_dev_avg", "kHz/us", &chirp_t::slope_dev_avg},
    chirp_field_t{"slope_dev_peak", "kHz/us", &chirp_t::slope_dev_peak},
    chirp_field_t{"bandwidth", "Hz", &chirp_t::bandwidth},
    chirp_field_t{"freq_avg", "Hz", &chirp_t::freq_avg},
    chirp_field_t{"freq_dev_peak", "Hz", &chirp_t::freq_dev_peak},
    chirp_field_t{"freq_dev_rms", "Hz", &chirp_t::freq_dev_rms},
    chirp_field_t{"freq_dev_avg", "Hz", &chirp_t::freq_dev_avg},
    chirp_field_t{"phase_dev_peak", "rad", &chirp_t::phase_dev_peak},
    chirp_field_t{"phase_dev_rms", "rad", &chirp_t::phase_dev_rms},
    chirp_field_t{"phase_dev_avg", "rad", &chirp_t::phase_dev_avg},
    chirp_field_t{"inl_avg", "1", &chirp_t::inl_avg},
    chirp_field_t{"inl_peak", "1", &chirp_t::inl_peak},
    chirp_field_t{"inl_rms", "1", &chirp_t::inl_rms},
    chirp_field_t{"fm_settling_point", "s", &chirp_t::fm_settling_point},
    chirp_field_t{"fm_settling_time", "s", &chirp_t::fm_settling_time},
    chirp_field_t{"fm_settling_length", "s", &chirp_t::fm_settling_length},
    chirp_field_t{"pm_settling_point", "s", &chirp_t::pm_settling_point},
    chirp_field_t{"pm_settling_time", "s", &chirp_t::pm_settling_time},
    chirp_field_t{"pm_settling_length", "s", &chirp_t::pm_settling_length},
    chirp_field_t{"power_avg", "dBm", &chirp_t::power_avg},
    chirp_field_t{"power_peak", "dBm", &chirp_t::power_peak},
    chirp_field_t{"power_min", "dBm", &chirp_t::power_min},
    chirp_field_t{"power_pk_dev", "dB", &chirp_t::power_pk_dev},
};

/// A column of the chirp tables: values in base units, one per chirp, and how to write them.
struct column_t {
  std::string title;
  std::function<std::string(double)> format;
  std::vector<double> values;
};

template <class Value>
std::vector<double> per_chirp(const analysis_t& analysis, Value value) {
  std::vector<double> values;
  for (std::size_t i = 0; i < analysis.result.chirp_results.size(); ++i) {
    values.push_back(value(i));
  }
  return values;
}

column_t plain_column(const std::string& title, std::vector<double> values) {
  return {title, [](double value) { return fmt::format("{:.6g}", value); }, std::move(values)};
}

column_t scaled_column(const std::string& title, const std::string& unit,
                       std::vector<double> values) {
  const scaled_unit_t scale(unit, values);
  return {fmt::format("{} [{}]", title, scale.unit),
          [scale](double value) { return scale.format(value); }, std::move(values)};
}

std::vector<column_t> chief_columns(const analysis_t& analysis) {
  const auto& chirps = analysis.result.chirp_results;
  const auto field = [&](double chirp_t::*member, double factor = 1.0) {
    return per_chirp(analysis, [&](std::size_t i) { return chirps[i].*member * factor; });
  };
  auto starts = per_chirp(analysis, [&](std::size_t i) {
    return static_cast<double>(analysis.result.chirp_intervals[i].first) /
           analysis.capture.sample_rate;
  });
  return {scaled_column("start", "s", std::move(starts)),
          scaled_column("length", "s", field(&chirp_t::length)),
          plain_column("slope [kHz/us]", field(&chirp_t::slope)),
          scaled_column("bandwidth", "Hz", field(&chirp_t::bandwidth)),
          plain_column("avg. power [dBm]", field(&chirp_t::power_avg)),
          scaled_column("RMS freq. dev.", "Hz", field(&chirp_t::freq_dev_rms)),
          plain_column("peak non-lin. [%]", field(&chirp_t::inl_peak, 100.0))};
}

std::vector<column_t> all_columns(const analysis_t& analysis) {
  const auto& chirps = analysis.result.chirp_results;
  std::vector<column_t> columns = {plain_column("chirp_no", per_chirp(analysis, [&](std::size_t i) {
                                                  return static_cast<double>(chirps[i].chirp_no);
                                                }))};
  for (const chirp_field_t& field : chirp_fields) {
    columns.push_back(
        plain_column(fmt::format("{} [{}]", field.name, field.unit),
                     per_chirp(analysis, [&](std::size_t i) { return chirps[i].*field.member; })));
  }
  return columns;
}

/// Index of the measured chirp that shares most samples with an annotated one and at least half of
/// it, if any.
std::optional<std::size_t> measured_as(const chirp_truth_t& truth,
                                       const std::vector<interval_t>& intervals) {
  const std::uint64_t truth_end = truth.sample_start + truth.sample_count;
  std::optional<std::size_t> best;
  std::uint64_t most_shared = truth.sample_count / 2;
  for (std::size_t i = 0; i < intervals.size(); ++i) {
    const std::uint64_t begin = std::max(intervals[i].first, truth.sample_start);
    const std::uint64_t end = std::min(intervals[i].second + 1, truth_end);
    if (end > begin && end - begin > most_shared) {
      most_shared = end - begin;
      best = i;
    }
  }
  return best;
}

std::string percent_error(double measured, double truth) {
  return truth == 0.0 ? "-" : fmt::format("{:+.3f} %", (measured / truth - 1.0) * 100.0);
}

double milliwatts(double dbm) { return std::pow(10.0, dbm / 10.0); }

ordered_json json_of(const std::vector<interval_t>& intervals) {
  ordered_json list = ordered_json::array();
  for (const auto& [first, last] : intervals) {
    list.push_back({first, last});
  }
  return list;
}

ordered_json json_of(const chirp_t& chirp) {
  ordered_json object = {{"chirp_id", chirp.chirp_id}, {"chirp_no", chirp.chirp_no}};
  for (const chirp_field_t& field : chirp_fields) {
    object[field.name] = chirp.*field.member;
  }
  return object;
}

ordered_json json_of_settings(const manager_t& manager) {
  ordered_json object;
  for (const setting_t& setting : settings()) {
    const double value = setting.get(manager);
    switch (setting.kind) {
      case setting_t::kind_t::real:
        object[std::string(setting.name)] = value;
        break;
      case setting_t::kind_t::whole:
      case setting_t::kind_t::impedance:
        object[std::string(setting.name)] = static_cast<std::int64_t>(value);
        break;
      case setting_t::kind_t::flag:
        object[std::string(setting.name)] = value != 0.0;
        break;
    }
  }
  return object;
}

}  // namespace

void print_chirps(std::ostream& out, const analysis_t& analysis, bool all_fields) {
  const auto& chirps = analysis.result.chirp_results;
  if (chirps.empty()) {
    out << "no chirps found\n";
    return;
  }
  const auto columns = all_fields ? all_columns(analysis) : chief_columns(analysis);
  std::vector<std::string> head = {"#"};
  for (const column_t& column : columns) {
    head.push_back(column.title);
  }
  table_t table(std::move(head));
  for (std::size_t i = 0; i < chirps.size(); ++i) {
    std::vector<std::string> row = {std::to_string(chirps[i].chirp_id)};
    for (const column_t& column : columns) {
      row.push_back(column.format(column.values[i]));
    }
    table.add(std::move(row));
  }
  out << table;
}

void print_summary(std::ostream& out, const analysis_t& analysis) {
  const fmcw_measure_result_t& result = analysis.result;
  const scaled_unit_t frequency("Hz", {static_cast<double>(result.freq_avg)});
  out << fmt::format("chirps measured           {}\n", result.chirp_total)
      << fmt::format("capture power             {:.6g} dBm\n", result.power_avg)
      << fmt::format("highest chirp power       {:.6g} dBm\n", result.power_peak)
      << fmt::format("first candidate at        {:.6g} us\n", result.first_chirp_start)
      << fmt::format("switching time, std. dev. {:.6g} us\n", result.switching_time_std)
      << fmt::format("mean frequency            {} {}\n", frequency.format(result.freq_avg),
                     frequency.unit)
      << fmt::format("slope tolerance           {:.6g} kHz/us\n", result.summary_slope_tol);
}

void print_against_truth(std::ostream& out, const analysis_t& analysis) {
  const auto& truth = analysis.capture.truth;
  if (truth.empty()) {
    out << analysis.capture.name << ": has no annotated chirps to compare with\n";
    return;
  }
  const auto columns = chief_columns(analysis);
  constexpr std::size_t power_column = 4;
  std::vector<std::string> head = {"chirp", ""};
  for (const column_t& column : columns) {
    head.push_back(column.title);
  }
  table_t table(std::move(head));
  std::string missing;
  std::size_t found = 0;
  double worst_slope = 0.0;
  for (std::size_t n = 0; n < truth.size(); ++n) {
    const chirp_truth_t& chirp = truth[n];
    const auto match = measured_as(chirp, analysis.result.chirp_intervals);
    if (!match) {
      missing += fmt::format(
          "chirp {} ({:.6g} to {:.6g} us): not measured, it does not lie whole "
          "between two switching points or its length is outside the limits\n",
          n + 1, chirp.start * 1e6, (chirp.start + chirp.length) * 1e6);
      continue;
    }
    ++found;
    // In the columns' order and base units; slope is in kHz/us there.
    const std::array expected = {chirp.start, chirp.length, chirp.slope * 1e-9,
                                 chirp.freq_upper - chirp.freq_lower, chirp.power};
    std::vector<std::string> measured_row = {std::to_string(n + 1), "measured"};
    std::vector<std::string> truth_row = {"", "truth"};
    std::vector<std::string> error_row = {"", "error"};
    for (std::size_t c = 0; c < columns.size(); ++c) {
      const double measured = columns[c].values[*match];
      measured_row.push_back(columns[c].format(measured));
      const bool known = c < expected.size();
      truth_row.push_back(known ? columns[c].format(expected[c]) : "");
      error_row.push_back(!known ? ""
                          : c == power_column
                              ? percent_error(milliwatts(measured), milliwatts(expected[c]))
                              : percent_error(measured, expected[c]));
    }
    worst_slope = std::max(
        worst_slope, std::abs(analysis.result.chirp_results[*match].slope / expected[2] - 1.0));
    table.add(std::move(measured_row));
    table.add(std::move(truth_row));
    table.add(std::move(error_row));
  }
  out << table << missing
      << fmt::format(
             "{} of {} annotated chirps measured, largest slope error {:.4f} %; power errors "
             "are of milliwatts\n",
             found, truth.size(), worst_slope * 100.0);
}

void write_json(std::ostream& out, const analysis_t& analysis, bool with_traces) {
  const fmcw_measure_result_t& r = analysis.result;
  ordered_json result;
  result["chirp_results"] = ordered_json::array();
  for (const chirp_t& chirp : r.chirp_results) {
    result["chirp_results"].push_back(json_of(chirp));
  }
  result["chirp_total"] = r.chirp_total;
  result["chirps_valid"] = r.chirps_valid;
  result["power_avg"] = r.power_avg;
  result["power_peak"] = r.power_peak;
  result["first_chirp_start"] = r.first_chirp_start;
  result["switching_time_std"] = r.switching_time_std;
  result["freq_avg"] = r.freq_avg;
  result["summary_slope_tol"] = r.summary_slope_tol;
  result["summary_valid"] = r.summary_valid;
  if (with_traces) {
    result["time_axis"] = r.time_axis;
    result["instantaneous_freq"] = r.instantaneous_freq;
    result["instantaneous_power"] = r.instantaneous_power;
    result["spectrogram_phase_inst"] = r.spectrogram_phase_inst;
    result["spectrogram_wincfg"] = r.spectrogram_wincfg;
    result["spectrogram_freq_axis_wincfg"] = r.spectrogram_freq_axis_wincfg;
    result["spectrogram_time_axis_wincfg"] = r.spectrogram_time_axis_wincfg;
    result["frame_power"] = r.frame_power;
    result["frame_time_axis"] = r.frame_time_axis;
    result["chirp_power"] = r.chirp_power;
    result["chirp_time_axis"] = r.chirp_time_axis;
    result["chirp_phi_dev"] = r.chirp_phi_dev;
    result["chirp_phi_dev_time_axis"] = r.chirp_phi_dev_time_axis;
    result["chirp_freq_dev"] = r.chirp_freq_dev;
    result["chirp_freq_dev_time_axis"] = r.chirp_freq_dev_time_axis;
    result["chirp_freq_fit"] = r.chirp_freq_fit;
    result["chirp_phi_fit"] = r.chirp_phi_fit;
  }
  result["selected_intervals"] = json_of(r.selected_intervals);
  result["stable_intervals"] = json_of(r.stable_intervals);
  result["chirp_intervals"] = json_of(r.chirp_intervals);
  ordered_json capture = {{"file", analysis.capture.name},
                          {"datatype", analysis.capture.datatype},
                          {"sample_rate", analysis.capture.sample_rate},
                          {"sample_count", analysis.capture.signal.samples.size()}};
  const ordered_json document = {{"capture", std::move(capture)},
                                 {"settings", json_of_settings(analysis.settings)},
                                 {"result", std::move(result)}};
  out << document << '\n';
}

void write_csv(std::ostream& out, const analysis_t& analysis) {
  out << "chirp_id,chirp_no,first_sample,last_sample";
  for (const chirp_field_t& field : chirp_fields) {
    out << ',' << field.name;
  }
  out << '\n';
  const auto& chirps = analysis.result.chirp_results;
  for (std::size_t i = 0; i < chirps.size(); ++i) {
    const auto& [first, last] = analysis.result.chirp_intervals[i];
    out << fmt::format("{},{},{},{}", chirps[i].chirp_id, chirps[i].chirp_no, first, last);
    for (const chirp_field_t& field : chirp_fields) {
      out << fmt::format(",{}", chirps[i].*field.member);
    }
    out << '\n';
  }
}

}  // namespace fmcw_cli
