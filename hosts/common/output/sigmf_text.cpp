#include "common/output/sigmf_text.h"

#include "common/output/json_writer.h"

#include <algorithm>
#include <array>

namespace orn::fmcw_host {
namespace {

bool holds_no_more(const std::string& name) {
  constexpr std::array<std::string_view, 9> replaced = {
      "core:datatype",     "core:sample_rate",   "core:version",
      "core:num_channels", "core:sha512",        "core:trailing_bytes",
      "core:dataset",      "core:metadata_only", "core:offset"};
  return std::find(replaced.begin(), replaced.end(), name) != replaced.end();
}

}  // namespace

void write_sigmf_text(std::ostream& out, const recording_story_t& story,
                      const sigmf_facts_t& facts) {
  json_writer_t json(out, json_writer_t::indented);
  json.begin_object().key("global").begin_object();
  json.member("core:datatype", facts.datatype)
      .member("core:sample_rate", facts.sample_rate)
      .member("core:version", "1.2.0")
      .member("core:num_channels", 1)
      .member("core:sha512", std::string_view(facts.sha512));
  if (story.first_sample != 0) {
    json.member("core:offset", story.first_sample);
  }
  for (const json_member_t& member : story.global) {
    if (!holds_no_more(member.name)) {
      json.member(member.name, member.value);
    }
  }
  json.end_object().key("captures").begin_array();
  for (const json_value_t& capture : story.captures) {
    json.value(capture);
  }
  json.end_array().key("annotations").begin_array();
  if (story.annotations) {
    story.annotations([&](const json_value_t& annotation) { json.value(annotation); });
  }
  json.end_array().end_object();
}

}  // namespace orn::fmcw_host
