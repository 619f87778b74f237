// Any bytes as a recording: the description of a SigMF pair, then the samples, as an archive or a
// WAV file. What is wrong must come out as input_error_t.
#include "common/capture/recording.h"
#include "common/capture/sigmf_description.h"
#include "common/capture/statistics.h"
#include "common/errors.h"
#include "common/fuzz/folder.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

using namespace orn::fmcw_host;

void read_whole(const std::string& path, const read_options_t& options) {
  try {
    const recording_t recording = recording_t::open(path, options);
    const auto statistics = statistics_of(recording, [](std::uint64_t) {});
    if (statistics.sample_count != recording.info().sample_count) {
      std::abort();
    }
    recording.for_each_annotation([](const annotation_t& annotation) {
      try {
        static_cast<void>(truth_of(annotation));
      } catch (const input_error_t&) {
        return;
      }
    });
  } catch (const input_error_t&) {
    return;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const folder_t folder;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  if (bytes.empty()) {
    return 0;
  }
  const std::string_view rest = bytes.substr(1);
  // The first byte chooses what the others are.
  switch (data[0] % 4) {
    case 0: {
      // A zero byte, which no JSON text holds, ends the description.
      const std::size_t end = std::min(rest.find('\0'), rest.size());
      write(folder.path / "a.sigmf-meta", rest.substr(0, end));
      write(folder.path / "a.sigmf-data", rest.substr(std::min(end + 1, rest.size())));
      read_whole((folder.path / "a").string(), {});
      break;
    }
    case 1:
      write(folder.path / "a.sigmf", rest);
      read_whole((folder.path / "a.sigmf").string(), {});
      break;
    case 2:
      write(folder.path / "a.wav", rest);
      read_whole((folder.path / "a.wav").string(), {});
      break;
    default:
      write(folder.path / "a.cs16", rest);
      read_whole((folder.path / "a.cs16").string(), {.sample_rate = 1e6});
      break;
  }
  return 0;
}
