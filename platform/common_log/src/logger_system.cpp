#include <common_log/logger_system.h>

#include <utility>

namespace common_log {

logger_system_t& logger_system_t::get_instance() {
  static logger_system_t logger;
  return logger;
}

void logger_system_t::set_sink(sink_t sink) {
  auto replacement = sink ? std::make_shared<const sink_t>(std::move(sink)) : nullptr;
  const std::lock_guard lock(mutex_);
  sink_.swap(replacement);  // the old sink goes after the lock: its destructor may log
}

void logger_system_t::log_write(const std::string& tag, bool flag, log_level_t level,
                                const char* file, int line, const char* function,
                                const std::string& message) {
  std::shared_ptr<const sink_t> sink;
  {
    const std::lock_guard lock(mutex_);
    sink = sink_;
  }
  if (sink) {
    (*sink)({tag, flag, level, file, line, function, message});
  }
}

}  // namespace common_log
