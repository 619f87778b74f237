#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <span>

/// What a fuzzer reads, and how it says that something does not hold.
namespace orn::fuzz {

/// Stops the fuzzer, which then keeps the input.
inline void require(bool holds, const char* property) {
  if (!holds) {
    std::fprintf(stderr, "does not hold: %s\n", property);
    std::abort();
  }
}

/// Values out of the fuzzer's bytes, one after the other; zeros once they are used up.
class input_t {
 public:
  input_t(const std::uint8_t* data, std::size_t size) : bytes_(data, size) {}

  bool empty() const { return bytes_.empty(); }

  /// Any value of a trivially copyable type without padding, as its bytes stand.
  template <class T>
  T raw() {
    std::array<std::uint8_t, sizeof(T)> bytes{};
    const std::size_t count = std::min(bytes.size(), bytes_.size());
    std::copy_n(bytes_.begin(), count, bytes.begin());
    bytes_ = bytes_.subspan(count);
    return std::bit_cast<T>(bytes);
  }

  /// 0 to end - 1; `end` is at most 65536.
  std::size_t below(std::size_t end) { return raw<std::uint16_t>() % end; }

  bool one_in(std::size_t count) { return raw<std::uint8_t>() % count == count - 1; }

  template <class Choices>
  auto of(const Choices& choices) {
    return choices[raw<std::uint8_t>() % choices.size()];
  }

  /// A number of any kind: the edges of the type, small whole ones, fractions, any bits.
  template <class T>
  T number() {
    using limits = std::numeric_limits<T>;
    constexpr std::array<T, 14> edges = {T{0},
                                         -T{0},
                                         T{1},
                                         T{-1},
                                         T(0.5),
                                         limits::max(),
                                         limits::lowest(),
                                         limits::min(),
                                         limits::denorm_min(),
                                         limits::epsilon(),
                                         limits::infinity(),
                                         -limits::infinity(),
                                         limits::quiet_NaN(),
                                         T(4294967296.0)};
    switch (raw<std::uint8_t>() % 4) {
      case 0:
        return of(edges);
      case 1:
        return static_cast<T>(raw<std::int16_t>());
      case 2:
        return static_cast<T>(raw<std::int16_t>()) / T(32768);
      default:
        return raw<T>();
    }
  }

 private:
  std::span<const std::uint8_t> bytes_;
};

}  // namespace orn::fuzz
