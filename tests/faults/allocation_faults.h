#pragma once

#include <cstdint>

namespace ostria::storage::test {

/// The program's operator new, which counts, and fails on demand. Allocations of the
/// virtual PC are the system's own: they are not counted and do not fail.
class AllocationFaults {
 public:
  /// Counts from 0 while it lives, on this thread; allocation number `failAt` (from 1) fails, 0:
  /// none does.
  explicit AllocationFaults(std::uint64_t failAt);
  ~AllocationFaults();
  AllocationFaults(const AllocationFaults&) = delete;
  AllocationFaults& operator=(const AllocationFaults&) = delete;

  std::uint64_t count() const;

  /// Allocations of this program, but for those of the virtual PC, that are not freed.
  static std::int64_t alive();
};

}  // namespace ostria::storage::test
