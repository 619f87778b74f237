#include "common/statistics/chirp_statistics.h"

#include "common/statistics/statistic.h"

namespace orn::fmcw_host {
namespace {

constexpr std::size_t both = directions.size();

std::size_t index_of(const figure_t& figure) {
  return static_cast<std::size_t>(&figure - figure_table().data());
}

}  // namespace

std::string_view name_of(direction_t direction) {
  return direction == direction_t::up ? "up" : "down";
}

direction_t direction_index(const chirp_t& chirp) {
  return direction_of(chirp) == "down" ? direction_t::down : direction_t::up;
}

chirp_statistics_t::chirp_statistics_t() {
  for (group_t& group : groups_) {
    group.figures.resize(figure_table().size());
  }
}

void chirp_statistics_t::add(const chirp_t& chirp) {
  for (const std::size_t index : {static_cast<std::size_t>(direction_index(chirp)), both}) {
    group_t& group = groups_.at(index);
    ++group.count;
    for (std::size_t i = 0; i < group.figures.size(); ++i) {
      const figure_t& figure = figure_table()[i];
      if (chirp.centre || !needs_centre(figure)) {
        group.figures[i].add(chirp.start, figure.get(chirp));
      }
    }
  }
}

std::uint64_t chirp_statistics_t::count(std::optional<direction_t> direction) const {
  return groups_.at(direction ? static_cast<std::size_t>(*direction) : both).count;
}

statistics_t chirp_statistics_t::of(direction_t direction, const figure_t& figure) const {
  return groups_.at(static_cast<std::size_t>(direction)).figures[index_of(figure)].result();
}

statistics_t chirp_statistics_t::of(const figure_t& figure) const {
  return groups_.at(both).figures[index_of(figure)].result();
}

void write_json(json_writer_t& out, const chirp_statistics_t& statistics) {
  out.begin_object();
  for (const direction_t direction : directions) {
    if (statistics.count(direction) == 0) {
      continue;
    }
    out.key(name_of(direction)).begin_object();
    out.member("count", statistics.count(direction));
    for (const figure_t& figure : figure_table()) {
      const statistics_t values = statistics.of(direction, figure);
      if (values.count + values.left_out == 0) {
        continue;
      }
      out.key(figure.column).begin_object();
      out.member("count", values.count).member("left_out", values.left_out);
      for (const statistic_t& statistic : statistic_table()) {
        out.member(statistic.member, statistic.get(values));
      }
      out.end_object();
    }
    out.end_object();
  }
  out.end_object();
}

}  // namespace orn::fmcw_host
