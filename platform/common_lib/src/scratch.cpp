#include "scratch.h"

#include <cstdint>
#include <cstdlib>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace orn::common_lib {

void advise_huge_pages([[maybe_unused]] const void* block,
                       [[maybe_unused]] std::size_t bytes) noexcept {
#if defined(__linux__)
  constexpr std::uintptr_t huge_page = std::uintptr_t{1} << 21;
  const auto begin = reinterpret_cast<std::uintptr_t>(block);
  const std::uintptr_t first = (begin + huge_page - 1) & ~(huge_page - 1);
  const std::uintptr_t last = (begin + bytes) & ~(huge_page - 1);
  if (first < last) {
    madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
  }
#endif
}

void prepare_heap([[maybe_unused]] std::size_t bytes) noexcept {
#if defined(__GLIBC__)
  // A block that is allocated and freed stays at the end of the heap, and small allocations are cut
  // from it. Blocks above a threshold are mapped apart instead, but freeing one of those raises the
  // threshold to its size (mallopt(3), M_MMAP_THRESHOLD), so the second attempt is on the heap.
  for (int attempt = 0; attempt < 2; ++attempt) {
    void* const volatile block = std::malloc(bytes);
    if (block != nullptr && attempt == 1) {
      advise_huge_pages(block, bytes);
    }
    std::free(block);
  }
#endif
}

}  // namespace orn::common_lib
