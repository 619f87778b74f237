#include "scratch.h"

#include <cstdint>
#include <cstdlib>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace orn::common_lib {

void advise_huge_pages([[maybe_unused]] void* block, [[maybe_unused]] std::size_t bytes) noexcept {
#if defined(__linux__)
  constexpr std::uintptr_t huge_page = std::uintptr_t{1} << 21;
  // Advice is for whole pages: up to the next one's start are so many bytes.
  const std::size_t lead = -reinterpret_cast<std::uintptr_t>(block) % huge_page;
  if (lead < bytes && bytes - lead >= huge_page) {
    const std::size_t whole = (bytes - lead) / huge_page * huge_page;
    madvise(static_cast<char*>(block) + lead, whole, MADV_HUGEPAGE);
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
