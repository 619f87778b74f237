#include "common/capture/datatype.h"

#include <cmath>
#include <complex>
#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace {

using namespace orn::fmcw_host;
using orn::fmcw_demod_lib::sample_t;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();

sample_t decoded(const char* type, const std::string& bytes) {
  sample_t sample;
  find_datatype(type)->decode(reinterpret_cast<const std::byte*>(bytes.data()), {&sample, 1});
  return sample;
}

std::string encoded(const char* type, sample_t sample, std::size_t& clipped) {
  std::string bytes(find_datatype(type)->sample_bytes, '\0');
  clipped = find_datatype(type)->encode({&sample, 1}, reinterpret_cast<std::byte*>(bytes.data()));
  return bytes;
}

template <std::size_t N>
std::string bytes(const char (&literal)[N]) {
  return {literal, N - 1};
}

TEST(Datatype, ReadsAndWritesKnownBytes) {
  struct known_t {
    const char* type;
    std::string bytes;
    sample_t sample;
  };
  for (const auto& known : {
           known_t{"cf32_le", bytes("\0\0\x80\x3F\0\0\0\xC0"), {1.0F, -2.0F}},
           known_t{"cf32_be", bytes("\x3F\x80\0\0\xC0\0\0\0"), {1.0F, -2.0F}},
           known_t{"cf64_le", bytes("\0\0\0\0\0\0\xF0\x3F\0\0\0\0\0\0\0\xC0"), {1.0F, -2.0F}},
           known_t{"cf64_be", bytes("\x3F\xF0\0\0\0\0\0\0\xC0\0\0\0\0\0\0\0"), {1.0F, -2.0F}},
           known_t{"ci32_le", bytes("\0\0\0\x40\0\0\0\x80"), {0.5F, -1.0F}},
           known_t{"ci32_be", bytes("\x40\0\0\0\x80\0\0\0"), {0.5F, -1.0F}},
           known_t{"ci16_le", bytes("\0\x40\x01\x80"), {0.5F, -1.0F + 0x1p-15F}},
           known_t{"ci16_be", bytes("\x40\0\x80\x01"), {0.5F, -1.0F + 0x1p-15F}},
           known_t{"cu32_le", bytes("\0\0\0\xC0\0\0\0\0"), {0.5F, -1.0F}},
           known_t{"cu32_be", bytes("\xC0\0\0\0\0\0\0\0"), {0.5F, -1.0F}},
           known_t{"cu16_le", bytes("\0\xC0\0\x80"), {0.5F, 0.0F}},
           known_t{"cu16_be", bytes("\xC0\0\x80\0"), {0.5F, 0.0F}},
           known_t{"ci8", bytes("\x7F\x80"), {127.0F / 128.0F, -1.0F}},
           known_t{"cu8", bytes("\xFF\x80"), {127.0F / 128.0F, 0.0F}},
       }) {
    EXPECT_EQ(decoded(known.type, known.bytes), known.sample) << known.type;
    std::size_t clipped = 1;
    EXPECT_EQ(encoded(known.type, known.sample, clipped), known.bytes) << known.type;
    EXPECT_EQ(clipped, 0U) << known.type;
  }
  EXPECT_EQ(datatypes().size(), 14U);
}

TEST(Datatype, EveryCodeOfSixteenBitsComesBack) {
  for (const char* type : {"ci16_le", "cu16_be"}) {
    for (int code = 0; code < 65536; ++code) {
      const std::string before = {static_cast<char>(code & 255), static_cast<char>(code >> 8), 0,
                                  0};
      std::size_t clipped = 0;
      ASSERT_EQ(encoded(type, decoded(type, before), clipped), before) << type << ' ' << code;
      ASSERT_EQ(clipped, 0U);
    }
  }
}

TEST(Datatype, CutsWhatIsBeyondTheRange) {
  struct beyond_t {
    const char* type;
    sample_t sample;
    std::string bytes;
    std::size_t clipped;
  };
  for (const auto& beyond : {
           beyond_t{"ci16_le", {1.0F, -1.1F}, bytes("\xFF\x7F\0\x80"), 1},
           beyond_t{"ci16_le", {infinity, -infinity}, bytes("\xFF\x7F\0\x80"), 1},
           beyond_t{"cu8", {2.0F, nan}, bytes("\xFF\x80"), 1},
           beyond_t{"ci8", {nan, 0.0F}, bytes("\0\0"), 0},
           beyond_t{"ci32_le", {1.0F, 0.0F}, bytes("\xFF\xFF\xFF\x7F\0\0\0\0"), 1},
           beyond_t{"ci8", {0.5F / 128.0F, 1.5F / 128.0F}, bytes("\0\x02"), 0},  // ties to even
       }) {
    std::size_t clipped = 99;
    EXPECT_EQ(encoded(beyond.type, beyond.sample, clipped), beyond.bytes) << beyond.type;
    EXPECT_EQ(clipped, beyond.clipped) << beyond.type;
  }
  const std::string huge = bytes("\x9C\x75\0\x88\x3C\xE4\x37\x7E\x9C\x75\0\x88\x3C\xE4\x37\xFE");
  EXPECT_EQ(decoded("cf64_le", huge), sample_t(infinity, -infinity)) << "1e300, -1e300";
}

TEST(Datatype, KnowsTheSuffixesOfRawFiles) {
  const std::pair<const char*, const char*> suffixes[] = {
      {"cf32", "cf32_le"}, {"fc32", "cf32_le"}, {"cfile", "cf32_le"},  {"cf64", "cf64_le"},
      {"cs32", "ci32_le"}, {"cs16", "ci16_le"}, {"sc16", "ci16_le"},   {"cs8", "ci8"},
      {"cu8", "cu8"},      {"CU8", "cu8"},      {"CF32_LE", "cf32_le"}};
  for (const auto& [suffix, type] : suffixes) {
    ASSERT_NE(find_datatype(suffix), nullptr) << suffix;
    EXPECT_EQ(find_datatype(suffix)->name, type);
  }
  for (const char* unknown : {"", "iq", "rf32_le", "cf3", "cf32_l", "ci8_le"}) {
    EXPECT_EQ(find_datatype(unknown), nullptr) << unknown;
  }
}

}  // namespace
