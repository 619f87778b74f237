#pragma once

#include <cstdint>
#include <string_view>

namespace orn::fmcw_host {

/// Bytes of memory this machine has.
std::uint64_t memory_of_machine();

/// Throws input_error_t, with the estimate, where a work needs more memory than this machine has.
/// work    what it is, "channel power of 5000 samples"
/// remedy  what to do instead
void check_memory(std::string_view work, double bytes, std::string_view remedy);

}  // namespace orn::fmcw_host
