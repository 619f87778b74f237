#include <common_log/logger_system.h>

#include <utility>

namespace common_log {

constinit std::atomic<bool> logger_system_t::sink_is_set_{false};

logger_system_t& logger_system_t::get_instance() {
  // Never destroyed, since objects that are destroyed later than any static of ours may log.
  static logger_system_t& logger = *new logger_system_t;
  return logger;
}

void logger_system_t::set_sink(sink_t sink) {
  auto replacement = sink ? std::make_shared<const sink_t>(std::move(sink)) : nullptr;
  const std::lock_guard lock(mutex_);
  sink_is_set_.store(replacement != nullptr, std::memory_order_relaxed);
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
