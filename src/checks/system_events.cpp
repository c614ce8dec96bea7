// Tests and tools poll the same kind of byte. The host writes it from a thread of its own while the
// work goes on, so a plain read would be a data race.
#include "checks/system_events.h"

#include <atomic>

#include "ostria/storage/test_run_context.h"

namespace ostria::storage {

bool compromisingEventHappened(const std::uint8_t* events) {
  if (events == nullptr) {
    return false;
  }
  // C++20 has no atomic view of a constant; nothing is written here.
  const std::atomic_ref<std::uint8_t> flags(*const_cast<std::uint8_t*>(events));
  return (flags.load(std::memory_order_relaxed) & kCompromisingSystemEvents) != 0;
}

}  // namespace ostria::storage
