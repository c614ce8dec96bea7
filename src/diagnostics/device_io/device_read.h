#pragma once

#include <cstdint>
#include <vector>

#include "diagnostics/storage_test_base.h"

namespace ostria::storage {

/// Reads three stretches of an NVMe, eMMC or SD device, or all of it. The first block that cannot
/// be read ends the test.
class StorageDeviceReadTest : public StorageTest {
 public:
  using StorageTest::StorageTest;

  TestResult run(TestRunContext* context) override;
  bool configure(ConfigurationMap configuration, ConfigurationError* error) override;
  TestResult check(StorageComponent* component, TestListener* listener, MessageLog* log) override;

 private:
  struct Stretch {
    std::uint64_t first;
    std::uint64_t last;
    bool readsLast;  ///< the middle stretch ends before its last sector, which makes it exact
  };
  enum Configured : std::uint8_t { Initial = 1, Central = 2, Final = 4, WholeDisk = 8 };

  TestResult read();
  std::vector<Stretch> layOut(const StorageProtocolProperties& properties);
  TestResult readStretch(const Stretch& stretch, bool showsProgress);
  /// Reports why the sectors from `first` to before `end` could not be read.
  TestResult judgeError(std::uint64_t first, std::uint64_t end, ProtocolResult error,
                        std::uint32_t sectorBytes);
  void report(const std::string& text);

  std::uint64_t initialSizeGiB_ = 2;
  std::uint64_t centralSizeGiB_ = 6;
  std::uint64_t finalSizeGiB_ = 3;
  bool wholeDiskRead_ = false;
  std::uint8_t configured_ = 0;  ///< `Configured` bits
};

}  // namespace ostria::storage
