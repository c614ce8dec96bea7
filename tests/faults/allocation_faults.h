#pragma once

#include <cstdint>
#include <span>

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

  /// Numbers those of these objects that are freed from now on, in their order: freed[i] is the
  /// turn of objects[i], from 1; 0 while it lives. Both stay the caller's.
  static void watch(std::span<const void* const> objects, std::span<unsigned> freed);

  /// Allocations of this program, but for those of the virtual PC, that are not freed.
  static std::int64_t alive();
};

}  // namespace ostria::storage::test
