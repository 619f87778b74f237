#pragma once

#include <memory/scratch.h>

#include <cstddef>

namespace orn::memory {

/// Complex numbers as a plane of real and one of imaginary parts.
template <class T>
struct planes_t {
  scratch_t<T> re;
  scratch_t<T> im;

  std::size_t size() const { return re.size(); }
  void resize(std::size_t count) {
    re.resize(count);
    im.resize(count);
  }
  void swap(planes_t& other) noexcept {
    re.swap(other.re);
    im.swap(other.im);
  }
};

}  // namespace orn::memory
