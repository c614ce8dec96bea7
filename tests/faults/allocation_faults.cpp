// The replaceable allocation functions of C++. Each block has a header that says whether it counts.
#include "tests/faults/allocation_faults.h"

#include <atomic>
#include <cstdlib>
#include <new>

#include "virtual_pc/system/kernel.h"

namespace {

struct alignas(std::max_align_t) Header {
  bool counts;
};

thread_local bool armed = false;
thread_local std::uint64_t counted = 0;
thread_local std::uint64_t failing = 0;
std::atomic<std::int64_t> living = 0;
std::span<const void* const> watched;
std::span<unsigned> turns;
unsigned turn = 0;

bool isFailing(bool counts) { return armed && counts && ++counted == failing; }

void* allocate(std::size_t bytes) noexcept {
  const bool counts = !ostria::virtual_pc::KernelCall::isInside();
  if (isFailing(counts)) {
    return nullptr;
  }
  auto* const block = static_cast<Header*>(std::malloc(sizeof(Header) + bytes));
  if (block == nullptr) {
    return nullptr;
  }
  block->counts = counts;
  living += counts ? 1 : 0;
  return block + 1;
}

void release(void* memory) noexcept {
  for (std::size_t i = 0; i < watched.size(); ++i) {
    if (watched[i] == memory && turns[i] == 0) {
      turns[i] = ++turn;
    }
  }
  if (memory != nullptr) {
    Header* const block = static_cast<Header*>(memory) - 1;
    living -= block->counts ? 1 : 0;
    std::free(block);
  }
}

// Buffers for unbuffered transfers. The virtual PC has none, so each of them counts.
void* allocateAligned(std::size_t bytes, std::size_t alignment) noexcept {
  void* const block =
      isFailing(true) ? nullptr
                      : std::aligned_alloc(alignment, (bytes + alignment - 1) & ~(alignment - 1));
  living += block != nullptr ? 1 : 0;
  return block;
}

void* demand(std::size_t bytes) {
  void* const memory = allocate(bytes);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

}  // namespace

void* operator new(std::size_t bytes) { return demand(bytes); }
void* operator new[](std::size_t bytes) { return demand(bytes); }
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept { return allocate(bytes); }
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept { return allocate(bytes); }
void* operator new(std::size_t bytes, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return allocateAligned(bytes, static_cast<std::size_t>(alignment));
}
void operator delete(void* memory, std::align_val_t) noexcept {
  living -= memory != nullptr ? 1 : 0;
  std::free(memory);
}
void operator delete(void* memory) noexcept { release(memory); }
void operator delete[](void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t) noexcept { release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { release(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { release(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { release(memory); }

namespace ostria::storage::test {

AllocationFaults::AllocationFaults(std::uint64_t failAt) {
  counted = 0;
  failing = failAt;
  armed = true;
}
AllocationFaults::~AllocationFaults() { armed = false; }
std::uint64_t AllocationFaults::count() const { return counted; }
void AllocationFaults::watch(std::span<const void* const> objects, std::span<unsigned> freed) {
  watched = objects;
  turns = freed;
  turn = 0;
}
std::int64_t AllocationFaults::alive() { return living; }

}  // namespace ostria::storage::test
