#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace orn::memory {

/// Asks the system to back the whole huge pages inside a block of memory by huge pages, for that is
/// what makes touching fresh memory cheap. Advice: nothing depends on its success. Blocks below a
/// few megabytes are left alone.
void advise_huge_pages(void* block, std::size_t bytes) noexcept;

/// Makes room for `count` elements, on huge pages if that is a large block that has to be allocated.
template <class T>
void reserve_large(std::vector<T>& values, std::size_t count) {
  if (values.capacity() < count) {
    values.reserve(count);
    advise_huge_pages(values.data(), count * sizeof(T));
  }
}

/// Brings a vector to `count` elements, with reserve_large.
template <class T>
void resize_large(std::vector<T>& values, std::size_t count) {
  reserve_large(values, count);
  values.resize(count);
}

/// Allocates uninitialised cache lines, large blocks on huge pages.
template <class T>
struct scratch_allocator_t {
  using value_type = T;

  scratch_allocator_t() = default;
  template <class U>
  explicit scratch_allocator_t(const scratch_allocator_t<U>& /*other*/) noexcept {}

  T* allocate(std::size_t count) {
    if (count > static_cast<std::size_t>(-1) / 2 / sizeof(T)) {
      throw std::bad_array_new_length();
    }
    void* const block = ::operator new(count * sizeof(T), alignment);
    advise_huge_pages(block, count * sizeof(T));
    return static_cast<T*>(block);
  }
  void deallocate(T* block, std::size_t /*count*/) noexcept { ::operator delete(block, alignment); }

  /// Elements that are not given a value have none.
  template <class U>
  void construct(U* element) noexcept {
    ::new (static_cast<void*>(element)) U;
  }
  template <class U, class... Args>
  void construct(U* element, Args&&... args) {
    std::construct_at(element, std::forward<Args>(args)...);
  }

  bool operator==(const scratch_allocator_t& /*other*/) const { return true; }

 private:
  static constexpr std::align_val_t alignment{64};
};

/// Work memory of one call: resize() leaves new elements without a value.
template <class T>
using scratch_t = std::vector<T, scratch_allocator_t<T>>;

}  // namespace orn::memory
