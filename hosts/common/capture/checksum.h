#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>

namespace orn::fmcw_host {

/// SHA-512 of bytes that come piece by piece.
class sha512_t {
 public:
  sha512_t();
  sha512_t(const sha512_t&) = delete;
  sha512_t& operator=(const sha512_t&) = delete;
  ~sha512_t();

  void add(std::span<const std::byte> bytes);

  /// 128 lower-case hexadecimal digits; begins anew.
  std::string digest();

 private:
  struct context_t;
  std::unique_ptr<context_t> context_;
};

/// SHA-256 of bytes that come piece by piece.
class sha256_t {
 public:
  sha256_t();
  sha256_t(const sha256_t&) = delete;
  sha256_t& operator=(const sha256_t&) = delete;
  ~sha256_t();

  void add(std::span<const std::byte> bytes);

  /// 64 lower-case hexadecimal digits; begins anew.
  std::string digest();

 private:
  struct context_t;
  std::unique_ptr<context_t> context_;
};

}  // namespace orn::fmcw_host
