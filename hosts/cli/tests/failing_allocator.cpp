// Preloaded before the program: lets one allocation fail, or all from one on, and counts them.
//   FMCW_FAIL_AT=N     the Nth allocation fails
//   FMCW_FAIL_FROM=N   the Nth and all later ones fail
//   FMCW_COUNT=FILE    the number of allocations is written there at the end
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

extern "C" {
// glibc's own, under the names it exports for this purpose.
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace {

std::atomic<bool> is_counting{false};
std::atomic<long> allocations{0};
long fail_at = 0;
long fail_from = 0;

long number(const char* name) {
  const char* const text = std::getenv(name);
  return text == nullptr ? 0 : std::atol(text);
}

bool fails() {
  if (!is_counting) {
    return false;
  }
  const long n = ++allocations;
  const bool failing = n == fail_at || (fail_from != 0 && n >= fail_from);
  if (failing) {
    errno = ENOMEM;
  }
  return failing;
}

[[gnu::constructor]] void begin() {
  fail_at = number("FMCW_FAIL_AT");
  fail_from = number("FMCW_FAIL_FROM");
  is_counting = true;
}

[[gnu::destructor]] void end() {
  is_counting = false;
  if (const char* const file = std::getenv("FMCW_COUNT")) {
    char text[32];
    const int length = std::snprintf(text, sizeof(text), "%ld", allocations.load());
    const int descriptor = ::open(file, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const bool written = ::write(descriptor, text, static_cast<std::size_t>(length)) == length;
    static_cast<void>(written);
  }
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) { return fails() ? nullptr : __libc_malloc(size); }

void* calloc(std::size_t count, std::size_t size) {
  return fails() ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* block, std::size_t size) {
  return fails() ? nullptr : __libc_realloc(block, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return fails() ? nullptr : __libc_memalign(alignment, size);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
  *block = fails() ? nullptr : __libc_memalign(alignment, size);
  return *block == nullptr ? ENOMEM : 0;
}
}
