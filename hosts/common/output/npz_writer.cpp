#include "common/output/npz_writer.h"

#include "common/output/text.h"

#include <bit>
#include <type_traits>

#include <fmt/format.h>

namespace orn::fmcw_host {
namespace {

static_assert(std::endian::native == std::endian::little, "arrays are written as they lie");

/// NumPy's name of an element's type.
template <class Element>
std::string type_name() {
  const char kind =
      std::is_floating_point_v<Element> ? 'f' : (std::is_signed_v<Element> ? 'i' : 'u');
  return fmt::format("<{}{}", kind, sizeof(Element));
}

/// Head of an array in format 1.0: a description padded so that the elements begin at a multiple
/// of 64 bytes.
std::string array_head(const std::string& type, std::span<const std::uint64_t> shape) {
  std::string lengths;
  for (const std::uint64_t length : shape) {
    lengths += fmt::format("{}, ", length);
  }
  std::string description =
      fmt::format("{{'descr': '{}', 'fortran_order': False, 'shape': ({}), }}", type, lengths);
  constexpr std::size_t before = 10;  // magic, version, length of the description
  description.append(63 - (before + description.size()) % 64, ' ');
  description += '\n';
  std::string head("\x93NUMPY\x01\x00", 8);
  head += static_cast<char>(description.size() & 0xFFU);
  head += static_cast<char>(description.size() >> 8U);
  return head + description;
}

}  // namespace

npz_writer_t::npz_writer_t(std::ostream& out) : archive_(out, archive_writer_t::zip) {}

template <class Element>
void npz_writer_t::begin(const std::string& name, std::span<const std::uint64_t> shape) {
  begin_array(name, type_name<Element>(), sizeof(Element), shape);
}

template void npz_writer_t::begin<float>(const std::string&, std::span<const std::uint64_t>);
template void npz_writer_t::begin<double>(const std::string&, std::span<const std::uint64_t>);
template void npz_writer_t::begin<std::int32_t>(const std::string&, std::span<const std::uint64_t>);
template void npz_writer_t::begin<std::int64_t>(const std::string&, std::span<const std::uint64_t>);
template void npz_writer_t::begin<std::uint32_t>(const std::string&,
                                                 std::span<const std::uint64_t>);
template void npz_writer_t::begin<std::uint64_t>(const std::string&,
                                                 std::span<const std::uint64_t>);

void npz_writer_t::begin_array(const std::string& name, const std::string& type,
                               std::size_t element_bytes, std::span<const std::uint64_t> shape) {
  const std::string head = array_head(type, shape);
  std::uint64_t bytes = element_bytes;
  for (const std::uint64_t length : shape) {
    bytes *= length;
  }
  archive_.begin(name + ".npy", head.size() + bytes);
  archive_.write(std::as_bytes(std::span(head)));
}

void npz_writer_t::text(const std::string& name, std::string_view content) {
  std::vector<char32_t> letters = code_points(content);
  for (char32_t& letter : letters) {
    letter = letter < not_utf8 ? letter : U'\uFFFD';
  }
  if (letters.empty()) {
    letters.push_back(0);  // NumPy has no text type of length 0 and strips this
  }
  begin_array(name, fmt::format("<U{}", letters.size()), 4 * letters.size(), {});
  archive_.write(std::as_bytes(std::span(letters)));
}

void npz_writer_t::finish() { archive_.finish(); }

}  // namespace orn::fmcw_host
