#include "common/memory.h"

#include "common/errors.h"

#include <unistd.h>

namespace orn::fmcw_host {

std::uint64_t memory_of_machine() {
  return static_cast<std::uint64_t>(::sysconf(_SC_PHYS_PAGES)) *
         static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

void check_memory(std::string_view work, double bytes, std::string_view remedy) {
  const auto available = static_cast<double>(memory_of_machine());
  if (!(bytes <= available)) {
    throw input_error_t("{} needs {:.1f} GB; allowed are, on this machine, {:.1f} GB: {}", work,
                        bytes * 1e-9, available * 1e-9, remedy);
  }
}

}  // namespace orn::fmcw_host
