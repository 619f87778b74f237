#include "common/capture/datatype.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

namespace orn::fmcw_host {
namespace {

using fmcw_demod_lib::sample_t;

template <std::size_t Bytes>
using bits_t = std::conditional_t<
    Bytes == 1, std::uint8_t,
    std::conditional_t<Bytes == 2, std::uint16_t,
                       std::conditional_t<Bytes == 4, std::uint32_t, std::uint64_t>>>;

constexpr std::uint8_t swapped(std::uint8_t bits) { return bits; }
constexpr std::uint16_t swapped(std::uint16_t bits) { return __builtin_bswap16(bits); }
constexpr std::uint32_t swapped(std::uint32_t bits) { return __builtin_bswap32(bits); }
constexpr std::uint64_t swapped(std::uint64_t bits) { return __builtin_bswap64(bits); }

template <class Component, std::endian Order>
Component load(const std::byte* bytes) {
  bits_t<sizeof(Component)> bits{};
  std::memcpy(&bits, bytes, sizeof(bits));
  return std::bit_cast<Component>(Order == std::endian::native ? bits : swapped(bits));
}

template <std::endian Order, class Component>
void store(Component value, std::byte* bytes) {
  auto bits = std::bit_cast<bits_t<sizeof(Component)>>(value);
  bits = Order == std::endian::native ? bits : swapped(bits);
  std::memcpy(bytes, &bits, sizeof(bits));
}

/// 2^(n-1) of a whole-number format of n bits.
template <class Component>
constexpr double full_scale_code = static_cast<double>(1ULL << (8 * sizeof(Component) - 1));

/// The code that stands for 0.
template <class Component>
constexpr double middle_code = std::is_unsigned_v<Component> ? full_scale_code<Component> : 0.0;

template <class Component>
float scaled(Component code) {
  if constexpr (std::is_same_v<Component, float>) {
    return code;
  } else if constexpr (std::is_same_v<Component, double>) {
    constexpr double largest = std::numeric_limits<float>::max();
    return std::abs(code) > largest ? std::copysign(std::numeric_limits<float>::infinity(),
                                                    static_cast<float>(std::copysign(1.0, code)))
                                    : static_cast<float>(code);
  } else if constexpr (sizeof(Component) <= 2) {
    // Codes of 16 bits, and their differences, are exact as a float.
    return (static_cast<float>(code) - static_cast<float>(middle_code<Component>)) *
           static_cast<float>(1.0 / full_scale_code<Component>);
  } else {
    return static_cast<float>((static_cast<double>(code) - middle_code<Component>) /
                              full_scale_code<Component>);
  }
}

/// The code of a value; `clipped` is set where the range ends before it.
template <class Component>
Component code_of(float value, bool& clipped) {
  if constexpr (std::is_floating_point_v<Component>) {
    return value;
  } else {
    constexpr auto lowest = static_cast<double>(std::numeric_limits<Component>::min());
    constexpr auto highest = static_cast<double>(std::numeric_limits<Component>::max());
    const double finite = std::isnan(value) ? 0.0 : value;
    const double code =
        std::nearbyint(finite * full_scale_code<Component> + middle_code<Component>);
    clipped = clipped || code < lowest || code > highest;
    return static_cast<Component>(std::clamp(code, lowest, highest));
  }
}

template <class Component, std::endian Order>
void decode_as(const std::byte* bytes, std::span<sample_t> out) {
  for (sample_t& sample : out) {
    const auto i = load<Component, Order>(bytes);
    const auto q = load<Component, Order>(bytes + sizeof(Component));
    sample = {scaled(i), scaled(q)};
    bytes += 2 * sizeof(Component);
  }
}

template <class Component, std::endian Order>
std::size_t encode_as(std::span<const sample_t> samples, std::byte* bytes) {
  std::size_t count = 0;
  for (const sample_t& sample : samples) {
    bool clipped = false;
    store<Order>(code_of<Component>(sample.real(), clipped), bytes);
    store<Order>(code_of<Component>(sample.imag(), clipped), bytes + sizeof(Component));
    bytes += 2 * sizeof(Component);
    count += clipped ? 1 : 0;
  }
  return count;
}

template <class Component, std::endian Order>
constexpr datatype_t datatype(std::string_view name) {
  float highest = 0.0F;
  if constexpr (std::is_integral_v<Component>) {
    highest = static_cast<float>(1.0 - 1.0 / full_scale_code<Component>);
  }
  return {name, 2 * sizeof(Component), highest, decode_as<Component, Order>,
          encode_as<Component, Order>};
}

constexpr auto little = std::endian::little;
constexpr auto big = std::endian::big;
constexpr std::array all_datatypes = {
    datatype<float, little>("cf32_le"),         datatype<float, big>("cf32_be"),
    datatype<double, little>("cf64_le"),        datatype<double, big>("cf64_be"),
    datatype<std::int32_t, little>("ci32_le"),  datatype<std::int32_t, big>("ci32_be"),
    datatype<std::int16_t, little>("ci16_le"),  datatype<std::int16_t, big>("ci16_be"),
    datatype<std::uint32_t, little>("cu32_le"), datatype<std::uint32_t, big>("cu32_be"),
    datatype<std::uint16_t, little>("cu16_le"), datatype<std::uint16_t, big>("cu16_be"),
    datatype<std::int8_t, little>("ci8"),       datatype<std::uint8_t, little>("cu8"),
};

constexpr std::array<std::pair<std::string_view, std::string_view>, 8> suffixes = {{
    {"cf32", "cf32_le"},
    {"fc32", "cf32_le"},
    {"cfile", "cf32_le"},
    {"cf64", "cf64_le"},
    {"cs32", "ci32_le"},
    {"cs16", "ci16_le"},
    {"sc16", "ci16_le"},
    {"cs8", "ci8"},
}};

}  // namespace

std::span<const datatype_t> datatypes() { return all_datatypes; }

const datatype_t* find_datatype(std::string_view name) {
  const auto same = [](char a, char b) { return (a >= 'A' && a <= 'Z' ? a - 'A' + 'a' : a) == b; };
  const auto is_named = [&](std::string_view known) {
    return std::equal(name.begin(), name.end(), known.begin(), known.end(), same);
  };
  for (const auto& [suffix, sigmf_name] : suffixes) {
    if (is_named(suffix)) {
      return find_datatype(sigmf_name);
    }
  }
  const auto* const found =
      std::find_if(all_datatypes.begin(), all_datatypes.end(),
                   [&](const datatype_t& type) { return is_named(type.name); });
  return found == all_datatypes.end() ? nullptr : found;
}

std::string sigmf_datatype_names() {
  std::string names;
  for (const datatype_t& type : all_datatypes) {
    names += names.empty() ? "" : ", ";
    names += type.name;
  }
  return names;
}

std::string datatype_names() {
  std::string names;
  for (const auto& [suffix, sigmf_name] : suffixes) {
    names += suffix;
    names += ", ";
  }
  return names + sigmf_datatype_names();
}

}  // namespace orn::fmcw_host
