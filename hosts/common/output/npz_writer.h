#pragma once

#include "common/output/archive_writer.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orn::fmcw_host {

/// Writes arrays as NumPy's `.npz`: each under its name, row by row, of any length, without being
/// in memory whole.
class npz_writer_t {
 public:
  explicit npz_writer_t(std::ostream& out);

  /// Begins an array. Element is float, double, std::int32_t, std::int64_t, std::uint32_t or
  /// std::uint64_t.
  /// shape  one or two lengths: rows, columns
  template <class Element>
  void begin(const std::string& name, std::span<const std::uint64_t> shape);

  /// More elements of the array begun last, as many in all as its shape holds. Throws run_error_t.
  template <class Element>
  void write(std::span<const Element> elements) {
    archive_.write(std::as_bytes(elements));
  }

  /// A whole array of one dimension.
  template <class Element>
  void array(const std::string& name, const std::vector<Element>& elements) {
    const std::uint64_t length = elements.size();
    begin<Element>(name, {&length, 1});
    write(std::span<const Element>(elements));
  }

  /// A text, an array without dimensions: a unit, a name.
  void text(const std::string& name, std::string_view content);

  /// Ends the file. Throws run_error_t.
  void finish();

 private:
  void begin_array(const std::string& name, const std::string& type, std::size_t element_bytes,
                   std::span<const std::uint64_t> shape);

  archive_writer_t archive_;
};

}  // namespace orn::fmcw_host
