#include "common/spans/boundary_finder.h"

namespace orn::fmcw_host {

void boundary_finder_t::set(const std::vector<fmcw_demod_lib::sample_t>& samples) {
  engine_.compute_instantaneous_freq(samples, static_cast<float>(rate_), freq_, phase_);
}

std::vector<int> boundary_finder_t::find(std::size_t begin, std::size_t end) {
  return engine_.detect_chirp_boundaries(
      fmcw_demod_lib::ArrayView<const double>(freq_.data() + begin, end - begin), slope_raw_,
      slope_smooth_, 1.0 / rate_);
}

}  // namespace orn::fmcw_host
