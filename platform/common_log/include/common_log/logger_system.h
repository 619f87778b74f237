#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace common_log {

/// How much an entry matters. Any value may be passed; these two are in use.
enum class log_level_t : int {
  progress = 1,  ///< a step inside an analysis
  run = 2        ///< start or end of a run, a finished analysis
};

/// One log entry as a sink receives it.
struct log_entry_t {
  std::string tag;       ///< the library that wrote the entry
  bool flag;             ///< as passed to log_write; the facility gives it no meaning
  log_level_t level;     ///< see log_level_t
  std::string file;      ///< source file of the statement
  int line;              ///< its line
  std::string function;  ///< name of the function around it
  std::string message;   ///< formatted text, without a line end
};

/// The process-wide logger: passes every entry to one sink chosen by the host. All members may be
/// called from any thread, and until the process ends: destructors of static objects may log.
class __attribute__((visibility("default"))) logger_system_t {
 public:
  /// Receives entries on the thread that writes them, several threads at once when several write.
  using sink_t = std::function<void(const log_entry_t&)>;

  /// The one logger of the process. Throws std::bad_alloc when the first call finds no memory.
  static logger_system_t& get_instance();

  /// Whether entries go anywhere: whoever logs often asks before it builds a message. Costs one
  /// load; a sink that another thread is setting meanwhile may be seen late.
  static bool has_sink() noexcept { return sink_is_set_.load(std::memory_order_relaxed); }

  logger_system_t(const logger_system_t&) = delete;
  logger_system_t& operator=(const logger_system_t&) = delete;

  /// Replaces the sink; an empty one, the initial state, discards entries. Entries being written
  /// meanwhile may still reach the old sink, which lives until the last of them is done.
  void set_sink(sink_t sink);

  /// Hands one entry to the sink. `file` and `function` are null-terminated; whatever the sink
  /// throws leaves this call, as does std::bad_alloc from building the entry.
  void log_write(const std::string& tag, bool flag, log_level_t level, const char* file, int line,
                 const char* function, const std::string& message);

 private:
  logger_system_t() = default;
  ~logger_system_t() = default;

  static std::atomic<bool> sink_is_set_;  ///< beside the logger, so that asking needs none

  std::mutex mutex_;                    ///< guards sink_, not the calls through it
  std::shared_ptr<const sink_t> sink_;  ///< null discards
};

}  // namespace common_log
