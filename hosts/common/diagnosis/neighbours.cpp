#include "common/diagnosis/neighbours.h"

#include <algorithm>
#include <cmath>

namespace orn::fmcw_host {
namespace {

constexpr std::size_t most_neighbours = 32;  // on either side
constexpr std::size_t most_held = 64;
constexpr std::size_t enough_neighbours = 4;
constexpr double like_share = 0.05;
constexpr double like_quartiles = 5.0;

std::size_t direction_index(const chirp_t& chirp) { return chirp.figures.slope < 0.0 ? 1 : 0; }

/// Element of rank share * n; the upper one of two for the median of an even number.
double quantile(std::vector<double>& values, double share) {
  const auto place =
      values.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size()));
  std::nth_element(values.begin(), place, values.end());
  return *place;
}

bool is_far(double value, std::vector<double> others) {
  const double median = quantile(others, 0.5);
  for (double& other : others) {
    other = std::abs(other - median);
  }
  const double spread = quantile(others, 0.75);
  return std::abs(value - median) >
         std::max(like_share * std::abs(median), like_quartiles * spread);
}

}  // namespace

bool neighbour_check_t::is_unlike(const shape_t& row, const std::vector<shape_t>& neighbours) {
  if (neighbours.size() < enough_neighbours) {
    return false;
  }
  std::vector<double> lengths;
  std::vector<double> slopes;
  for (const shape_t& neighbour : neighbours) {
    lengths.push_back(neighbour.length);
    slopes.push_back(neighbour.slope);
  }
  return is_far(row.length, std::move(lengths)) || is_far(row.slope, std::move(slopes));
}

void neighbour_check_t::pass_on() {
  chirp_t chirp = held_.front();
  held_.pop_front();
  const std::size_t direction = direction_index(chirp);
  --held_count_[direction];
  const shape_t row{chirp.figures.length, chirp.figures.slope};
  auto& past = past_[direction];
  std::vector<shape_t> neighbours(past.begin(), past.end());
  for (const chirp_t& next : held_) {
    if (direction_index(next) == direction && neighbours.size() < past.size() + most_neighbours) {
      neighbours.push_back({next.figures.length, next.figures.slope});
    }
  }
  if (is_unlike(row, neighbours)) {
    chirp.flags |= chirp_flag_t::unlike;
  }
  past.push_back(row);
  if (past.size() > most_neighbours) {
    past.pop_front();
  }
  take_(chirp);
}

void neighbour_check_t::add(const chirp_t& chirp) {
  held_.push_back(chirp);
  ++held_count_[direction_index(chirp)];
  while (held_.size() == most_held ||
         held_count_[direction_index(held_.front())] > most_neighbours) {
    pass_on();
  }
}

void neighbour_check_t::flush() {
  while (!held_.empty()) {
    pass_on();
  }
}

}  // namespace orn::fmcw_host
