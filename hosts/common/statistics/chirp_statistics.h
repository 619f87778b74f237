#pragma once

#include "common/figures/chirp.h"
#include "common/figures/figure_table.h"
#include "common/output/json_writer.h"
#include "common/statistics/accumulator.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace orn::fmcw_host {

/// Which way a chirp's frequency goes, as an index.
enum class direction_t : std::uint8_t { up, down };
inline constexpr std::array directions = {direction_t::up, direction_t::down};

/// "up" or "down".
std::string_view name_of(direction_t direction);

direction_t direction_index(const chirp_t& chirp);

/// Statistics of every figure over the chirps of a recording, rising and falling ones apart,
/// gathered a chirp at a time. Trends are over the chirps' starts.
class chirp_statistics_t {
 public:
  chirp_statistics_t();

  void add(const chirp_t& chirp);

  /// Chirps of a direction; of both when none is named.
  std::uint64_t count(std::optional<direction_t> direction = std::nullopt) const;

  /// figure  of figure_table(). An RF figure has values only where a centre was known.
  statistics_t of(direction_t direction, const figure_t& figure) const;

  /// The same over chirps of both directions.
  statistics_t of(const figure_t& figure) const;

 private:
  struct group_t {
    std::uint64_t count = 0;
    std::vector<accumulator_t> figures;  ///< one for each of figure_table()
  };
  std::array<group_t, 3> groups_;  ///< of the directions, then of both
};

/// Writes {"up": {"count": 8, "slope_khz_per_us": {"count": ..., "mean": ..., ...}, ...}, "down":
/// ...} with the directions that have chirps and the figures that have values.
void write_json(json_writer_t& out, const chirp_statistics_t& statistics);

}  // namespace orn::fmcw_host
