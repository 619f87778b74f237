#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace fmcw_cli {

/// Makes `count` items on several threads and takes them on the calling one, in order. At most 64
/// are there at a time.
/// make  from an index to an Item; must not throw
/// take  what it throws ends all
template <class Item, class Make, class Take>
void for_each_in_order(std::size_t count, unsigned jobs, Make make, Take take) {
  constexpr std::size_t most_at_a_time = 64;
  for (std::size_t begin = 0; begin < count; begin += most_at_a_time) {
    std::vector<std::optional<Item>> items(std::min(most_at_a_time, count - begin));
    std::atomic<std::size_t> next = 0;
    const auto work = [&] {
      for (std::size_t i = next++; i < items.size(); i = next++) {
        items[i].emplace(make(begin + i));
      }
    };
    {
      std::vector<std::jthread> threads;
      for (std::size_t i = 1; i < std::min<std::size_t>(jobs, items.size()); ++i) {
        threads.emplace_back(work);
      }
      work();
    }
    for (auto& item : items) {
      take(std::move(*item));
      item.reset();
    }
  }
}

}  // namespace fmcw_cli
