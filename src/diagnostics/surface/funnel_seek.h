#pragma once

#include <cstdint>
#include <set>

#include "diagnostics/storage_test_base.h"

namespace ostria::storage {

/// Single-sector reads: the first sectors, then in turn from a slice that walks down from the end
/// and one that walks up from the start, then the last sectors. The variants set the size of the
/// slice and choose the devices.
class FunnelSeekTest : public StorageTest {
 public:
  TestResult run(TestRunContext* context) override;

 protected:
  /// @param sliceFraction   a slice's share of the disk
  /// @param badSectorLimit  bad sectors at which the test stops
  FunnelSeekTest(const Identifier& id, float sliceFraction, std::uint32_t badSectorLimit)
      : StorageTest(id), sliceFraction_(sliceFraction), badSectorLimit_(badSectorLimit) {}

 private:
  TestResult seek();
  TestResult readRun(std::uint64_t first, std::uint64_t last);
  TestResult funnel(std::uint64_t last);
  TestResult readOne(std::uint64_t lba, std::uint8_t percent);

  float sliceFraction_;
  std::uint32_t badSectorLimit_;
  /// What belongs to one run; each begins with a new one.
  struct Run {
    std::uint32_t bufferBytes = 0;
    std::set<std::uint64_t> badSectors;
  };
  Run run_;
};

/// For every bus but NVMe and eMMC.
class QuickFunnelSeekTest : public FunnelSeekTest {
 public:
  explicit QuickFunnelSeekTest(const Identifier& id) : FunnelSeekTest(id, 0.0007f, 1) {}

  TestResult check(StorageComponent* component, TestListener* listener, MessageLog* log) override;
  TestResult prepare(StorageComponent* component, TestListener* listener, MessageLog* log) override;
};

/// For internal SCSI disks.
class ExtendedFunnelSeekTest : public FunnelSeekTest {
 public:
  explicit ExtendedFunnelSeekTest(const Identifier& id) : FunnelSeekTest(id, 0.00007f, 1) {}

  TestResult check(StorageComponent* component, TestListener* listener, MessageLog* log) override;
  TestResult prepare(StorageComponent* component, TestListener* listener, MessageLog* log) override;
};

}  // namespace ostria::storage
