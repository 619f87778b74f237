#include "common/limits/limit_text.h"

#include "common/errors.h"

#include <string_view>

namespace orn::fmcw_host {
namespace {

std::string trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t");
  const std::size_t last = text.find_last_not_of(" \t");
  return first == std::string_view::npos ? "" : std::string(text.substr(first, last - first + 1));
}

/// "up mean(slope)": direction, statistic and figure.
void read_subject(std::string subject, limit_parts_t& parts) {
  for (const std::string_view word : {"up ", "down "}) {
    if (subject.starts_with(word)) {
      parts.direction = trimmed(word);
      subject = trimmed(std::string_view(subject).substr(word.size()));
    }
  }
  const std::size_t open = subject.find('(');
  if (subject == "count") {
    parts.statistic = subject;
  } else if (open == std::string::npos) {
    parts.figure = subject;
  } else if (subject.back() == ')') {
    parts.statistic = trimmed(std::string_view(subject).substr(0, open));
    parts.figure = trimmed(std::string_view(subject).substr(open + 1, subject.size() - open - 2));
    if (parts.statistic.empty() || parts.figure.empty()) {
      throw input_error_t("'{}' is no statistic of a figure; allowed is the like of mean(slope)",
                          subject);
    }
  } else {
    throw input_error_t("'{}' has no closing bracket; allowed is the like of mean(slope)", subject);
  }
}

void read_nominal(std::string_view value, limit_parts_t& parts) {
  for (const std::string_view sign : {"\u00B1", "+-"}) {
    const std::size_t place = value.find(sign);
    if (place != std::string_view::npos) {
      parts.nominal = trimmed(value.substr(0, place));
      parts.tolerance = trimmed(value.substr(place + sign.size()));
      break;
    }
  }
  if (parts.nominal.empty() || parts.tolerance.empty()) {
    throw input_error_t(
        "'={}' is no nominal value with a tolerance; allowed is the like of "
        "=400\u00B11%",
        value);
  }
}

limit_parts_t parts_of(const std::string& text) {
  const std::size_t sign = text.find_first_of("<>=");
  if (sign == std::string::npos) {
    throw input_error_t(
        "there is no >=, <= or =; allowed is the like of slope>=399kHz/us or "
        "slope=400kHz/us\u00B11%");
  }
  limit_parts_t parts;
  parts.text = text;
  read_subject(trimmed(std::string_view(text).substr(0, sign)), parts);
  if (text[sign] == '=') {
    read_nominal(trimmed(std::string_view(text).substr(sign + 1)), parts);
    return parts;
  }
  if (text.size() < sign + 2 || text[sign + 1] != '=') {
    throw input_error_t("'{}' cannot compare; allowed are >=, <= and =", text[sign]);
  }
  std::string& bound = text[sign] == '>' ? parts.min : parts.max;
  bound = trimmed(std::string_view(text).substr(sign + 2));
  if (bound.empty()) {
    throw input_error_t("there is no value behind {}; allowed is the like of slope>=399kHz/us",
                        text.substr(sign, 2));
  }
  return parts;
}

}  // namespace

limit_t parse_limit(const std::string& text) {
  try {
    return make_limit(parts_of(trimmed(text)));
  } catch (const input_error_t& error) {
    throw input_error_t("limit '{}': {}", text, error.what());
  }
}

}  // namespace orn::fmcw_host
