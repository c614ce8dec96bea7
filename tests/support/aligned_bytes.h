// Memory as unbuffered transfers of the system need it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

namespace ostria::virtual_pc::test {

template <typename Value>
struct AlignedAllocator {
  using value_type = Value;
  static constexpr std::align_val_t kAlignment{4096};
  Value* allocate(std::size_t count) {
    return static_cast<Value*>(::operator new(count * sizeof(Value), kAlignment));
  }
  void deallocate(Value* memory, std::size_t) { ::operator delete(memory, kAlignment); }
  bool operator==(const AlignedAllocator&) const = default;
};
using AlignedBytes = std::vector<std::uint8_t, AlignedAllocator<std::uint8_t>>;

}  // namespace ostria::virtual_pc::test
