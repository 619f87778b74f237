#include "common/output/unfinished.h"

#include "common/errors.h"

#include <array>
#include <atomic>
#include <cstring>

#include <pthread.h>
#include <unistd.h>

namespace orn::fmcw_host {
namespace {

enum state_t { unused, being_filled, kept };

/// A signal handler may neither allocate nor lock, hence a table of fixed size.
struct slot_t {
  std::atomic<int> state{unused};
  std::array<char, 4096> path{};
};
std::array<slot_t, 32> slots;

}  // namespace

unfinished_t::unfinished_t(const char* path) {
  for (; slot_ < slots.size(); ++slot_) {
    int expected = unused;
    if (slots[slot_].state.compare_exchange_strong(expected, being_filled)) {
      std::strncpy(slots[slot_].path.data(), path, slots[slot_].path.size() - 1);
      slots[slot_].state = kept;
      return;
    }
  }
  throw run_error_t("{}: more than {} files are being written at once", path, slots.size());
}

unfinished_t::~unfinished_t() { slots[slot_].state = unused; }

void remove_unfinished() noexcept {
  for (slot_t& slot : slots) {
    if (slot.state == kept) {
      ::unlink(slot.path.data());
    }
  }
}

signals_held_t::signals_held_t() noexcept {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before_);
}

signals_held_t::~signals_held_t() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

}  // namespace orn::fmcw_host
