#include <memory/scratch.h>

#include <cstdint>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace orn::memory {

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

}  // namespace orn::memory
