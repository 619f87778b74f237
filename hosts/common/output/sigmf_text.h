#pragma once

#include "common/output/recording_writer.h"

#include <ostream>
#include <string>
#include <string_view>

namespace orn::fmcw_host {

/// What a description's `global` says of the samples as they were written.
struct sigmf_facts_t {
  std::string_view datatype;
  double sample_rate = 0.0;  ///< [Hz]
  std::string sha512;        ///< of the dataset
};

/// Writes a description, annotations as they come. Members of the story's `global` that the facts
/// replace or that hold for the old files alone (checksum, non-conforming datasets) are left out.
void write_sigmf_text(std::ostream& out, const recording_story_t& story,
                      const sigmf_facts_t& facts);

}  // namespace orn::fmcw_host
