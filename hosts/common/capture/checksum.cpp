#include "common/capture/checksum.h"

#include <array>
#include <cstdint>

#include <fmt/format.h>
#include <nettle/sha2.h>

namespace orn::fmcw_host {
namespace {

std::string hexadecimal(std::span<const std::uint8_t> bytes) {
  std::string digits;
  for (const std::uint8_t byte : bytes) {
    digits += fmt::format("{:02x}", byte);
  }
  return digits;
}

}  // namespace

struct sha512_t::context_t {
  sha512_ctx sha{};
};

sha512_t::sha512_t() : context_(std::make_unique<context_t>()) { sha512_init(&context_->sha); }

sha512_t::~sha512_t() = default;

void sha512_t::add(std::span<const std::byte> bytes) {
  sha512_update(&context_->sha, bytes.size(), reinterpret_cast<const std::uint8_t*>(bytes.data()));
}

std::string sha512_t::digest() {
  std::array<std::uint8_t, SHA512_DIGEST_SIZE> bytes{};
  sha512_digest(&context_->sha, bytes.size(), bytes.data());
  return hexadecimal(bytes);
}

struct sha256_t::context_t {
  sha256_ctx sha{};
};

sha256_t::sha256_t() : context_(std::make_unique<context_t>()) { sha256_init(&context_->sha); }

sha256_t::~sha256_t() = default;

void sha256_t::add(std::span<const std::byte> bytes) {
  sha256_update(&context_->sha, bytes.size(), reinterpret_cast<const std::uint8_t*>(bytes.data()));
}

std::string sha256_t::digest() {
  std::array<std::uint8_t, SHA256_DIGEST_SIZE> bytes{};
  sha256_digest(&context_->sha, bytes.size(), bytes.data());
  return hexadecimal(bytes);
}

}  // namespace orn::fmcw_host
