// Large blocks come from the system zeroed and untouched, so a buffer costs no pass over its
// memory.
#include "services/transfer_buffer.h"

#include <cstdlib>
#include <new>

namespace ostria::storage {
namespace {

constexpr std::size_t kAlignment = 4096;  // enough for every sector size

}  // namespace

bool TransferBuffer::make(std::size_t bytes) {
  abandon();
  size_ = 0;
  if (bytes == 0 || bytes > SIZE_MAX - kAlignment) {
    return false;
  }
  try {
    void* const whole = std::calloc(bytes + kAlignment, 1);
    if (whole == nullptr) {
      return false;
    }
    memory_ = std::shared_ptr<void>(whole, [](void* memory) { std::free(memory); });
    void* aligned = whole;
    std::size_t room = bytes + kAlignment;
    data_ = static_cast<std::uint8_t*>(std::align(kAlignment, bytes, aligned, room));
  } catch (const std::bad_alloc&) {
    return false;  // the count of its owners found no room; the memory is free again
  }
  size_ = bytes;
  return true;
}

}  // namespace ostria::storage
