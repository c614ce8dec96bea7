#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace ostria::storage {

/// Memory of a run of reads that goes straight to the device, without a copy in between. A read
/// that is given up may still write to its memory long after; that memory then belongs to the read
/// alone, and the buffer gets new memory at its next use.
class TransferBuffer {
 public:
  /// Makes a buffer of that size, all zeros and aligned for unbuffered access.
  /// @param bytes  at least 1
  /// @return false without memory; the buffer is then empty
  [[nodiscard]] bool make(std::size_t bytes);
  /// Makes new memory if the last was left to a read that was given up.
  /// @return false without memory
  [[nodiscard]] bool renew() { return data_ != nullptr || (size_ != 0 && make(size_)); }

  /// Null before `make` and once the memory was left to a read.
  std::uint8_t* data() const { return data_; }
  std::size_t size() const { return size_; }

  /// The memory, held as long as the answer lives: what a read keeps while it is under way.
  std::shared_ptr<void> share() const { return memory_; }
  /// Leaves the memory to whoever shares it.
  void abandon() {
    memory_.reset();
    data_ = nullptr;
  }

 private:
  std::shared_ptr<void> memory_;
  std::uint8_t* data_ = nullptr;
  std::size_t size_ = 0;
};

}  // namespace ostria::storage
