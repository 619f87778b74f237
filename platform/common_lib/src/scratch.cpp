#include "scratch.h"

#include <cstdint>

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

}  // namespace orn::common_lib
