#pragma once

#include <cstdint>
#include <set>

#include "diagnostics/storage_test_base.h"

namespace ostria::storage {

/// Single-sector reads at random locations of the whole disk. The variants set the amount of work
/// and choose the devices.
class RandomSeekTest : public StorageTest {
 public:
  TestResult run(TestRunContext* context) override;

 protected:
  /// @param seekCount       read count that gives 100 percent, at least 1
  /// @param badSectorLimit  bad sectors at which the test stops
  RandomSeekTest(const Identifier& id, std::uint32_t seekCount, std::uint32_t badSectorLimit)
      : StorageTest(id), seekCount_(seekCount), badSectorLimit_(badSectorLimit) {}

 private:
  TestResult seek(std::set<std::uint64_t>& badSectors);

  std::uint32_t seekCount_;
  std::uint32_t badSectorLimit_;
};

/// For every bus but NVMe and eMMC.
class QuickRandomSeekTest : public RandomSeekTest {
 public:
  explicit QuickRandomSeekTest(const Identifier& id) : RandomSeekTest(id, 4000, 1) {}

  TestResult check(StorageComponent* component, TestListener* listener, MessageLog* log) override;
  TestResult prepare(StorageComponent* component, TestListener* listener, MessageLog* log) override;
};

/// For internal SCSI disks.
class ExtendedRandomSeekTest : public RandomSeekTest {
 public:
  explicit ExtendedRandomSeekTest(const Identifier& id) : RandomSeekTest(id, 40000, 1) {}

  TestResult check(StorageComponent* component, TestListener* listener, MessageLog* log) override;
  TestResult prepare(StorageComponent* component, TestListener* listener, MessageLog* log) override;
};

}  // namespace ostria::storage
