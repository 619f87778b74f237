#include "common/figures/flags.h"

namespace orn::fmcw_host {

std::string flag_words(const chirp_t& chirp) {
  std::string words;
  for (const flag_t& flag : flag_table) {
    if ((chirp.flags & flag.bit) != 0) {
      words += words.empty() ? "" : " ";
      words += flag.word;
    }
  }
  return words;
}

}  // namespace orn::fmcw_host
